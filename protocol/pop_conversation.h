#pragma once

#include <functional>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/protocol/pop_failure.h"

class SocketSupport;

// The client's side of POP3 (RFC 1939), written once: which command follows which reply, and the limits of
// what a server may send. What carries the bytes, keeps a log, and says in which words a step failed is the
// business of the class above it.
namespace protocol {

enum class PopResult {
    done,
    lost,        // the channel failed, and knows why
    refused,     // by the reply
    no_upgrade,  // STLS is refused
    // Of the login, before anything of it is sent:
    line_end_in_credentials,
    unknown_login,
    no_time_stamp,    // APOP: in the greeting
    secret_too_long,  // APOP: for its digest
    // What came is too long. The rest of it is still to come, so the connection is of no more use.
    list_too_long,
    unique_id_too_long,
    message_too_long,
};

// A further way to log in has its name here and its commands in PopConversation::LogIn.
enum class PopLogin { password, apop, unknown };

struct PopOptions {
    bool upgrade = false;             // STLS (RFC 2595) before the login
    bool upgrade_if_offered = false;  // with `upgrade`: go on plainly where CAPA does not offer it
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
        // Sends the line and CR LF behind it; `shown`, unless null, stands in a log in its place. False: the
        // channel has failed, and keeps why.
        virtual bool SendLine(CString const& line, char const* shown) = 0;
        // A line came; it has no line end. Lines of messages are not told.
        virtual void Received(std::string_view) {}
        // No line came, by the thread's last socket error, which is 0 where the server closed.
        virtual void Lost() = 0;
        virtual bool Secure() { return false; }
    };
    // A line of a list without its line end. Whatever it gives but `done` ends the reading, as its result.
    using TakeLine = std::function<PopResult(std::string_view)>;

    // The channel must outlive the object.
    explicit PopConversation(Channel& channel, PopOptions options = {})
        : channel_(channel), options_(std::move(options)) {}

    PopResult Greet();
    // From the upgrade to the login, as the options say; behind Greet.
    PopResult LogIn();
    PopResult Stat();
    PopResult List(TakeLine const& take);
    PopResult UniqueIds(TakeLine const& take);
    PopResult UniqueId(long number);
    // The message as it comes, with its closing line, stands in `text`, which a refusal leaves as it was.
    // `size`: how many bytes the server has told of.
    PopResult Retrieve(long number, CString& text, long size = 0);
    PopResult Top(long number, int lines, CString& text);
    PopResult Delete(long number);
    PopResult Idle();
    PopResult Reset();
    PopResult Quit();

    CString const& Greeting() const { return greeting_; }
    // The last reply, of a list or a message its first line, without its line end; empty when none came.
    CString const& Reply() const { return reply_; }
    // Where the last step stands, with the reply that refused it.
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
    const PopOptions options_;
    PopPhase phase_ = PopPhase::none;
    bool refused_ = false;  // by reply_
    CString greeting_, reply_;
    CString line_;  // as the socket gives it
};

}  // namespace protocol
