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
    // Off for the number 0 only.
    void SetVerify(ComponentValue const& value) {
        settings_.verify = !value.IsNumber() || value.Number() != 0;
    }
    bool IsOpen() const { return socket_.IsOpen(); }
    // Connects, with TLS from the first byte where that is set.
    ComponentFailure Open();
    // The handshake.
    ComponentFailure Secure();
    void Close();
    // Sends a line with CR LF behind it; `shown` stands in the trail instead of it.
    ComponentFailure SendLine(CString line, char const* shown = nullptr);
    // Sends a text that the trail does not show.
    ComponentFailure SendText(CString text);
    // Records the failure, fires its event and returns it.
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
    // While an object lives, failures are neither recorded nor fired as events.
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

    EventNumbers const numbers_;
    ComponentDispatcher const dispatcher_;
    void* const object_;
    bool quiet_ = false;
    ComponentFailure failure_;
    CString error_text_;
};

}  // namespace protocol
