#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "protocol/smtp_authentication.h"
#include "protocol/smtp_reply.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/protocol/smtp_failure.h"

// The client's side of SMTP (RFC 5321): which command follows which reply. Transport, log and the texts of
// failures belong to the class above it.
namespace protocol {

enum class SmtpResult {
    done,
    lost,        // the channel failed, and keeps the reason
    refused,     // by the reply
    no_upgrade,  // STARTTLS is refused
    // Failures of authentication:
    not_offered,           // by the server, in any method
    no_method,             // no method is both offered and allowed
    credentials_too_long,  // for the answers of the method
    method_refused,        // by the reply to AUTH
    bad_challenge,
    long_challenge,  // its size is in ChallengeSize
    no_prompt,       // LOGIN: the server prompts neither for user nor for password
    login_refused,   // by the last reply
};

struct SmtpOptions {
    bool extended = true;             // EHLO, else HELO
    bool falls_back = false;          // sends HELO where EHLO is refused for good
    bool upgrade = false;             // STARTTLS before anything else
    bool upgrade_if_offered = false;  // with `upgrade`: go on without TLS where it is not offered
    bool plain_when_secured = false;  // PLAIN only over a secured channel
    bool authenticate = false;
    // One method only: the first whose name stands anywhere in the reply to EHLO, with its exact codes 334
    // and 235; LOGIN answers the prompts; credentials and challenges have the sizes of smtp_authentication.h,
    // and PLAIN its "^". Otherwise each method of an AUTH line in turn until one is not refused, and any
    // reply of its kind counts.
    bool one_method = false;
    AllowedMethods allowed;
    CString host_name;  // of this machine
    CString user, password;
};

class SmtpConversation {
  public:
    class Channel {
      public:
        virtual ~Channel() = default;
        // Called when a step begins.
        virtual void Begins(SmtpPhase) {}
        // Called when a method is tried.
        virtual void Begins(AuthMethod) {}
        // false: the channel has failed, and keeps the reason.
        virtual bool SendLine(CString const& line, bool secret) = 0;
        virtual bool SendText(CString& text) = 0;
        virtual bool Read(SmtpReply& reply) = 0;
        virtual bool Secure() { return false; }
        virtual bool IsSecure() const { return false; }
    };

    // The channel must outlive the object.
    SmtpConversation(Channel& channel, SmtpOptions options)
        : channel_(channel), options_(std::move(options)) {}

    SmtpResult Greet();
    // From the hello to the login, as the options say.
    SmtpResult Introduce();
    SmtpResult Reset();
    // Sends one mail; `wire` is its text with dots and closing line, and is consumed. The first refusal ends
    // it.
    SmtpResult Mail(CString const& sender, std::vector<CString> const& recipients, CString& wire);
    // The reply is read and ignored.
    SmtpResult Quit();

    // The last reply, empty when there was none.
    SmtpReply const& Reply() const { return reply_; }
    std::size_t ChallengeSize() const { return challenge_size_; }
    // The phase of the last step, and that reply.
    SmtpFailure Failure() const;

  private:
    SmtpResult Ask(CString const& line, bool secret = false);
    SmtpResult Command(SmtpPhase phase, CString const& line, ReplyKind wanted);
    SmtpResult Receive(ReplyKind wanted);
    SmtpResult Hello();
    SmtpResult Upgrade();
    SmtpResult Authenticate();
    SmtpResult Try(AuthMethod method);
    SmtpResult AnswerCramMd5();
    SmtpResult AnswerLogin();
    SmtpResult AnswerPrompts();
    SmtpResult AnswerPlain();
    SmtpResult Answer(std::string base64);
    bool Offers(std::string_view extension) const;
    bool OffersMethod(char const* name) const;
    void Begin(SmtpPhase phase);

    Channel& channel_;
    SmtpOptions const options_;
    SmtpPhase phase_ = SmtpPhase::none;
    bool in_doubt_ = false;  // see SmtpFailure
    SmtpReply reply_;
    CString hello_reply_;
    std::string extensions_;  // lines of that reply, in capitals, each behind a line feed
    std::size_t challenge_size_ = 0;
};

}  // namespace protocol
