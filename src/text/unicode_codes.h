#pragma once

#include <cstdint>
#include <string_view>

#include "text/byte_runs.h"

// Shift-JIS and UTF-8 in one pass each, by code page 932, and their single steps.
namespace text {

// Takes one sequence of UTF-8 as one 16-bit unit, by the system's own reading: a byte below 0x80 one byte;
// top bits 110 two bytes; any other byte three bytes, with 4 bits from the first and 6 from each further
// byte, whatever its top bits. `in` must hold a byte. false, with `in` unchanged, when the sequence is cut.
inline bool TakeUnit(ByteRange& in, std::uint16_t& unit) noexcept {
    Byte const first = *in.at;
    int const size = first < 0x80 ? 1 : (first & 0xE0) == 0xC0 ? 2 : 3;
    if (!in.Holds(size)) return false;
    if (size == 1)
        unit = first;
    else if (size == 2)
        unit = static_cast<std::uint16_t>((first & 0x1F) << 6 | (in.at[1] & 0x3F));
    else
        unit = static_cast<std::uint16_t>((first & 0xF) << 12 | (in.at[1] & 0x3F) << 6 | (in.at[2] & 0x3F));
    in.at += size;
    return true;
}

// 0xFEFF in either byte order.
constexpr bool IsByteOrderMark(std::uint16_t unit) noexcept { return unit == 0xFEFF || unit == 0xFFFE; }

// The Shift-JIS code of a unit; a blank for a unit without one.
std::uint16_t SjCodeOfUnit(std::uint16_t unit) noexcept;
// Writes a code as one or two bytes; result: the place behind them.
inline char* PutCode(std::uint16_t code, char* out) noexcept {
    if (code > 0xFF) *out++ = static_cast<char>(code >> 8);
    *out++ = static_cast<char>(code & 0xFF);
    return out;
}

// Takes one Shift-JIS character as one unit. A double-byte code without a character becomes a blank; so does
// a lead byte before a byte that cannot be a second byte, which then is a character of its own. `in` must
// hold a byte. false, with `in` unchanged, for a lead byte at the end.
bool TakeSjUnit(ByteRange& in, std::uint16_t& unit) noexcept;

// Both write no NUL, return the end of the written text, and never write further than one byte behind it. A
// leading byte order mark of UTF-8 is skipped; a unit 0 and a cut sequence or character end the text.
char* SjFromUtf8(std::string_view utf8, char* out) noexcept;
char* Utf8FromSj(std::string_view sj, char* out) noexcept;

}  // namespace text
