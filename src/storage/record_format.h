#pragma once

#include <cstdarg>
#include <string>

namespace storage {

// Fills a printf-style format whose "%s" values have each double quote doubled; width and precision have no
// effect on them. All other conversions are those of printf, but for "%n", which takes its argument and does
// nothing. The result ends at its first NUL. A null format gives an empty text.
std::string FormatQuoted(char const* format, va_list arguments);

}  // namespace storage
