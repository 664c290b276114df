#pragma once

#include <string>
#include <vector>

#include "engine/customers/elements.h"

// Values that a user enters. The setters of COneCustomerData check them, which are stricter than the import:
// a user can correct a value at once, a file cannot.
namespace engine {

// The rules for entered values. One object checks many.
class StrictRules {
  public:
    // Why a value is refused; empty for a valid one.
    std::string RefusalOf(Element const& element, CString const& value);

    // Whether values of the element are checked by more than its import rule and the search for unusual
    // characters.
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
