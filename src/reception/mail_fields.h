#pragma once

#include <string>
#include <string_view>

#include "tessaly/mime/mime_format_struct.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/ole_date_time.h"

// Readers of single header fields of received mail. All of them accept deviations that mail programs write.
namespace reception {

// The value of the first header of a name, without regard to case; null if there is none.
CString const* HeaderOf(MimeFormatStruct const& mail, std::string_view name);

// A structured value without blanks and comments; quoted strings and encoded words stay.
std::string WithoutComments(std::string_view value);

// The ID of a Message-ID value from behind its colon: without the angle brackets, of which one or both may be
// missing. false for a value without any blank, for an empty ID between brackets, and for brackets in the
// wrong order; `id` is then empty.
bool TakeMessageID(std::string_view value, CString& id);
// The ID of the first header "message-id" whose value has one.
bool FirstMessageID(MimeFormatStruct::Headers const& headers, std::string_view name, CString& id);
// The last ID that the header "references", or without it "in-reply-to", names.
bool TakeReferencedID(MimeFormatStruct const& mail, CString& id);
// The address of "from", else "sender", else "return-path".
bool TakeFromAddress(MimeFormatStruct const& mail, CString& address);
// The decoded subject, empty without one.
CString SubjectOf(MimeFormatStruct const& mail);
// The value of a field, unfolded and trimmed, in the first part of a type ("message/delivery-status") that
// has it; empty without one. Only the parts of the mail itself count, not their parts.
CString ReportField(MimeFormatStruct const& mail, std::string_view type, std::string_view field);
// The header "date" in local time; false for a value that is no date.
bool TakeSendDate(MimeFormatStruct const& mail, COleDateTime& date);

}  // namespace reception
