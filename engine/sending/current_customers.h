#pragma once

#include <shared_mutex>
#include <string>

#include "engine/base/file_identity.h"
#include "engine/sending/mailing.h"

namespace engine {

// The recipients of a run as they are on disk when each is handed out, whoever has changed them since the run
// began. A look at the table's file costs one system call; when the file has changed, the session's table is
// read again, once for all threads. Nothing else may use the table meanwhile.
class CurrentCustomers {
  public:
    explicit CurrentCustomers(Session& session);
    // From any thread. Throws Failure when the table has changed and stays unreadable.
    Standing Get(int id, OneCustomer& customer);

  private:
    void ReadAgain();

    Session& session_;
    std::string const file_;
    std::shared_mutex lock_;
    FileIdentity read_;  // the file that the table was read from
};

// `customers` must stay as long as the result is used.
Mailing::Fetch FetchFrom(CurrentCustomers& customers);

}  // namespace engine
