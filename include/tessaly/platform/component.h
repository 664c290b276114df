#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The common interface of the components for secure mail and for the web: values in, events out, and their
// error numbers. A component is used by handle; its methods run in the thread that calls them, and so do its
// events.
namespace platform {

// A number or a text, whichever the property or the argument has, for the length of a call. A null text
// counts as empty.
class ComponentValue {
  public:
    ComponentValue(int number) : number_(number), is_number_(true) {}
    ComponentValue(char const* text) : bytes_(text ? text : "") {}
    ComponentValue(CString const& text) : bytes_(text), shared_(&text) {}
    // 0 for a text.
    int Number() const { return number_; }
    bool IsNumber() const { return is_number_; }
    CString Text() const { return shared_ ? *shared_ : CString(bytes_); }
    char const* Bytes() const { return bytes_; }

  private:
    int number_ = 0;
    bool is_number_ = false;
    char const* bytes_ = "";
    CString const* shared_ = nullptr;
};

// Called with the object given at the creation, the event's number, and its parameters. The result is
// ignored.
using ComponentDispatcher = int (*)(void* object, int event, void* parameters);

// The components' own errors.
enum ComponentError : int {
    component_ok = 0,
    component_unknown = 101,         // no such property, method, configuration or value
    component_not_connected = 102,   // the method needs a connection
    component_missing = 103,         // no sender, no recipient, or an address that is not valid
    component_refused = 171,         // POP: "-ERR"; the text is the server's line
    component_authentication = 172,  // the server offers no allowed method, or its challenge is damaged
    component_line_too_long = 173,   // of the message: above 998 bytes (RFC 5321 4.5.3.1.6)
    component_interrupted = 174,
    component_protocol = 175,          // a reply that cannot be read, or is too long
    component_unexpected_reply = 176,  // SMTP: a reply that neither fits the command nor refuses it
    component_reply_code = 177,        // SMTP: a reply with a code below 200 or above 599 (RFC 5321 4.2.1)
    component_tls = 276,
    component_no_upgrade = 277,   // STARTTLS or STLS is required, and refused
    component_certificate = 278,  // of the server: not trusted, not valid now, or of another host
    component_timeout = 301,
    component_http = 178,       // web: the status is 400 or above; the text holds it with its reason
    component_no_answer = 179,  // web: no whole answer came
};

// How a method ended, and the source of its number: the component itself, a socket (platform::SocketError),
// or, for SMTP, the reply that refused. Functions of a component give the bare number, 0 for success; the
// ranges of the three do not overlap.
class ComponentFailure {
  public:
    enum class Source { none, component, socket, reply };
    // The codes of replies that refuse: temporarily below first_for_good, and for good from there on (RFC
    // 5321 4.2.1).
    static constexpr int first_refusal = 400, first_for_good = 500, last_refusal = 599;

    constexpr ComponentFailure() = default;
    constexpr ComponentFailure(ComponentError error)
        : source_(error == component_ok ? Source::none : Source::component), number_(error) {}
    static constexpr ComponentFailure OfSocket(int error) { return {Source::socket, error}; }
    // `code`: first_refusal to last_refusal.
    static constexpr ComponentFailure OfReply(int code) { return {Source::reply, code}; }

    constexpr explicit operator bool() const { return source_ != Source::none; }
    constexpr int Number() const { return number_; }
    constexpr bool IsByServer() const { return source_ == Source::reply; }
    constexpr bool IsForGood() const { return IsByServer() && number_ >= first_for_good; }
    constexpr bool operator==(ComponentFailure const&) const = default;

  private:
    constexpr ComponentFailure(Source source, int number) : source_(source), number_(number) {}

    Source source_ = Source::none;
    int number_ = component_ok;
};

}  // namespace platform
