#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tessaly/platform/export.h"

// The only Base64 encoder of the system (RFC 4648). All output in Base64, with any alphabet, line form or
// ending, is built on it. Free of state; any number of threads may use it at once.
namespace platform {

// Characters for `size` bytes, padding included.
constexpr std::size_t Base64EncodedSize(std::size_t size) noexcept { return (size + 2) / 3 * 4; }

// Writes the Base64 text of `size` bytes to `out`, padded with '=' to whole groups, with no line breaks and
// no NUL. `out` must hold Base64EncodedSize(size) characters and may not overlap `in`. `alphabet` holds 64
// symbols; null is the standard alphabet. Result: characters written.
std::size_t Base64Encode(unsigned char const* in, std::size_t size, char* out,
                         char const* alphabet = nullptr) noexcept;
// The Base64 text of `bytes`, in the standard alphabet.
TESSALY_API std::string Base64Of(std::string_view bytes);

}  // namespace platform
