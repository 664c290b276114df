#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "tessaly/platform/cstring.h"

// The common part of all operations in quoted-printable (RFC 2045 6.7).
namespace mime {

// Most characters of an encoded line in front of the '=' of a soft line break.
inline constexpr std::size_t quoted_line_limit = 75;

// Encodes `in` into `out`, which has QuotedPrintableRoom (mime/transfer_encodings.h). Result: characters
// written.
std::size_t EncodeQuotedPrintable(std::string_view in, char* out) noexcept;

// Encodes and decodes a whole text with all its bytes; see CMailDataStructure, which offers both. Decoding
// needs room for `in` and gives the number of bytes written.
CString QuotedPrintable(std::string_view text);
std::size_t DecodeQuotedText(std::string_view in, char* out) noexcept;
std::string FromQuotedPrintable(std::string_view in);

// Value of a hexadecimal digit in either case; -1 for any other character.
inline constexpr std::array<signed char, 256> hex_values = [] {
    std::array<signed char, 256> values{};
    values.fill(-1);
    for (signed char digit = 0; digit < 10; ++digit) values[static_cast<std::size_t>('0' + digit)] = digit;
    for (signed char digit = 0; digit < 6; ++digit) {
        values[static_cast<std::size_t>('A' + digit)] = static_cast<signed char>(10 + digit);
        values[static_cast<std::size_t>('a' + digit)] = static_cast<signed char>(10 + digit);
    }
    return values;
}();

// The byte of two digits, a bad digit counting as 0.
constexpr char HexByte(char high, char low) noexcept {
    int const h = hex_values[static_cast<unsigned char>(high)],
              l = hex_values[static_cast<unsigned char>(low)];
    return static_cast<char>((h > 0 ? h << 4 : 0) | (l > 0 ? l : 0));
}

// A place in a text that is decoded in place. Writing never passes reading.
struct QuotedText {
    char const* in;
    char const* end;
    char* out;
};

// Copies text and decodes =XX up to the end or to the first '=' without two digits behind it; the place then
// stays there.
void DecodeQuotedRun(QuotedText& text) noexcept;

// Decodes the whole text with any two characters behind '=' as digits. false: stopped at a '=' with less than
// two characters behind it.
bool DecodeQuotedPairs(QuotedText& text) noexcept;

}  // namespace mime
