#pragma once

#include <string_view>
#include <vector>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Cuts a text at each byte that is one of `delimiters`, with `quote` as the quote character (0: none). `out`
// is emptied first. Double-byte characters are stepped over whole.
//
// A field that begins with the quote goes on to a quote with a delimiter or the end behind it, whatever
// delimiters stand in between; its quotes are taken away and its doubled quotes made single. A quote anywhere
// else is part of the field. A text that ends in a delimiter, and an empty one, give an empty last field.
TESSALY_API void SplitString(CString text, CArray<CString, CString>& out, CString delimiters, char quote);

namespace storage {

// A field of the text without its enclosing quotes.
struct SplitField {
    std::string_view text;
    bool quoted;  // was in quotes, so that doubled quotes in it stand for one
};

// As SplitString, without making a string of each field. The views are parts of `text`.
TESSALY_API void SplitFields(std::string_view text, std::string_view delimiters, char quote,
                             std::vector<SplitField>& out);
// The field with its doubled quotes made single.
TESSALY_API CString FieldText(SplitField const& field, char quote);

}  // namespace storage
