#pragma once

#include <charconv>
#include <string_view>

#include "storage/decimal.h"

namespace mailstore {

// Whether a cell or a folder's name is a mail ID in its written form: "7", but neither "007" nor a number
// beyond the IDs.
inline bool ReadsAsID(std::string_view text, int& id) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
    return error == std::errc() && end == text.data() + text.size() && storage::Decimal(id).View() == text;
}

}  // namespace mailstore
