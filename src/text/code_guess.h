#pragma once

#include <string_view>

// What tells the kanji code of a text.
namespace text {

// What the control bytes and escape sequences tell.
enum class ControlSigns { none, eight_bit_or_escape, jis, binary };
ControlSigns FindControlSigns(std::string_view text) noexcept;

// The number of bytes that fit the code. A run of half-width kana speaks for Shift-JIS only if its length is
// odd: one of even length is as likely EUC-JP.
std::size_t CountSjisBytes(std::string_view text) noexcept;
std::size_t CountEucBytes(std::string_view text) noexcept;

}  // namespace text
