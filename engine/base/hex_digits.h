#pragma once

#include <string>

namespace engine {

// Bytes as lower-case hexadecimal digits, two for each.
template <class Bytes>
std::string HexDigits(Bytes const& bytes) {
    std::string digits;
    for (auto const value : bytes) {
        auto const byte = static_cast<unsigned char>(value);
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

}  // namespace engine
