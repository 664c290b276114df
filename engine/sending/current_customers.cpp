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
    stopped_ = std::make_unique<StoppedAddresses const>(session_);
}

bool CurrentCustomers::IsCurrent() const { return IdentityOf(file_) == read_ && stopped_->IsCurrent(); }

Standing CurrentCustomers::Get(int id, OneCustomer& customer) {
    std::shared_lock reading(lock_);
    if (!IsCurrent()) {
        reading.unlock();
        ReadAgain();
        reading.lock();
    }
    CDatabaseEdit& customers = session_.CustomerTable();
    if (customers.GetOneCustomerForEdit(customer, id) != CDatabaseEdit::ok) return Standing::gone;
    Standing const standing = StandingOf(customer);
    if (standing != Standing::recipient) return standing;
    switch (stopped_->Of(customer.Email)) {
        case Stop::refused: return Standing::refuses;
        case Stop::suspended: return Standing::suspended;
        default: return Standing::recipient;
    }
}

// A file that is being put back by copying can be absent or short. It counts when it reads whole and did not
// change meanwhile.
void CurrentCustomers::ReadAgain() {
    std::unique_lock const writing(lock_);
    if (!stopped_->IsCurrent()) stopped_ = std::make_unique<StoppedAddresses const>(session_);
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
