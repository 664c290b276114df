#pragma once

#include <array>
#include <string_view>

#include "tessaly/customers/customer_elements.h"
#include "tessaly/platform/cstring.h"

// The text of a mail with which a customer registers: values between tags such as <EMAIL> and </EMAIL>, in
// any order, any other text being ignored. Line ends are no part of it.
namespace customers {

using ElementTypes = std::array<int, element_count>;  // _MYDB_DATATYPE by element
using ElementValues = std::array<CString, element_count>;

// Reads the values of all elements that have a tag; the parts of postal code, address and telephone numbers
// are joined. A field that is bad, not closed or longer than 65,535 bytes is left out, or with `strict` makes
// the mail a bad one. false for a bad mail, and for one without a good address.
bool ReadRegistration(std::string_view text, ElementTypes const& types, bool strict, ElementValues& values);

}  // namespace customers
