#pragma once

#include <memory>
#include <shared_mutex>
#include <string>

#include "engine/base/file_identity.h"
#include "engine/consent/mail_stops.h"
#include "engine/sending/mailing.h"

namespace engine {

// The recipients of a run as they are on disk when each is handed out, whoever has changed them since the run
// began, with the lists of refusals and suspended addresses. A look at the three files costs three system
// calls; when one has changed, it is read again, once for all threads. Nothing else may use the session's
// table meanwhile.
class CurrentCustomers {
  public:
    explicit CurrentCustomers(Session& session);
    // From any thread. Throws Failure when the table or a list has changed and stays unreadable.
    Standing Get(int id, OneCustomer& customer);

  private:
    bool IsCurrent() const;
    void ReadAgain();

    Session& session_;
    std::string const file_;
    std::shared_mutex lock_;
    FileIdentity read_;  // the file that the table was read from
    std::unique_ptr<StoppedAddresses const> stopped_;
};

// `customers` must stay as long as the result is used.
Mailing::Fetch FetchFrom(CurrentCustomers& customers);

}  // namespace engine
