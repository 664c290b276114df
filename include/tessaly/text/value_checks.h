#pragma once

#include "tessaly/platform/export.h"

// Whether a customer's or a mail's value is acceptable. A null text counts as empty. All functions use
// their arguments only and may be called from any thread.

// 1 for a mail address that the system accepts, else 0: one "@" with something before it, behind it a
// domain of ASCII letters, digits, "-" and single inner dots, at least one; and no blank, control byte,
// double quote, parenthesis, comma, colon, semicolon, angle or square bracket, backslash or multi-byte
// character anywhere.
TESSALY_API int MailAddressChecker(char const* address);

// 1 for an empty text, one digit, or an optional sign and 1 to 9 digits, else 0.
TESSALY_API int CheckNumberData(char const* text);

// 1 when `text` is a date with at least its first `parts` parts valid (1 year, 2 month, 3 day, 4 hour, 5
// minute, 6 second).
TESSALY_API int CheckDateTypeData(char const* text, int parts);

// 1 when every byte of `text` is one of the bytes of `allowed`.
TESSALY_API int CheckSpecialStringData(char const* text, char const* allowed);
