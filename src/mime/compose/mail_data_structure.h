#pragma once

#include "platform/cstring.h"
#include "platform/export.h"

// The text of a mail with its parts. An object is used by one thread at a time; the static operations by any
// number.
class TESSALY_API CMailDataStructure {
  public:
    // Quoted-printable (RFC 2045 6.7) of a text: lines are broken by "=\r\n" so that none holds more than 75
    // characters and the '=' of the break. CR and LF of the text stay line ends. A blank at the end of a line
    // is not protected.
    static CString QuotedPrintableEncorder(CString s);

    // The way back: "=\r\n" is dropped, =XX becomes a byte, with digits in either case. A '=' with less than
    // two characters behind it ends the text; one in front of two characters that are no digits is kept as
    // text, so that a text that only claims to be encoded is not lost. Null gives the empty text. The result
    // ends at a zero byte.
    static CString QuotedPrintableDecoder(char const* s);
};
