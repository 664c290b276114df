#pragma once

#include "tessaly/platform/component.h"

// What the mail components have in common: the security of the connection, and their events.
namespace protocol {

using platform::ComponentDispatcher;
using platform::ComponentFailure;
using platform::ComponentValue;
using enum platform::ComponentError;

// The security of the connection. Anything else, a text too, is an error (component_unknown) of the setting
// and of every connecting after it.
enum MailSecurity : int {
    security_none = 0,
    security_tls = 1,                 // TLS from the first byte
    security_upgrade = 2,             // STARTTLS (RFC 3207), STLS (RFC 2595), or failure
    security_upgrade_if_offered = 3,  // plain where the server does not offer it
};

struct ConnectionStatusEvent {
    char const* text;
};
struct ErrorEvent {
    int code;
    char const* description;
};
enum TrailDirection : int { trail_sent = 0, trail_received = 1, trail_information = 2 };
// Stands in a line in place of a secret.
inline constexpr char const* hidden_secret = "********";
// A line of the conversation. The text of a message is not among the lines.
struct PITrailEvent {
    int direction;
    char const* message;
};
struct SSLStatusEvent {
    char const* message;
};
// The server's certificate in the handshake, accepted or not; times in UTC.
struct CertificateEvent {
    char const *subject, *issuer, *host_names, *valid_from, *valid_until;
};

}  // namespace protocol
