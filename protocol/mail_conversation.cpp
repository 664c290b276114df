#include "protocol/mail_conversation.h"

#include "platform/secrets.h"
#include "tessaly/platform/socket.h"

namespace protocol {

using namespace platform;

namespace {

constexpr unsigned ms_of_second = 1000;

unsigned Milliseconds(int seconds) { return seconds < 1 ? 0 : static_cast<unsigned>(seconds) * ms_of_second; }

// The texts that identify failures.
constexpr char const* text_timeout = "Timeout.";
constexpr char const* text_interrupted = "Interrupted.";
constexpr char const* text_no_host = "The RemoteHost address is invalid (0.0.0.0).";
constexpr char const* text_handshake = "Error during handshake: ";
constexpr char const* text_closed = "Server disconnected before handshake completion.";
constexpr char const* text_certificate = "Server certificate verification failed. Connection aborted. ";

constexpr struct {
    int error;
    char const* text;
} socket_texts[] = {
    {socket_aborted, "Software caused connection abort."},
    {socket_reset, "Connection reset by peer."},
    {socket_timed_out, text_timeout},
    {socket_refused, "Connection refused."},
    {socket_network_unreachable, "Network is unreachable."},
    {SocketSupport::line_too_long_error, "A line of the server is too long."},
};

}  // namespace

MailConversation::~MailConversation() {
    Close();
    Wipe(settings_.password);
}

void MailConversation::Trail(int direction, char const* message) {
    Fire(numbers_.trail, PITrailEvent{direction, message});
}

ComponentFailure MailConversation::Fail(ComponentFailure failure, CString const& text) {
    if (quiet_) return failure;
    failure_ = failure;
    error_text_ = text;
    Fire(numbers_.error, ErrorEvent{failure.Number(), error_text_});
    return failure;
}

void MailConversation::ForgetError() {
    failure_ = {};
    error_text_.Empty();
}

// The error event comes before the end of the connection, so that an observer of the events sees which step
// failed.
ComponentFailure MailConversation::FailAndClose(ComponentFailure failure, CString const& text) {
    Fail(failure, text);
    Close();
    return failure;
}

ComponentFailure MailConversation::FailBySocket() {
    int const error = GetLastSocketError();
    if (socket_.Interrupted()) {
        socket_.Resume();
        return FailAndClose(component_interrupted, text_interrupted);
    }
    if (error == socket_interrupted) return FailAndClose(component_interrupted, text_interrupted);
    if (error == 0)
        return FailAndClose(ComponentFailure::OfSocket(socket_aborted), "The server closed the connection.");
    if (error == socket_timed_out) return FailAndClose(component_timeout, text_timeout);
    if (error == socket_aborted && IsSecure())
        return FailAndClose(component_tls, "The secured connection is broken.");
    for (auto const& known : socket_texts)
        if (known.error == error) return FailAndClose(ComponentFailure::OfSocket(error), known.text);
    CString text;
    text.Format("Socket error %d.", error);
    return FailAndClose(ComponentFailure::OfSocket(error), text);
}

// A value that is not one of MailSecurity is kept, so that a caller that ignores the result cannot end up
// with a plain connection.
ComponentFailure MailConversation::SetSecurity(ComponentValue const& value) {
    settings_.security = value.IsNumber() ? value.Number() : no_security_number;
    return CheckSecurity();
}

ComponentFailure MailConversation::CheckSecurity() {
    bool const known =
        settings_.security >= security_none && settings_.security <= security_upgrade_if_offered;
    return known ? ComponentFailure() : Fail(component_unknown, "Unknown security.");
}

ComponentFailure MailConversation::Open() {
    Close();
    if (ComponentFailure const failure = CheckSecurity()) return failure;
    CString place;
    place.Format("%s:%d", static_cast<char const*>(settings_.server), settings_.port);
    Inform("Connecting to mail server.");
    Fire(numbers_.connection_status, ConnectionStatusEvent{"Connecting to " + place});
    socket_.ClearLineBuffer();
    unsigned const limit = Milliseconds(settings_.seconds);
    socket_.SetTimeOutTime(limit);
    if (settings_.server.IsEmpty() || !socket_.Create() ||
        !socket_.ConnectWithin(settings_.server, static_cast<unsigned>(settings_.port), limit)) {
        bool const no_host = settings_.server.IsEmpty() || GetLastSocketError() == socket_invalid;
        return no_host ? Fail(ComponentFailure::OfSocket(socket_invalid), text_no_host) : FailBySocket();
    }
    Inform("Connected.");
    Fire(numbers_.connection_status, ConnectionStatusEvent{"Connected to " + place});
    return settings_.security == security_tls ? Secure() : ComponentFailure();
}

ComponentFailure MailConversation::Secure() {
    TlsOptions const options{settings_.server, static_cast<unsigned>(settings_.port), settings_.ca_file,
                             settings_.verify};
    Fire(numbers_.ssl_status, SSLStatusEvent{"Starting the handshake."});
    TlsFailure const failure = socket_.StartTls(options, Milliseconds(settings_.seconds));
    TlsCertificate const& shown = socket_.Certificate();
    if (!shown.valid_until.IsEmpty())
        Fire(numbers_.certificate,
             CertificateEvent{shown.subject, shown.issuer, shown.names, shown.valid_from, shown.valid_until});
    if (failure != TlsFailure::none) return FailByHandshake(failure);
    Fire(numbers_.ssl_status, SSLStatusEvent{"Secured: " + socket_.Parameters()});
    return component_ok;
}

ComponentFailure MailConversation::FailByHandshake(TlsFailure failure) {
    CString const why = socket_.FailureText();
    Fire(numbers_.ssl_status, SSLStatusEvent{"The handshake failed: " + why});
    switch (failure) {
        case TlsFailure::certificate: return FailAndClose(component_certificate, text_certificate + why);
        case TlsFailure::closed: return FailAndClose(component_tls, text_closed);
        case TlsFailure::timed_out: return FailAndClose(component_timeout, text_timeout);
        case TlsFailure::interrupted:
            socket_.Resume();
            return FailAndClose(component_interrupted, text_interrupted);
        case TlsFailure::no_authorities:
            return FailAndClose(component_certificate,
                                text_certificate + CString("The file of authorities: ") + why);
        default: return FailAndClose(component_tls, text_handshake + why);
    }
}

void MailConversation::Close() {
    bool const was_open = socket_.IsOpen();
    socket_.Close();
    if (!was_open) return;
    Inform("Disconnected.");
    Fire(numbers_.connection_status, ConnectionStatusEvent{"Disconnected"});
}

ComponentFailure MailConversation::SendLine(CString line, char const* shown) {
    Trail(trail_sent, shown ? shown : static_cast<char const*>(line));
    line += "\r\n";
    ComponentFailure const failure = SendText(line);
    if (shown) Wipe(line);
    return failure;
}

ComponentFailure MailConversation::SendText(CString text) {
    return socket_.SendBlock(text, 0, 0) < 0 ? FailBySocket() : ComponentFailure();
}

// The protocols are TLS 1.2 and above, whatever the line requests.
ComponentFailure MailConversation::Configure(CString const& line) {
    return line.Left(line.Find('=') + 1) == "SSLEnabledProtocols="
               ? ComponentFailure()
               : Fail(component_unknown, "Unknown configuration: " + line);
}

}  // namespace protocol
