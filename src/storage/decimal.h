#pragma once

#include <charconv>
#include <string_view>

#include "tessaly/platform/cstring.h"

namespace storage {

// A number in the form of the cells of all tables.
inline CString Decimal(int number) {
    char digits[12];  // "-2147483648"
    auto const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return CString(std::string_view(digits, static_cast<std::size_t>(end - digits)));
}

}  // namespace storage
