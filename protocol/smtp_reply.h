#pragma once

#include <string_view>

#include "platform/cstring.h"
#include "platform/export.h"

class SocketSupport;

// Replies of an SMTP server (RFC 5321 4.2): reading one from the wire and taking it apart.
namespace protocol {

// A reply with more bytes than this, or one line of that size, counts as failed. RFC 5321 4.5.3.1.5 allows
// 512 bytes a line and sets no limit to their number; what servers send stays below a few KiB.
inline constexpr int reply_limit = 64 * 1024;

// What the last line of `reply` says: its code, positive on the last line of a reply, negative on a
// continuation line ("250-"), 0 on a line that cannot be read. The line end is no part of the line: "250"
// alone is a last line.
TESSALY_API int ReplyCode(std::string_view reply) noexcept;

enum class ReplyOutcome { complete, closed, failed, too_long };

// Reads one reply, all its lines, into `text`, and its code into `code`. Lines that cannot be read are part
// of the text. When the reply does not come to its end, `text` holds the lines so far and `code` is 0; after
// `failed` the thread's last socket error says why. The time for the whole reply is limited as well
// (SocketSupport::WholeReply).
TESSALY_API ReplyOutcome ReadReply(SocketSupport& socket, CString& text, int& code);

// The reply without the CR LF at its end.
TESSALY_API CString WithoutLineEnd(CString const& reply);
// The text behind the first blank, empty if there is none; the line end stays.
TESSALY_API std::string_view BehindFirstBlank(std::string_view reply) noexcept;

}  // namespace protocol
