#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace engine {

// The number that a text is from its first to its last byte, with a minus in front of it at most.
inline std::optional<int> WholeNumber(std::string_view text) {
    int number = 0;
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return {};
    return number;
}

// "1,234,567"
inline std::string Grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (auto at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<std::size_t>(at), ",");
    return digits;
}

}  // namespace engine
