#pragma once

#include <string_view>

#include "protocol/tls_socket.h"
#include "tessaly/protocol/mail_component.h"

namespace protocol {

// What the SMTP and the POP component have in common: the connection and its security, lines in and out with
// their trail, events, and the last failure.
class MailConversation {
  public:
    MailConversation(MailConversation const&) = delete;
    MailConversation& operator=(MailConversation const&) = delete;

    CString const& LastErrorText() const { return error_text_; }
    ComponentFailure LastFailure() const { return failure_; }
    // From any thread: ends the method that runs now, or the next one, with component_interrupted.
    void Interrupt() noexcept { socket_.Interrupt(); }

  protected:
    struct EventNumbers {
        int connection_status, error, trail, certificate, ssl_status;
    };
    struct Settings {
        CString server, user, password, ca_file;
        int port;
        int security = security_none;
        int seconds = 0;  // 0: no limit
        bool verify = true;
    };
    static constexpr int no_security_number = -1;

    MailConversation(EventNumbers const& numbers, ComponentDispatcher dispatcher, void* object)
        : numbers_(numbers), dispatcher_(dispatcher), object_(object) {}
    ~MailConversation();

    ComponentFailure SetSecurity(ComponentValue const& value);
    // Off by the number 0 alone.
    void SetVerify(ComponentValue const& value) {
        settings_.verify = !value.IsNumber() || value.Number() != 0;
    }
    bool IsOpen() const { return socket_.IsOpen(); }
    // Connects, with TLS from the first byte where that is set.
    ComponentFailure Open();
    // The handshake.
    ComponentFailure Secure();
    void Close();
    // A line with its CR LF behind it; `shown` stands in the trail in its place.
    ComponentFailure SendLine(CString line, char const* shown = nullptr);
    // Any text, without a trail.
    ComponentFailure SendText(CString text);
    // Notes the failure and tells it; gives it back.
    ComponentFailure Fail(ComponentFailure failure, CString const& text);
    ComponentFailure FailAndClose(ComponentFailure failure, CString const& text);
    ComponentFailure FailBySocket();
    void ShowReceived(CString const& line) { Trail(trail_received, line); }
    void Inform(char const* information) { Trail(trail_information, information); }
    bool Upgrades() const {
        return settings_.security == security_upgrade || settings_.security == security_upgrade_if_offered;
    }
    bool IsSecure() const { return socket_.IsSecure(); }
    // Takes a configuration line, "NAME=VALUE".
    ComponentFailure Configure(CString const& line);
    void ForgetError();
    // Failures are not noted and not told while one lives.
    class Quiet {
      public:
        explicit Quiet(MailConversation& conversation) : conversation_(conversation) {
            conversation_.quiet_ = true;
        }
        ~Quiet() { conversation_.quiet_ = false; }
        Quiet(Quiet const&) = delete;
        Quiet& operator=(Quiet const&) = delete;

      private:
        MailConversation& conversation_;
    };

    Settings settings_;
    TlsSocket socket_;

  private:
    template <class Event>
    void Fire(int number, Event event) {
        dispatcher_(object_, number, &event);
    }
    void Trail(int direction, char const* message);
    ComponentFailure CheckSecurity();
    ComponentFailure FailByHandshake(platform::TlsFailure failure);

    const EventNumbers numbers_;
    const ComponentDispatcher dispatcher_;
    void* const object_;
    bool quiet_ = false;
    ComponentFailure failure_;
    CString error_text_;
};

}  // namespace protocol
