#pragma once

#include <string>
#include <string_view>

#include "tessaly/mime.h"

class MailAnalyzer;

// What the headers of received mails tell, whichever program wrote them.
namespace app {

// "%41" as "A" (RFC 3986 2.1); a "%" without two digits stays.
std::string PercentDecoded(std::string_view text);

// The file name that a part of a received mail tells, in UTF-8: what the library reads, else a parameter in
// the extended form of RFC 2231, in pieces too, which other mail programs write. Empty for none.
std::string NameOfPart(MimeFormatStruct const& part);

// The subject; encoded words in UTF-8 count too.
CString SubjectOf(MailAnalyzer const& analyzer);

}  // namespace app
