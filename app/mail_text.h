#pragma once

#include "draft.h"

// Text in a form that mail programs can read.
namespace app {

// Text for a mail: half-width kana widened, characters outside JIS X 0208 moved to the rows that mail
// programs know (NEC's), what has no place there replaced by the geta mark. `one_line` also turns line ends
// and control characters into blanks.
CString Mailable(CString const& text, bool one_line);
// The same for a whole body, with its line ends and no line too long.
CString MailableBody(CString const& text);

// Header text from code page 932: short ASCII as it is unless it looks like an encoded word, else encoded
// words (RFC 2047) that hold all of it, so that no blank comes or goes at their edges.
CString HeaderText(CString const& text);
// The same as the value of a parameter: in quotes whatever it is.
CString QuotedName(CString const& text);
// "name <address>" for a header; ASCII names as quoted strings (RFC 5322 3.2.4).
CString HeaderMailbox(Mailbox const& mailbox);

}  // namespace app
