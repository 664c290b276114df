#pragma once

#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class SocketSupport;

// Texts of many lines on the wire, with a line of one dot behind them and a dot before each that begins a
// line (RFC 5321 4.5.2, RFC 1939 3).
namespace protocol {

// Appends `text` with a dot before each dot that stands at its start or behind a CR LF.
TESSALY_API void AppendDotStuffed(CString& out, std::string_view text);
// A text as it came, without the closing line and the added dots.
TESSALY_API CString DotUnstuffed(std::string_view wire);

enum class DotText {
    complete,
    lost,  // by the socket's error, or the peer closed (error 0)
    too_long,
};
// Appends lines as they come, the closing one included, to a text of at most `limit` bytes in all.
TESSALY_API DotText ReadDotText(SocketSupport& socket, int limit, CString& text);

}  // namespace protocol
