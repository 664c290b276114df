#pragma once

#include <cstddef>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The multi-byte functions of code page 932. A character is a lead byte (0x81-0x9F, 0xE0-0xFC) with the byte
// behind it, or a single byte; a lead byte at the end of a text counts as a character of its own. A null text
// counts as empty.
namespace platform {

constexpr bool IsLeadByte(unsigned char c) noexcept {
    return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
}
constexpr bool IsLeadByte(char c) noexcept { return IsLeadByte(static_cast<unsigned char>(c)); }
// Whether a byte can be the second of a character.
constexpr bool IsTrailByte(unsigned char c) noexcept { return c >= 0x40 && c <= 0xFC && c != 0x7F; }
constexpr bool IsTrailByte(char c) noexcept { return IsTrailByte(static_cast<unsigned char>(c)); }
// Bytes of the character that starts at `position`, 1 or 2; `position` must lie inside the text.
constexpr std::size_t CharacterSize(std::string_view text, std::size_t position) noexcept {
    return IsLeadByte(text[position]) && position + 1 < text.size() ? 2 : 1;
}
// The same, but a lead byte in front of a byte that cannot be a second byte stands alone: for texts from
// outside, in which a broken character must not hide a quote or a divider.
constexpr std::size_t WholeCharacterSize(std::string_view text, std::size_t position) noexcept {
    std::size_t const size = CharacterSize(text, position);
    return size == 2 && !IsTrailByte(text[position + 1]) ? 1 : size;
}

// Compare character by character, a double-byte character being greater than every single byte. Below, equal
// or above 0. Equality is equality of the bytes.
TESSALY_API int mbscmp(char const* a, char const* b) noexcept;
// The same without regard to the case of ASCII and full-width Latin letters.
TESSALY_API int mbsicmp(char const* a, char const* b) noexcept;
// Equal under mbsicmp; for texts of known length.
TESSALY_API bool EqualNoCase(std::string_view a, std::string_view b) noexcept;

// First place of `word` in `text` that begins at a character of `text`; an empty word is found at the start.
TESSALY_API char const* mbsstr(char const* text, char const* word) noexcept;
// The same from byte `start` on, as a position; npos if there is none. `start` must be the start of a
// character.
TESSALY_API std::size_t Find(std::string_view text, std::string_view word, std::size_t start = 0) noexcept;
TESSALY_API std::size_t Find(std::string_view text, char c, std::size_t start = 0) noexcept;
TESSALY_API std::size_t ReverseFind(std::string_view text, char c) noexcept;

// Case of ASCII and full-width Latin letters, in place.
TESSALY_API char* mbslwr(char* text) noexcept;
TESSALY_API void Lower(char* text, std::size_t length) noexcept;
TESSALY_API void Upper(char* text, std::size_t length) noexcept;

// A library path (C:\dir\name.ext) in its four parts: drive with its colon, directory with its leading and
// closing divider, name, extension with its dot. Backslash and slash both divide.
TESSALY_API void splitpath(char const* path, CString* drive, CString* directory, CString* name,
                           CString* extension);

}  // namespace platform
