#pragma once

#include <string_view>
#include <vector>

#include "tessaly/customers/one_customer.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// A text with merge words, divided once for many customers: with the same words, marks and values as
// MailWordInsert, which divides it for each. All functions may be called from any thread.
namespace delivery {

enum class MergeMarks { plain, html };  // "<%" and "%>", or "&lt;%" and "%&gt;"

struct MergePiece {
    std::string_view text;
    int word;  // its value follows the text; MailWordInsert::no_word in the last piece
};
// At least one piece; the pieces are views of `text`.
TESSALY_API std::vector<MergePiece> MergePieces(std::string_view text, MergeMarks marks);

// The value of a merge word, not escaped.
TESSALY_API CString MergeValue(OneCustomer const& customer, int word);

// A value in the form of HTML source.
TESSALY_API CString HtmlEscaped(CString const& value);

}  // namespace delivery
