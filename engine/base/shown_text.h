#pragma once

#include <string>
#include <string_view>

// Texts of strangers, made safe for a terminal. Signs of control (C0, C1 and DEL) become blanks, and bytes
// that are no UTF-8 become U+FFFD; marks that turn the direction of writing, and invisible ones that hide
// text, are left out.
namespace engine {

// As one line.
std::string ShownLine(std::string_view utf8);
// With its LF and TAB; CR LF and CR become LF.
std::string ShownText(std::string_view utf8);

}  // namespace engine
