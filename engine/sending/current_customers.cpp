#include "engine/sending/current_customers.h"

#include <chrono>

#include "engine/base/failure.h"
#include "engine/base/stoppable_waits.h"
#include "engine/environment/data_paths.h"
#include "engine/sending/sending.h"

namespace engine {
namespace {

using Clock = std::chrono::steady_clock;

// A restore puts the file back by copying it, and takes that long at most in ordinary cases.
constexpr auto patience = std::chrono::seconds(5);
constexpr auto between_tries = std::chrono::milliseconds(100);

}  // namespace

CurrentCustomers::CurrentCustomers(Session& session)
    : session_(session), file_(session.DataDirectory() + "/" + customers_file) {
    session_.Customers();
    read_ = session_.CustomersRead();
}

Standing CurrentCustomers::Get(int id, OneCustomer& customer) {
    FileIdentity const present = IdentityOf(file_);
    std::shared_lock reading(lock_);
    if (present != read_) {
        reading.unlock();
        ReadAgain();
        reading.lock();
    }
    CDatabaseEdit& customers = session_.CustomerTable();
    if (customers.GetOneCustomerForEdit(customer, id) != CDatabaseEdit::ok) return Standing::gone;
    return StandingOf(customer);
}

// A file that is being put back by copying can be absent or short. It counts when it reads whole and did not
// change meanwhile.
void CurrentCustomers::ReadAgain() {
    std::unique_lock const writing(lock_);
    auto const limit = Clock::now() + patience;
    for (FileIdentity present = IdentityOf(file_); present != read_; present = IdentityOf(file_)) {
        bool const last = Clock::now() > limit || session_.Front().Stopped();
        if (present == FileIdentity() && !last) {
            Pause(session_.Front(), between_tries);
            continue;
        }
        try {
            session_.ReadCustomersAgain();
            read_ = session_.CustomersRead();
        } catch (Failure const&) {
            if (last) throw;
            Pause(session_.Front(), between_tries);
        }
    }
}

Mailing::Fetch FetchFrom(CurrentCustomers& customers) {
    return [&customers](int id, OneCustomer& customer) { return customers.Get(id, customer); };
}

}  // namespace engine
