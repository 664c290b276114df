#include "engine/customers/customer_table.h"

#include <functional>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/consent/suspensions.h"
#include "engine/customers/checked_customer.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/kept_changes.h"

namespace engine {
namespace {

std::vector<int> IdsOf(CDatabaseEdit& customers, CustomerView view) {
    CArray<int, int> ids;
    switch (view) {
        case CustomerView::live: customers.GetDBIDWithoutDelete(ids); break;
        case CustomerView::deleted: customers.GetDeleteCustomerList(ids); break;
        case CustomerView::all: customers.GetDBIDALL(ids); break;
    }
    return {ids.begin(), ids.end()};
}

void RefuseKnownAddress(CDatabaseEdit& customers, OneCustomer const& customer) {
    int const id = customers.SearchCustomerOneElement(customers::element_address, customer.Email,
                                                      OneCustomer::no_id, customers::direction_forward);
    if (id < 0 || id == customer.CustomerID) return;
    bool const live = customers.FindCustomerID(id, CDatabaseEdit::find_live) == 1;
    throw Failure(Failure::customer_exists, "このメールアドレスの顧客はもういます: 個人情報ID " +
                                                std::to_string(id) +
                                                (live ? "" : " (削除済み。customers restore で戻せます)"));
}

// Changes customers in memory, and saves them with the refusals that this makes.
void Change(Session& session, std::function<void()> const& change, std::string const& consent = {}) {
    KeptRefusals refusals(session, session.Customers(), {RefusedBy::user, {}, consent});
    change();
    refusals.Settle();
    session.SaveCustomers();
    refusals.Tell();
}

void Put(Session& session, Elements const& elements, OneCustomer& customer,
         std::vector<std::string> const& values) {
    TakeValues(elements, values, customer);
    RequireAddress(customer);
    RefuseKnownAddress(session.Customers(), customer);
    if (session.Customers().SetOneCustomerInfo(customer, CDatabaseEdit::store_in_memory) < 0)
        throw Failure(Failure::operation_failed,
                      "顧客を書き込めません: " + TextOf(session.Customers().GetErrMsg()));
}

// Mail to the former address says nothing of the present one.
void LiftSuspension(Session& session, CString const& former, CString const& present) {
    if (AddressKey(former) == AddressKey(present)) return;
    Suspensions suspensions(session);
    suspensions.Lift(Out(former));
    suspensions.Save();
}

// In memory.
void ChangeEach(Session& session, std::vector<int> const& ids, int (CDatabaseEdit::*change)(int)) {
    for (int const id : ids)
        if ((session.Customers().*change)(id) < 0)
            throw Failure(Failure::operation_failed, "変えられませんでした: " + std::to_string(id) + "\n" +
                                                         TextOf(session.Customers().GetErrMsg()));
}

void RequireEach(Session& session, std::vector<int> const& ids) {
    for (int const id : ids)
        if (session.Customers().FindCustomerID(id, CDatabaseEdit::find_all) != 1) ThrowUnknownCustomer(id);
}

}  // namespace

void ThrowUnknownCustomer(int customer) {
    throw Failure(Failure::customer_not_found, "その個人情報IDの顧客はいません: " + std::to_string(customer));
}

OneCustomer CustomerWith(Session& session, int customer) {
    OneCustomer data;
    if (session.Customers().GetOneCustomerForEdit(data, customer) < 0) ThrowUnknownCustomer(customer);
    return data;
}

CustomerList::CustomerList(Session& session, CustomerView view, std::string_view columns) {
    Elements const elements(session);
    columns_ = elements.NamedList(columns);
    for (int const column : columns_) titles_.push_back(elements.At(column).title);
    customers_ = &session.Customers();
    ids_ = IdsOf(*customers_, view);
}

std::vector<std::string> CustomerList::Row(std::size_t row) const {
    std::vector<std::string> cells;
    for (int const column : columns_)
        cells.push_back(Out(customers_->GetCustomerDataPinPoint(ids_[row], column)));
    return cells;
}

std::vector<CustomerField> FieldsOf(Session& session, int customer) {
    Elements const elements(session);
    if (session.Customers().FindCustomerID(customer, CDatabaseEdit::find_all) != 1)
        ThrowUnknownCustomer(customer);
    std::vector<CustomerField> fields;
    for (int number = 0; number < customers::element_count; ++number) {
        CString const value = session.Customers().GetCustomerDataPinPoint(customer, number);
        if (!elements.At(number).title.empty() && !value.IsEmpty())
            fields.push_back({elements.At(number).title, Out(value)});
    }
    return fields;
}

int AddCustomer(Session& session, std::vector<std::string> const& values, std::string const& consent) {
    Elements const elements(session);
    OneCustomer customer;
    session.Customers().GetOneCustomerForNew(customer, CDatabaseEdit::new_reset);
    Change(
        session, [&] { Put(session, elements, customer, values); }, consent);
    return customer.CustomerID;
}

void ChangeCustomer(Session& session, int customer, std::vector<std::string> const& values,
                    std::string const& consent) {
    Elements const elements(session);
    OneCustomer changed;
    CString former;
    auto const change = [&] {
        changed = CustomerWith(session, customer);
        former = changed.Email;
        Put(session, elements, changed, values);
    };
    Change(session, change, consent);
    LiftSuspension(session, former, changed.Email);
}

void DeleteCustomers(Session& session, std::vector<int> const& customers) {
    RequireEach(session, customers);
    ChangeEach(session, customers, &CDatabaseEdit::DeleteCustomer);
    session.SaveCustomers();
}

void RestoreCustomers(Session& session, std::vector<int> const& customers) {
    RequireEach(session, customers);
    for (int const id : customers)
        if (session.Customers().GetCustomerDataPinPoint(id, customers::element_address).IsEmpty())
            throw Failure(Failure::erased, "消去された顧客は戻せません: " + std::to_string(id));
    Change(session, [&] { ChangeEach(session, customers, &CDatabaseEdit::UnDeleteCustomer); });
}

void EraseCustomers(Session& session, std::vector<int> const& customers) {
    RequireEach(session, customers);
    KeptRefusals refusals(session, session.Customers(), {});
    ChangeEach(session, customers, &CDatabaseEdit::PhysicalDeletion);
    refusals.Settle();
    SaveCustomersUndoably(session, "顧客の消去: " + Grouped(customers.size()) + "人");
}

}  // namespace engine
