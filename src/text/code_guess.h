#pragma once

#include <string_view>

// The signs by which the kanji code of a text is guessed.
namespace text {

// The signs of control bytes and escape sequences.
enum class ControlSigns { none, eight_bit_or_escape, jis, binary };
ControlSigns FindControlSigns(std::string_view text) noexcept;

// The number of bytes that fit the code. A run of half-width kana is a sign of Shift-JIS only if its length
// is odd: one of even length is as likely EUC-JP.
std::size_t CountSjisBytes(std::string_view text) noexcept;
std::size_t CountEucBytes(std::string_view text) noexcept;

}  // namespace text
