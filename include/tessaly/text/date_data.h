#pragma once

#include <string_view>

#include "tessaly/platform/export.h"

namespace text {

inline constexpr int date_data_size = 20;  // bytes of a date text and its NUL
inline constexpr int date_data_parts = 6;  // year, month, day, hour, minute, second
// Bytes of a date text by the number of its parts: "2004/02/29" has 3.
inline constexpr int bytes_of_date_parts[] = {0, 4, 7, 10, 13, 16, 19};
}  // namespace text

// Reads the parts of a date "Y/M/D h:m:s" up to the first that is missing or out of range, fills the rest
// with defaults and writes the complete date "%4d/%02d/%02d %02d:%02d:%02d" to `out`, 20 bytes (null: none).
// The defaults are 1900/01/01 00:00:00, or with `upper` 1 9999/12/31 23:59:59, the day then being the last of
// the month that was read. Result: the number of parts read, 0 to 6.
TESSALY_API int ReFormat_DateData(char const* text, char* out, int upper);

namespace text {

// The same for a text that no NUL ends.
TESSALY_API int ReFormatDate(std::string_view text, char* out, int upper);

// A date that may be incomplete, in its stored form: no further than `text` goes. Result: that part of `out`;
// empty for a text without year, month and day.
TESSALY_API std::string_view DateAsGiven(std::string_view text, char (&out)[date_data_size]);

}  // namespace text
