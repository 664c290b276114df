#pragma once

#include <string>
#include <string_view>

namespace engine {

// 32 digits that stand for a text, whatever bytes it holds (MD5, RFC 1321).
std::string DigestOf(std::string_view text);

}  // namespace engine
