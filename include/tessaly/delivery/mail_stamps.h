#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The marks of a mail that come from the clock: Message-ID, date, boundary.
namespace delivery {

// "%04d%02d%02d%02d%02d%02d%03d.%05d.%d.%s": time in UTC with milliseconds, a counter of the IDs of this
// millisecond, `number`, `text`. Any thread may call it; no two calls of one process give the same text
// within a millisecond unless there are more than 100,000 of them.
TESSALY_API CString NextMessageId(char const* text, int number);

// The present local time in the form of RFC 5322 3.3, "Sun, 01 Feb 2026 09:08:07 +0900". `zone` is a decimal
// number such as 900 or -500; null or empty for the zone of the system, summer time included.
TESSALY_API CString SmtpDateNow(char const* zone);

// "_MULTIPART_" and the local time with milliseconds, four random characters, "_MIXED_".
TESSALY_API CString NewBoundary();

}  // namespace delivery
