#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace engine {

constexpr char LowerCase(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

// With the letters of ASCII in lower case.
inline std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return LowerCase(c); });
    return lower;
}

inline bool EqualNoCase(std::string_view a, std::string_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerCase(x) == LowerCase(y); });
}

}  // namespace engine
