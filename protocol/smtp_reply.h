#pragma once

#include <functional>
#include <string_view>

#include "tessaly/platform/cstring.h"

class SocketSupport;

// Replies of an SMTP server (RFC 5321 4.2): reading one from the connection and taking it apart.
namespace protocol {

// The code of the last line of `reply`: positive on the last line of a reply, negative on a continuation line
// ("250-"), 0 on a line that cannot be read. The line end is no part of the line: "250" alone is a last line.
int ReplyCode(std::string_view reply) noexcept;

// The kinds of replies that are no refusal, by the first digit of their code.
enum class ReplyKind { completion = 2, intermediate = 3 };

struct SmtpReply {
    int code = 0;  // 0 where the reply was not complete
    CString text;  // all its lines, each with CR LF

    bool Is(ReplyKind kind) const { return code / 100 == static_cast<int>(kind); }
    // Without its line end.
    std::string_view LastLine() const noexcept;
    // The status code behind the code of the last line (RFC 3463), empty for none.
    std::string_view Enhanced() const noexcept;
};

enum class ReplyOutcome {
    complete,
    closed,
    failed,  // see the thread's last socket error
    too_long,
    unreadable,  // strict reading: a line without a code, or too many lines
    odd_code,    // strict reading: a code below 200 or above 599 (RFC 5321 4.2.1)
};

struct ReplyReading {
    // A line that cannot be read ends the reply as a failure, and any sign but "-" behind the code makes a
    // line the last one; otherwise lines that cannot be read are part of the text.
    bool strict = false;
    // Called with each line, without its line end.
    std::function<void(std::string_view)> on_line;
};

// Reads one reply. When it is not complete, `reply` holds the lines so far and the code 0. The time for the
// whole reply is limited as well (SocketSupport::WholeReply).
ReplyOutcome ReadReply(SocketSupport& socket, SmtpReply& reply, ReplyReading const& how = {});

// The reply without the CR LF at its end.
CString WithoutLineEnd(CString const& reply);
// The text behind the first blank, empty if there is none; the line end stays.
std::string_view BehindFirstBlank(std::string_view reply) noexcept;

}  // namespace protocol
