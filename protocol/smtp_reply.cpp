#include "protocol/smtp_reply.h"

#include "platform/socket.h"
#include "protocol/socket_support.h"

namespace protocol {

namespace {

constexpr std::size_t code_digits = 3;

std::string_view LastLine(std::string_view reply) noexcept {
    if (reply.ends_with('\n')) {
        reply.remove_suffix(1);
        while (reply.ends_with('\r')) reply.remove_suffix(1);
    }
    const std::size_t line_feed = reply.rfind('\n');
    return line_feed == std::string_view::npos ? reply : reply.substr(line_feed + 1);
}

int LeadingNumber(std::string_view text) noexcept {
    int number = 0;
    for (char const digit : text) {
        if (digit < '0' || digit > '9') break;
        number = number * 10 + (digit - '0');
    }
    return number;
}

}  // namespace

int ReplyCode(std::string_view reply) noexcept {
    const std::string_view start = LastLine(reply).substr(0, code_digits + 1);
    if (start.size() < code_digits) return 0;
    char const mark = start.size() == code_digits ? ' ' : start[code_digits];
    if (mark != ' ' && mark != '-') return 0;
    int const number = LeadingNumber(start);
    return mark == '-' ? -number : number;
}

ReplyOutcome ReadReply(SocketSupport& socket, CString& text, int& code) {
    text.Empty();
    code = 0;
    socket.SetLineLimit(reply_limit);
    const SocketSupport::WholeReply whole(socket);
    for (int last_line = -1; last_line <= 0;) {
        if (text.GetLength() > reply_limit) return ReplyOutcome::too_long;
        int const length = socket.GetLine(text, 0, 0);
        if (length == 0) return ReplyOutcome::closed;
        if (length < 0)
            return platform::GetLastSocketError() == SocketSupport::line_too_long_error
                       ? ReplyOutcome::too_long
                       : ReplyOutcome::failed;
        last_line = ReplyCode(text.View());
        if (last_line > 0) code = last_line;
    }
    return ReplyOutcome::complete;
}

CString WithoutLineEnd(CString const& reply) { return reply.Left(reply.GetLength() - 2); }

std::string_view BehindFirstBlank(std::string_view reply) noexcept {
    const std::size_t blank = reply.find(' ');
    return blank == std::string_view::npos ? std::string_view() : reply.substr(blank + 1);
}

}  // namespace protocol
