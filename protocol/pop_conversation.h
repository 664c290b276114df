#pragma once

#include <functional>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/protocol/pop_failure.h"

class SocketSupport;

// The client's side of POP3 (RFC 1939): which command follows which reply, and the limits of what a server
// may send. Transport, log and the texts of failures belong to the class above it.
namespace protocol {

enum class PopResult {
    done,
    lost,        // the channel failed, and keeps the reason
    refused,     // by the reply
    no_upgrade,  // STLS is refused
    // Failures of the login, before anything of it is sent:
    line_end_in_credentials,
    unknown_login,
    no_time_stamp,    // APOP: in the greeting
    secret_too_long,  // APOP: for its digest
    // The received text is too long. The rest of it is still to come, so the connection cannot be used
    // further.
    list_too_long,
    unique_id_too_long,
    message_too_long,
};

// A further way to log in has its name here and its commands in PopConversation::LogIn.
enum class PopLogin { password, apop, unknown };

struct PopOptions {
    bool upgrade = false;             // STLS (RFC 2595) before the login
    bool upgrade_if_offered = false;  // with `upgrade`: go on without TLS where CAPA does not offer it
    PopLogin login = PopLogin::password;
    bool one_at_sign = false;  // a time stamp for APOP holds exactly one "@", else at least one
    CString user, password;
};

class PopConversation {
  public:
    class Channel {
      public:
        virtual ~Channel() = default;
        virtual SocketSupport& Socket() = 0;
        // Sends the line and CR LF behind it; `shown`, unless null, stands in a log instead of it. false: the
        // channel has failed, and keeps the reason.
        virtual bool SendLine(CString const& line, char const* shown) = 0;
        // A line has come, without its line end. Not called for the lines of messages.
        virtual void Received(std::string_view) {}
        // No line has come: see the thread's last socket error, which is 0 where the server closed.
        virtual void Lost() = 0;
        virtual bool Secure() { return false; }
    };
    // Takes a line of a list without its line end. Any result but `done` ends the reading and becomes its
    // result.
    using TakeLine = std::function<PopResult(std::string_view)>;

    // The channel must outlive the object.
    explicit PopConversation(Channel& channel, PopOptions options = {})
        : channel_(channel), options_(std::move(options)) {}

    PopResult Greet();
    // From the upgrade to the login, as the options say; after Greet.
    PopResult LogIn();
    PopResult Stat();
    PopResult List(TakeLine const& take);
    PopResult UniqueIds(TakeLine const& take);
    PopResult UniqueId(long number);
    // The message with its closing line in `text`, which a refusal leaves as it was. `size`: its bytes
    // according to the server.
    PopResult Retrieve(long number, CString& text, long size = 0);
    PopResult Top(long number, int lines, CString& text);
    PopResult Delete(long number);
    PopResult Idle();
    PopResult Reset();
    PopResult Quit();

    CString const& Greeting() const { return greeting_; }
    // The last reply, for a list or a message its first line, without its line end; empty when there was
    // none.
    CString const& Reply() const { return reply_; }
    // The phase of the last step, and the reply that refused it.
    PopFailure Failure() const;

  private:
    void Begin(PopPhase phase);
    PopResult Command(PopPhase phase, CString const& line, char const* shown = nullptr);
    PopResult Receive();
    PopResult Upgrade();
    PopResult ByPassword();
    PopResult ByApop();
    PopResult ReadList(TakeLine const& take);
    PopResult ReadMessage(CString& text);
    bool ReadLine();
    std::string_view Line() const;

    Channel& channel_;
    PopOptions const options_;
    PopPhase phase_ = PopPhase::none;
    bool refused_ = false;  // by reply_
    CString greeting_, reply_;
    CString line_;  // as the socket gives it
};

}  // namespace protocol
