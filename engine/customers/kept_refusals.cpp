#include "engine/customers/kept_refusals.h"

#include <functional>
#include <optional>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/consent/mail_stops.h"
#include "engine/environment/environment_backup.h"

namespace engine {
namespace {

constexpr char const *yes = "Y", *no = "N";
constexpr char const* earlier_note = "以前からの DM送付可否 N";

}  // namespace

KeptRefusals::KeptRefusals(Session& session, CDatabaseEdit& customers, How how)
    : front_(session.Front()), customers_(customers), how_(std::move(how)), refusals_(session) {
    ListRefusers(RefusedBy::import, earlier_note);
    changed_ = KeepFlags() > 0;
    CArray<int, int> deleted;
    if (!how_.deleted_return) customers_.GetDeleteCustomerList(deleted);
    for (int const id : deleted) {
        OneCustomer customer;
        if (customers_.GetOneCustomerForEdit(customer, id) == CDatabaseEdit::ok && !customer.Email.IsEmpty())
            deleted_.push_back(customer);
    }
}

bool KeptRefusals::PutFlag(int customer, char const* flag) {
    if (customers_.GetCustomerDataPinPoint(customer, customers::element_direct_mail) == flag) return false;
    OneCustomer row;
    if (customers_.GetOneCustomerForEdit(row, customer) < 0) return false;
    row.DMOk = flag;
    if (customers_.SetOneCustomerInfo(row, CDatabaseEdit::store_in_memory) < 0)
        throw Failure(Failure::operation_failed, "顧客を書き込めません: " + TextOf(customers_.GetErrMsg()));
    return true;
}

std::size_t KeptRefusals::KeepFlags() {
    std::size_t changed = 0;
    refusals_.ForEach([&](Refusal const& refusal) {
        for (int const id : CustomersAt(customers_, refusal.address))
            if (PutFlag(id, no)) ++changed;
    });
    return changed;
}

// Every one had N before the change.
void KeptRefusals::LiftConsented() {
    for (Refusal const& refusal : refusals_.All())
        for (int const id : CustomersAt(customers_, refusal.address))
            if (customers_.GetCustomerDataPinPoint(id, customers::element_direct_mail) == yes &&
                refusals_.Lift(refusal.address, how_.consent))
                ++lifted_;
}

void KeptRefusals::ListRefusers(RefusedBy by, std::string const& note) {
    for (int row = 0; row < customers_.GetLineNumber(); ++row) {
        if (customers_.GetAtElement(row, customers::element_direct_mail) != no) continue;
        CString const address = customers_.GetAtElement(row, customers::element_address);
        if (!address.IsEmpty()) refusals_.Add({Out(address), by, -1, note, {}});
    }
}

// A customer who is there under the former number becomes what was there before; one whose row is new, since
// all customers were replaced, is deleted as it is.
void KeptRefusals::DeleteAgain() {
    for (OneCustomer& before : deleted_) {
        bool const there = customers_.FindCustomerID(before.CustomerID, CDatabaseEdit::find_all) == 1;
        bool again = false;
        if (there && customers_.FindCustomerID(before.CustomerID, CDatabaseEdit::find_live) == 1)
            again = customers_.SetOneCustomerInfo(before, CDatabaseEdit::store_in_memory) >= 0;
        else if (!there)
            for (int const id : CustomersAt(customers_, Out(before.Email)))
                again = customers_.DeleteCustomer(id) >= 0 || again;
        still_deleted_ += again ? 1 : 0;
    }
}

bool KeptRefusals::Settle() {
    DeleteAgain();
    if (!how_.consent.empty()) LiftConsented();
    kept_ = KeepFlags();
    ListRefusers(how_.by, how_.note);
    refusals_.Save();
    return changed_ || kept_ + still_deleted_ > 0;
}

void KeptRefusals::Tell() const {
    if (kept_ > 0)
        front_.Notice("配信停止の申し出のある宛先 " + Grouped(kept_) +
                      "件 は、停止のままにしました (本人の同意を得たときだけ、--consent で解けます)。");
    if (lifted_ > 0) front_.Notice("同意により、配信停止を解いた宛先 " + Grouped(lifted_) + "件");
    if (still_deleted_ > 0)
        front_.Notice("削除した顧客 " + Grouped(still_deleted_) +
                      "人 は、削除したままにしました (--restore-deleted をつけると戻ります)。");
}

bool KeepRefusal(Refusals const& refusals, OneCustomer& customer) {
    if (customer.DMOk == no || !refusals.Contains(AddressKey(customer.Email))) return false;
    customer.DMOk = no;
    return true;
}

namespace {

// Nobody is mailed by a list or table that is not whole.
void UnlessDamaged(std::function<void()> const& work) {
    try {
        work();
    } catch (Failure const& failure) {
        if (failure.GetKind() != Failure::damaged_file) throw;
    }
}

// Runs a change of files with what is to be done when the customers' file is in its place.
void Through(Session& session, std::function<void(std::function<void()> const&)> const& change) {
    std::optional<KeptRefusals> refusals;
    auto const begin = [&] {
        refusals.emplace(session, session.Customers(), KeptRefusals::How{RefusedBy::import, "復旧", {}});
    };
    UnlessDamaged(begin);
    change([&] {
        UnlessDamaged([&] {
            session.ReadCustomersAgain();
            if (!refusals) begin();
            if (refusals->Settle()) session.SaveCustomers();
        });
    });
    if (refusals) refusals->Tell();
}

}  // namespace

void RestoreKeepingRefusals(Session& session, Access const& access, std::string const& backup, bool yes) {
    Through(session, [&](std::function<void()> const& in_place) {
        RestoreOver(session, access, backup, yes, in_place);
    });
}

void UndoKeepingRefusals(Session& session, bool force) {
    Through(session,
            [&](std::function<void()> const& in_place) { UndoLastChange(session, force, in_place); });
}

}  // namespace engine
