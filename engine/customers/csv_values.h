#pragma once

#include <optional>
#include <string_view>

#include "engine/customers/elements.h"

namespace engine {

// A field of a file that the element's rule refuses, in the form that it accepts, where its meaning is clear:
// 1988-07-26, 1988年7月26日 and 19880726 as a date, 〒123-4567, full-width digits, 12,000 as a number, blanks
// around the value. No result where that form is refused too. The field is in code page 932, and so is the
// result, which is ASCII.
std::optional<CString> Tidied(Element const& element, std::string_view field);

}  // namespace engine
