#pragma once

#include "tessaly/platform/cstring.h"

namespace protocol {

// The steps of an SMTP conversation, in their order.
enum class SmtpPhase {
    none,  // no server was contacted
    connect,
    greeting,
    hello,
    upgrade,
    authentication,
    reset,
    sender,
    recipient,
    data,
    message,  // from the first byte of its text to the reply to it
    quit,
};

// Why a conversation failed: the step, and the whole reply that refused it.
struct SmtpFailure {
    SmtpPhase phase = SmtpPhase::none;
    int code = 0;      // of the reply; 0 where there was none, or none that can be read
    CString enhanced;  // status code of the reply (RFC 3463), such as "5.1.1"; empty for none
    CString text;      // of the reply, all its lines
    // No reply came that can be read, and the system had taken the whole text of the mail up to its closing
    // dot: whether the server took the mail is not known (RFC 5321 4.5.3.2.6).
    bool in_doubt = false;

    // 421: the server closes the connection, whatever the command was (RFC 5321 3.8).
    static constexpr int service_closing = 421;
    bool IsFarewell() const { return code == service_closing; }
    // Whether the step belongs to one mail, not to the connection.
    bool IsInMail() const { return phase >= SmtpPhase::sender && phase <= SmtpPhase::message; }
};

}  // namespace protocol
