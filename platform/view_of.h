#pragma once

#include <string_view>

namespace platform {

// The bytes of a text that a NUL ends, without the NUL; none for a null text.
constexpr std::string_view ViewOf(char const* text) noexcept {
    return text ? std::string_view(text) : std::string_view();
}

}  // namespace platform
