#pragma once

#include <string>
#include <string_view>

// Texts of other programs, in the character sets of mail (RFC 2978), as UTF-8.
namespace engine {

// `bytes` in the charset of that label, in any case; an empty label: of an encoding that is not given. Bytes
// that make no character there become U+FFFD. A label that is wrong by what the bytes are, or not known,
// does not count: the text is then read as GuessedText reads it. Linear in time.
std::string TextIn(std::string_view charset, std::string_view bytes);

// Whether TextIn knows the label.
bool IsKnownCharset(std::string_view charset);

// Bytes of an encoding that is not given: UTF-8 if they are valid, ISO-2022-JP if they hold its escapes, else
// EUC-JP or Shift_JIS, or windows-1252 where neither fits.
std::string GuessedText(std::string_view bytes);

}  // namespace engine
