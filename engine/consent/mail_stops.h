#pragma once

#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/consent/refusals.h"
#include "engine/consent/suspensions.h"

// Whom nothing is sent to because of the address, whatever the customer's own row says.
namespace engine {

enum class Stop { none, refused, suspended };

// By address, as the lists were when the object was made. Throws Failure (damaged_file) for a list that is
// not whole.
class StoppedAddresses {
  public:
    explicit StoppedAddresses(Session& session);
    Stop Of(CString const& address) const;
    // Whether the files of the lists are still those that were read. Two system calls.
    bool IsCurrent() const;

    Refusals const& Refused() const { return refused_; }
    Suspensions const& Suspended() const { return suspended_; }

  private:
    Refusals const refused_;
    Suspensions const suspended_;
    std::string const refused_path_, suspended_path_;
};

// By customer. The cost is that of the lists, whatever the number of customers.
class StoppedCustomers {
  public:
    // Loads the customers.
    explicit StoppedCustomers(Session& session);
    // Whether nothing is sent to the customer, who is counted then.
    bool LeavesOut(int customer);
    // Tells the front end how many were left out, and why.
    void Tell() const;

  private:
    void Take(std::string const& address, Stop stop);

    Session& session_;
    std::unordered_map<int, Stop> stops_;
    std::unordered_set<int> refused_, suspended_;  // who were left out
};

// Removes from IDs of customers those to whom nothing is sent, and tells the front end so.
void DropStopped(Session& session, std::vector<int>& ids);

// The live and deleted customers with an address, in any case of its letters.
std::vector<int> CustomersAt(CDatabaseEdit& customers, std::string const& address);

}  // namespace engine
