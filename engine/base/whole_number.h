#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace engine {

// The number that a text is from its first to its last byte, with a minus in front of it at most.
template <std::integral Number = int>
std::optional<Number> WholeNumber(std::string_view text, int base = 10) {
    Number number = 0;
    char const* const end = text.data() + text.size();
    auto const [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end) return {};
    return number;
}

// The number that a text begins with.
inline std::optional<int> LeadingNumber(std::string_view text) {
    int number = 0;
    auto const [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? std::optional<int>(number) : std::nullopt;
}

// "1,234,567"
inline std::string Grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (auto at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3)
        digits.insert(static_cast<std::size_t>(at), ",");
    return digits;
}

}  // namespace engine
