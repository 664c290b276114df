#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace engine {

inline constexpr std::string_view replacement_sign = "\uFFFD";

// Text of another charset as UTF-8, with a U+FFFD for what makes no character there.
struct DecodedText {
    std::string utf8;
    std::size_t errors = 0;
};

// By the converter of the system for a charset of that name; none for a name that it does not know.
std::optional<DecodedText> FromIconv(char const* name, std::string_view bytes);
bool IsKnownToIconv(char const* name);

}  // namespace engine
