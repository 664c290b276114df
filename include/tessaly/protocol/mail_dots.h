#pragma once

#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class SocketSupport;

// Texts of many lines in SMTP and POP3, with a line of one dot behind them and a dot before each dot that
// begins a line (RFC 5321 4.5.2, RFC 1939 3).
namespace protocol {

// Appends `text` with a dot before each dot at its start or behind a CR LF.
TESSALY_API void AppendDotStuffed(CString& out, std::string_view text);
// A received text without the closing line and the added dots.
TESSALY_API CString DotUnstuffed(std::string_view wire);

enum class DotText {
    complete,
    lost,  // by the socket's error, or the peer closed (error 0)
    too_long,
};
// Appends lines as they are received, the closing one included, to a text of at most `limit` bytes in all.
TESSALY_API DotText ReadDotText(SocketSupport& socket, int limit, CString& text);

}  // namespace protocol
