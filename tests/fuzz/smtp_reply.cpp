// Replies of an SMTP server: what is taken from the bytes received, and what they say.

#include "protocol/smtp_reply.h"

#include "fuzz_target.h"
#include "protocol/mail_limits.h"
#include "tessaly/delivery/mail_send.h"
#include "tessaly/protocol/socket_support.h"

namespace {

// The code at the start of a line without its end: three characters, digits first, then a blank, a "-" or
// nothing; a "-" makes it negative.
int CodeOf(std::string_view line) {
    if (line.size() < 3 || (line.size() > 3 && line[3] != ' ' && line[3] != '-')) return 0;
    int number = 0;
    for (std::size_t i = 0; i < 3 && line[i] >= '0' && line[i] <= '9'; ++i)
        number = 10 * number + (line[i] - '0');
    return line.size() > 3 && line[3] == '-' ? -number : number;
}

struct Expected {
    protocol::ReplyOutcome outcome = protocol::ReplyOutcome::failed;
    std::string text;
    int code = 0;
    int last_line = 0;  // what its last line says
    std::string left;
};

Expected Model(std::string_view received) {
    Expected expected;
    while (received.find('\n') != received.npos) {
        std::string_view line = fuzz::TakeLine(received);
        while (line.ends_with('\r')) line.remove_suffix(1);
        expected.text.append(line).append("\r\n");
        expected.last_line = CodeOf(line);
        if (expected.last_line > 0) {
            expected.code = expected.last_line;
            expected.outcome = protocol::ReplyOutcome::complete;
            break;
        }
    }
    expected.left = received;
    return expected;
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const received = fuzz::TextOf(bytes);
    if (received.size() >= static_cast<std::size_t>(protocol::reply_limit) / 2) return;
    Expected const expected = Model(received);

    SocketSupport socket;  // not connected: when the bytes are used up, reading on fails
    socket.GetLineBuffer() = received.c_str();
    protocol::SmtpReply reply{-1, "old"};
    fuzz::Check(protocol::ReadReply(socket, reply) == expected.outcome, "the reply ends where it ends");
    CString const& text = reply.text;
    int const code = reply.code;
    fuzz::Check(text.View() == expected.text, "the reply holds its lines");
    fuzz::Check(code == expected.code, "the code of the last line");
    fuzz::Check(socket.GetLineBuffer().View() == expected.left, "the rest stays for the next reply");

    int final = 0;
    int const status = MailSend::GetResponseStatus(text, &final);
    fuzz::Check(final == expected.last_line && status == std::abs(final), "the status of the last line");
    fuzz::Check(protocol::BehindFirstBlank(text.View()).size() <= text.View().size(), "a part of the reply");
    fuzz::Check(reply.Enhanced().size() <= reply.LastLine().size(), "a part of its last line");
}
