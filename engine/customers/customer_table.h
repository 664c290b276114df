#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engine/customers/elements.h"

// Showing and changing the customers of an environment. All texts UTF-8; every operation throws Failure, and
// what changes then leaves all customers as they were.
namespace engine {

enum class CustomerView { live, deleted, all };

// Chosen columns of customers. Each row is made by its call. The session must outlive it.
class CustomerList {
  public:
    // `columns` as Elements::NamedList has it. Loads the customers.
    CustomerList(Session& session, CustomerView view, std::string_view columns);
    std::vector<std::string> const& Titles() const { return titles_; }
    std::size_t Size() const { return ids_.size(); }
    std::vector<std::string> Row(std::size_t row) const;

  private:
    CDatabaseEdit* customers_ = nullptr;
    std::vector<int> columns_;
    std::vector<std::string> titles_;
    std::vector<int> ids_;
};

// The columns of one customer, a deleted one too, that have a title and a value.
struct CustomerField {
    std::string title, value;
};
std::vector<CustomerField> FieldsOf(Session& session, int customer);

// The data of a customer, a deleted one too.
OneCustomer CustomerWith(Session& session, int customer);
[[noreturn]] void ThrowUnknownCustomer(int customer);

// From "TITLE=VALUE" texts (TakeValues), with an address that no other customer has. A customer who refused
// mail keeps DM送付可否 N, unless there is a `consent` (kept_refusals.h). With another address, the former
// one is not suspended any more. The session is one for changing. Result: the new customer's ID.
int AddCustomer(Session& session, std::vector<std::string> const& values, std::string const& consent = {});
void ChangeCustomer(Session& session, int customer, std::vector<std::string> const& values,
                    std::string const& consent = {});

// All of them or none. Deleted customers can be restored; of an erased one only the ID remains, and the
// address where it is on the list of refusals. The session is one for changing.
void DeleteCustomers(Session& session, std::vector<int> const& customers);
void RestoreCustomers(Session& session, std::vector<int> const& customers);
void EraseCustomers(Session& session, std::vector<int> const& customers);

}  // namespace engine
