#pragma once

#include "mail_content.h"

// One customer's mail: the text with her values in it, in a form that mail programs can read.
namespace app {

struct MailText {
    CString to_name, to_address;
    CString subject;
    CString body;
};
// Merges the version of the mail that `customer` gets, and makes what came out fit for mail: no line end or
// control character in the subject or a name, line ends CR LF in the body and no line too long for a mail
// server, half-width kana widened, characters outside JIS X 0208 moved to the rows that mail programs know
// (NEC's), what has no place there replaced by the geta mark.
MailText Merge(MailVersion const& version, CString const& honorific, OneCustomer const& customer);

// Text for a mail: see above; `one_line` also turns line ends and control characters into blanks.
CString Mailable(CString const& text, bool one_line);

// Header text from code page 932: short ASCII as it is unless it looks like an encoded word, else encoded
// words (RFC 2047) that hold all of it, so that no blank comes or goes at their edges.
CString HeaderText(CString const& text);
// The same as the value of a parameter: in quotes whatever it is.
CString QuotedName(CString const& text);
// "name <address>" for a header; ASCII names as quoted strings (RFC 5322 3.2.4).
CString HeaderMailbox(Mailbox const& mailbox);

}  // namespace app
