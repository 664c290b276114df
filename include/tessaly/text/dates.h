#pragma once

#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/text/date_data.h"

// The one text form of dates that all data files share, 19 characters "2004/02/29 09:05:00" in local time,
// and the conversions around it. A buffer for it holds `text::date_data_size` bytes (text/date_data.h). All
// functions use their arguments only and may be called from any thread; local time is that of the process's
// time zone.

// The present local time.
TESSALY_API void GetNowDateTime(char* out);

// Reads six numbers by the scanf format "%4d/%2d/%2d %2d:%2d:%2d". The zero date, valid, for a text with
// fewer; an invalid date for six numbers that make none.
TESSALY_API COleDateTime Convert_DateData2COleDateTime(char const* text);
// Fills all `text::date_data_size` bytes of `out`, with NULs behind the text. The parts of an invalid date
// are written as -1.
TESSALY_API void Convert_COleDateTime2DateData(COleDateTime value, char* out);

// Rounds a time up to the next ten minutes: 10:23:40 gives 10:30:00; of 10:20:40 only the seconds are
// cleared. An invalid date stays as it is. Changes `value` and returns it.
TESSALY_API COleDateTime& AdjustTime(COleDateTime& value);

// Reads a date of Internet mail or HTTP, such as "Tue, 05 Oct 2004 09:30:15 +0900" (RFC 5322 3.3), and
// converts it to the computer's standard local time, without summer time. Exactly one blank separates the
// parts; the zone is the next word, and anything behind it is ignored. A zone that is neither a known name
// nor a number counts as UTC. Results: 1, or 0 with `out` unchanged (a part is missing, or the date leaves
// the calendar).
TESSALY_API int ConvertDateTimeFormat(char const* text, COleDateTime& out);

// The time when the file was made or last changed, as a date text. Fills all `text::date_data_size` bytes of
// `out`, with NULs when there is no result. Results: 1, or 0 when the file cannot be examined.
TESSALY_API int GetFileStat_CreateDate(char const* path, char* out);
TESSALY_API int GetFileStat_LastRenewalDate(char const* path, char* out);
