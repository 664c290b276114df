#include "engine/consent/mail_stops.h"

#include "engine/base/crossing.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"

namespace engine {

StoppedAddresses::StoppedAddresses(Session& session)
    : refused_(session),
      suspended_(session),
      refused_path_(session.DataDirectory() + "/" + refusals_file),
      suspended_path_(session.DataDirectory() + "/" + suspensions_file) {}

Stop StoppedAddresses::Of(CString const& address) const {
    if (refused_.Size() == 0 && suspended_.Size() == 0) return Stop::none;
    std::string const key = AddressKey(address);
    if (refused_.Contains(key)) return Stop::refused;
    return suspended_.Contains(key) ? Stop::suspended : Stop::none;
}

bool StoppedAddresses::IsCurrent() const {
    return IdentityOf(refused_path_) == refused_.Identity() &&
           IdentityOf(suspended_path_) == suspended_.Identity();
}

std::vector<int> CustomersAt(CDatabaseEdit& customers, std::string const& address) {
    std::vector<int> ids;
    CString const text(IntoLibrary(address).text);
    for (int id = OneCustomer::no_id;;) {
        id = customers.SearchCustomerOneElement(customers::element_address, text, id,
                                                customers::direction_forward);
        if (id < 0) return ids;
        ids.push_back(id);
    }
}

StoppedCustomers::StoppedCustomers(Session& session) : session_(session) {
    StoppedAddresses const stops(session);
    stops.Suspended().ForEach([&](Suspension const& one) { Take(one.address, Stop::suspended); });
    stops.Refused().ForEach([&](Refusal const& one) { Take(one.address, Stop::refused); });
}

void StoppedCustomers::Take(std::string const& address, Stop stop) {
    for (int const id : CustomersAt(session_.Customers(), address)) stops_[id] = stop;
}

bool StoppedCustomers::LeavesOut(int customer) {
    auto const found = stops_.find(customer);
    if (found == stops_.end()) return false;
    (found->second == Stop::refused ? refused_ : suspended_).insert(customer);
    return true;
}

void StoppedCustomers::Tell() const {
    if (!refused_.empty())
        session_.Front().Notice("配信停止の申し出のある " + Grouped(refused_.size()) + "人には送りません。");
    if (!suspended_.empty())
        session_.Front().Notice("届かないので止めている " + Grouped(suspended_.size()) +
                                "人には送りません (「tessaly suppressed list」で見られます)。");
}

void DropStopped(Session& session, std::vector<int>& ids) {
    StoppedCustomers stopped(session);
    std::erase_if(ids, [&](int id) { return stopped.LeavesOut(id); });
    stopped.Tell();
}

}  // namespace engine
