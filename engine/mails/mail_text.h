#pragma once

#include "engine/mails/draft.h"

// Text in a form that mail programs can read.
namespace engine {

// Text for a mail: half-width kana widened, characters outside JIS X 0208 moved to the rows that mail
// programs know (NEC's), what has no place there replaced by the geta mark. `one_line` also turns line ends
// and control characters into blanks.
CString Mailable(CString const& text, bool one_line);
// Bytes in ISO-2022-JP, of the 998 that a line on the wire has (RFC 5322 2.1.1).
inline constexpr std::size_t longest_mailable_line = 990;
// The same for a whole body, with its line ends and no line too long.
CString MailableBody(CString const& text);

// Header text from code page 932: short ASCII as it is unless it looks like an encoded word, else encoded
// words (RFC 2047) that hold all of it, so that no blank comes or goes at their edges. `used`: characters in
// front of it on its first line. No line with a word has more than 76 characters.
CString HeaderText(CString const& text, std::size_t used);
// "name: text".
CString HeaderLine(char const* name, CString const& text);
// "name: text <address>"; an ASCII text as a quoted string (RFC 5322 3.2.4). The address goes to a line of
// its own where it does not fit behind the text.
CString HeaderLine(char const* name, Mailbox const& mailbox);
// parameter="name", for a line of its own that is folded by a tab and a blank at most.
CString NameParameter(char const* parameter, CString const& name);

}  // namespace engine
