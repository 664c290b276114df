#pragma once

#include <string>
#include <vector>

#include "engine/customers/elements.h"

// Values that a person gives by command. They pass the setters of the library's checked customer, which are
// stricter than the import: a file is taken as it comes, a person can be asked again.
namespace engine {

// These rules, for many values after one another.
class StrictRules {
  public:
    // Why a person's value is refused; empty when it is good.
    std::string RefusalOf(Element const& element, CString const& value);

    // Whether there is more to refuse than unusual characters and what the element's rule refuses.
    static bool HasOwnRule(Element const& element);

  private:
    COneCustomerData customer_;
};

// Puts "TITLE=VALUE" texts into a customer, in the form in which the import stores values; an empty value
// clears. Throws Failure, naming every value that is refused with its reason, and leaves the customer alone
// then.
void TakeValues(Elements const& elements, std::vector<std::string> const& texts, OneCustomer& customer);
// Throws Failure for a customer without a mail address.
void RequireAddress(OneCustomer const& customer);

}  // namespace engine
