#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The encoding of a file that should hold delimited text.
namespace engine {

enum class Encoding { automatic, cp932, utf8, utf16 };
// Throws Failure for an unknown name ("auto", "cp932", "utf-8", "utf-16").
Encoding EncodingOf(std::string const& name);

struct FileText {
    std::string text;   // UTF-8 without a byte order mark, or code page 932
    Encoding encoding;  // of `text`: utf8 or cp932
    char const* name;   // of the file's own encoding, for the sender
};
// The text of a file with these bytes. `wanted` automatic: UTF-16 by its mark or its zero bytes; else UTF-8
// or code page 932, whichever the bytes fit better, so that single invalid bytes do not decide. Invalid bytes
// stay in the text; those of UTF-16 become U+FFFD. Throws Failure for a spreadsheet, an archive, a picture
// and the like, and the sentence tells how to make a CSV file of it.
FileText TextOfFile(std::string content, Encoding wanted, std::string const& file);

// Bytes of the character of code page 932 at `at`, which must lie inside; 0 for bytes that make none.
std::size_t CharacterAt(std::string_view cp932, std::size_t at);

}  // namespace engine
