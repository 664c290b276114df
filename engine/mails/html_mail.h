#pragma once

#include <string>
#include <string_view>

#include "engine/mails/html_source.h"
#include "tessaly/customers.h"
#include "tessaly/mime.h"

// HTML mails as the mail store keeps them: the text of a whole MIME mail, header lines and body, merge words
// still in it.
namespace engine {

// A mail of a text and an HTML part with its pictures; and one of a text alone, for a terminal without HTML
// in a mail that has HTML elsewhere. Texts in code page 932.
CString ComposeHtml(CString const& text, HtmlSource const& source);
CString ComposeText(CString const& text);
// The same mail with another text beside its HTML.
CString WithText(CMimeAnalyze parts, CString const& text);

// What such a mail is made of. Throws Failure for a text that is no such mail.
CMimeAnalyze PartsOf(CString const& stored);
// Folds header lines of encoded words, which the library unfolds when it reads a part (RFC 2047 2).
void FoldWords(CMimeAnalyze& parts);
CString TextIn(CMimeAnalyze const& parts);
CString HtmlIn(CMimeAnalyze const& parts);

// As MailSend takes it.
struct MimeMail {
    CString type, subtype, parameters;
    CString body;
};
// The mail that the parts make, with a customer's data merged into them if there is one.
MimeMail Written(CMimeAnalyze& parts, OneCustomer* customer = nullptr);
// Whether a line of the text is longer than a mail server takes (RFC 5321 4.5.3.1.6), as merged values can
// make it.
bool HasLongLine(std::string_view text);
// Merges a customer's data into text and HTML, in a form that mail programs can read; see Merge. The parts
// hold the merged mail afterwards.
MimeMail MergeInto(CMimeAnalyze& parts, OneCustomer const& customer);

}  // namespace engine
