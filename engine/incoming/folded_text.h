#pragma once

#include <string>
#include <string_view>

namespace engine {

// A text in the form in which words are compared: ASCII letters in lower case, full-width ASCII and
// half-width kana in their usual width, curved apostrophes straight, and each run of blanks and line ends one
// blank, none at the ends. UTF-8 in and out; bytes that are none stay.
std::string Folded(std::string_view text);

// The same without any blank: for Japanese, in which a blank means nothing.
std::string FoldedWithoutBlanks(std::string_view text);

}  // namespace engine
