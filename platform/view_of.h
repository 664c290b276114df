#pragma once

#include <string_view>

namespace platform {

// The bytes of a text that a NUL ends, without the NUL. A null text counts as empty; the view is never of
// null.
constexpr std::string_view ViewOf(char const* text) noexcept { return text ? text : ""; }

}  // namespace platform
