#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tessaly/platform/export.h"

// What the Base64 decoders share: the value of one group of four characters. They differ only in how they
// treat a group that is not four characters of the alphabet.
namespace platform {

// Value of a character of the alphabet, or -1.
inline constexpr std::array<signed char, 128> base64_values = [] {
    std::array<signed char, 128> values{};
    values.fill(-1);
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (signed char value = 0; value < 64; ++value)
        values[static_cast<unsigned char>(alphabet[value])] = value;
    return values;
}();

// Marks above the 24 bits of a group: it holds a '=', or a character outside the alphabet.
inline constexpr std::uint32_t base64_pad = 1U << 30;
inline constexpr std::uint32_t base64_foreign = 1U << 31;

// What a character adds to its group in each of the four places.
inline constexpr std::array<std::array<std::uint32_t, 256>, 4> base64_places = [] {
    std::array<std::array<std::uint32_t, 256>, 4> places{};
    for (std::size_t place = 0; place < 4; ++place)
        for (std::size_t c = 0; c < 256; ++c) {
            int const value = c < 128 ? base64_values[c] : -1;
            places[place][c] = c == '='    ? base64_pad
                               : value < 0 ? base64_foreign
                                           : static_cast<std::uint32_t>(value) << (18 - 6 * place);
        }
    return places;
}();

// The 24 bits of the four characters at `in`, a character outside the alphabet counting as 0, and the marks
// of the group.
inline std::uint32_t Base64Group(unsigned char const* in) noexcept {
    return base64_places[0][in[0]] | base64_places[1][in[1]] | base64_places[2][in[2]] |
           base64_places[3][in[3]];
}

// Writes the first `count` (1 to 3) bytes of a group.
inline void PutBase64Bytes(std::uint32_t group, std::size_t count, char* out) noexcept {
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<char>(group >> (16 - 8 * i));
}

// Accepts any input: a missing end counts as '=', a character outside the alphabet as value 0, and a '=' ends
// the text. `out` may be the start of `in`. Result: bytes written.
std::size_t DecodeBase64(std::string_view in, char* out) noexcept;

// The same with every foreign character left out first.
std::size_t DecodeBase64Body(std::string_view in, char* out) noexcept;

// Accepts no damage. "+ " in front is skipped; a CR in front of a group ends the text, and so does a group
// with '=' in its fourth place. At most `most` bytes are written; `out` may be the start of `in`. Result:
// bytes written, or -1: a character outside the alphabet, '=' in the first or second place of a group, a text
// that ends inside a group, or more than `most` bytes.
int DecodeBase64Strictly(std::string_view in, char* out, std::size_t most) noexcept;
// Decodes into a string, leaving out blanks and tabs around the text; false for a text that is not in Base64.
TESSALY_API bool FromBase64(std::string_view base64, std::string& bytes);

}  // namespace platform
