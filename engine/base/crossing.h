#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tessaly/storage.h"

// The border between the application (UTF-8) and the library (code page 932): every text that crosses goes
// through here, in one direction or the other.
namespace engine {

// What some programs write at the start of a UTF-8 file.
inline constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// Where a text holds a character that the library cannot keep.
struct NoForm {
    std::size_t line;       // from 1
    std::size_t column;     // characters, from 1
    std::string character;  // UTF-8; a byte that is no UTF-8 as \xHH
};

// Text for the library. Characters that other systems write for the same sign (such as U+301C for the wave
// dash) take the form that code page 932 has. The first character without a form ends the conversion.
struct Crossed {
    std::string text;  // code page 932
    std::optional<NoForm> no_form;
};
Crossed IntoLibrary(std::string_view utf8);

// The same for a value that must be whole: throws Failure, naming `what` ("件名" and the like), the character
// and its place.
CString Into(std::string_view utf8, std::string_view what);

// The same for a password, which a server or an earlier version knows by its bytes: a yen sign is 5C and an
// overline 7E, as a Japanese keyboard gives them (JIS X 0201).
CString IntoSecret(std::string_view utf8, std::string_view what);

// The same for text from outside, which is never refused: a character without a form becomes 〓, and so does
// a run of bytes that is no UTF-8; control characters other than TAB, CR and LF become blanks. Invisible
// characters (variation selectors, joiners and marks of direction) are left out.
CString IntoWithGeta(std::string_view utf8);

bool IsUtf8(std::string_view text);
// A character of Unicode (up to 10FFFF) as UTF-8.
void AppendUtf8(char32_t point, std::string& text);

// Text out of the library. Bytes that make no character become U+FFFD.
std::string Out(std::string_view cp932);
inline std::string Out(CString const& text) { return Out(text.View()); }

// A text, in either encoding, as one line that is safe for a terminal: line ends at its end are dropped,
// other control characters become blanks.
std::string OnOneLine(std::string_view text);

// A host path, as it was typed, as a path of the library. Throws Failure for a name without a form in code
// page 932.
CString IntoPath(std::string const& host_path);

// "2行3文字目の「💌」"
std::string Describe(NoForm const& place);

}  // namespace engine
