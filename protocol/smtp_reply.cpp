#include "protocol/smtp_reply.h"

#include <algorithm>

#include "protocol/mail_limits.h"
#include "tessaly/platform/socket.h"
#include "tessaly/protocol/socket_support.h"

namespace protocol {

namespace {

constexpr std::size_t code_digits = 3;
constexpr int first_code = 200, last_code = 599;

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view LastLine(std::string_view reply) noexcept {
    if (reply.ends_with('\n')) {
        reply.remove_suffix(1);
        while (reply.ends_with('\r')) reply.remove_suffix(1);
    }
    std::size_t const line_feed = reply.rfind('\n');
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
    std::string_view const start = LastLine(reply).substr(0, code_digits + 1);
    if (start.size() < code_digits) return 0;
    char const mark = start.size() == code_digits ? ' ' : start[code_digits];
    if (mark != ' ' && mark != '-') return 0;
    int const number = LeadingNumber(start);
    return mark == '-' ? -number : number;
}

std::string_view SmtpReply::LastLine() const noexcept { return protocol::LastLine(text.View()); }

std::string_view SmtpReply::Enhanced() const noexcept {
    std::string_view status = BehindFirstBlank(LastLine());
    status = status.substr(0, status.find(' '));
    int dots = 0;
    for (std::size_t at = 0; at < status.size(); ++at) {
        bool const dot = status[at] == '.' && at > 0 && at + 1 < status.size() && status[at - 1] != '.';
        if (!dot && !IsDigit(status[at])) return {};
        dots += dot;
    }
    return dots == 2 ? status : std::string_view();
}

namespace {

// The code of a line by the strict reading, 0 on a continuation line, -1 on one that cannot be read.
int StrictCode(std::string_view line) noexcept {
    constexpr int goes_on = 0, unreadable = -1;
    constexpr std::size_t longest_number = 9;
    if (line.size() < code_digits || !std::all_of(line.begin(), line.begin() + code_digits, IsDigit))
        return unreadable;
    if (line.size() > code_digits && line[code_digits] == '-') return goes_on;
    return LeadingNumber(line.substr(0, longest_number));
}

ReplyOutcome WhyNone(int length) {
    if (length == 0) return ReplyOutcome::closed;
    return platform::GetLastSocketError() == SocketSupport::line_too_long_error ? ReplyOutcome::too_long
                                                                                : ReplyOutcome::failed;
}

}  // namespace

ReplyOutcome ReadReply(SocketSupport& socket, SmtpReply& reply, ReplyReading const& how) {
    reply = {};
    socket.SetLineLimit(reply_limit);
    SocketSupport::WholeReply const whole(socket);
    for (;;) {
        if (!how.strict && reply.text.GetLength() > reply_limit) return ReplyOutcome::too_long;
        int const length = socket.GetLine(reply.text, 0, 0);
        if (length < 1) return WhyNone(length);
        if (how.on_line) how.on_line(reply.LastLine());
        if (!how.strict) {
            int const code = ReplyCode(reply.text.View());
            if (code <= 0) continue;
            reply.code = code;
            return ReplyOutcome::complete;
        }
        int const code = StrictCode(reply.LastLine());
        if (code < 0 || reply.text.GetLength() > reply_limit) return ReplyOutcome::unreadable;
        if (code == 0 && reply.LastLine().substr(code_digits).starts_with('-')) continue;
        if (code < first_code || code > last_code) return ReplyOutcome::odd_code;
        reply.code = code;
        return ReplyOutcome::complete;
    }
}

CString WithoutLineEnd(CString const& reply) { return reply.Left(reply.GetLength() - 2); }

std::string_view BehindFirstBlank(std::string_view reply) noexcept {
    std::size_t const blank = reply.find(' ');
    return blank == std::string_view::npos ? std::string_view() : reply.substr(blank + 1);
}

}  // namespace protocol
