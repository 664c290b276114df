#pragma once

#include <string>
#include <string_view>

#include "tessaly/mime.h"

// What received mails tell, whichever program wrote them, in UTF-8.
namespace engine {

// "%41" as "A" (RFC 3986 2.1); a "%" without two digits stays.
std::string PercentDecoded(std::string_view text);

// Bytes whose code nothing tells: UTF-8 if they are that, else ISO-2022-JP or Shift-JIS.
std::string GuessedText(std::string_view bytes);

// The bytes of a part without its transfer encoding; any that is not known counts as none.
std::string ContentOf(MimeFormatStruct const& part);
// Its text. Throws Failure for a charset that is not known.
std::string TextOf(MimeFormatStruct const& part);

// A header value, its encoded words (RFC 2047) decoded. A word of a charset that is not known stays.
std::string DecodedHeader(std::string_view value);
// Empty where there is none.
std::string SubjectOf(MimeFormatStruct const& mail);

// The file name that a part tells: a parameter as it stands or in encoded words, else one in the extended
// form of RFC 2231, in pieces too. Empty for none.
std::string NameOfPart(MimeFormatStruct const& part);

// The analysis reads ISO-2022-JP and Shift-JIS: of a mail in another code, the subject and the first text,
// which it takes for the mail's, become Shift-JIS, with a 〓 for each character that has no form there.
void MakeReadable(MimeFormatStruct& mail);

}  // namespace engine
