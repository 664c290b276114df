#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace app {

// The number that a text is from its first to its last byte, with a minus in front of it at most.
inline std::optional<int> WholeNumber(std::string_view text) {
    int number = 0;
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return {};
    return number;
}

}  // namespace app
