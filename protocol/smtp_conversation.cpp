#include "protocol/smtp_conversation.h"

#include <algorithm>

#include "platform/base64_decoder.h"
#include "platform/secrets.h"
#include "protocol/mail_limits.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/platform/interruption.h"
#include "tessaly/platform/md5.h"

namespace protocol {
namespace {

constexpr int reply_authenticated = 235, reply_auth_continue = 334, first_for_good = 500;

}  // namespace

void SmtpConversation::Begin(SmtpPhase phase) {
    phase_ = phase;
    in_doubt_ = false;
    reply_ = {};
    channel_.Begins(phase);
}

SmtpResult SmtpConversation::Ask(CString const& line, bool secret) {
    reply_ = {};
    return channel_.SendLine(line, secret) && channel_.Read(reply_) ? SmtpResult::done : SmtpResult::lost;
}

SmtpResult SmtpConversation::Receive(ReplyKind wanted) {
    if (!channel_.Read(reply_)) return SmtpResult::lost;
    return reply_.Is(wanted) ? SmtpResult::done : SmtpResult::refused;
}

SmtpResult SmtpConversation::Command(SmtpPhase phase, CString const& line, ReplyKind wanted) {
    Begin(phase);
    return channel_.SendLine(line, false) ? Receive(wanted) : SmtpResult::lost;
}

SmtpFailure SmtpConversation::Failure() const {
    return {phase_, reply_.code, CString(reply_.Enhanced()), reply_.text, in_doubt_};
}

SmtpResult SmtpConversation::Greet() {
    Begin(SmtpPhase::greeting);
    return Receive(ReplyKind::completion);
}

SmtpResult SmtpConversation::Introduce() {
    SmtpResult result = Hello();
    if (result == SmtpResult::done && options_.upgrade) result = Upgrade();
    if (result == SmtpResult::done && options_.authenticate) result = Authenticate();
    return result;
}

SmtpResult SmtpConversation::Hello() {
    extensions_.clear();
    SmtpResult const result =
        Command(SmtpPhase::hello, (options_.extended ? "EHLO " : "HELO ") + options_.host_name,
                ReplyKind::completion);
    if (result == SmtpResult::refused && options_.falls_back && reply_.code >= first_for_good)
        return Command(SmtpPhase::hello, "HELO " + options_.host_name, ReplyKind::completion);
    if (result != SmtpResult::done || !options_.extended) return result;
    hello_reply_ = reply_.text;
    extensions_ = "\n";
    for (char const c : reply_.text.View())
        if (c != '\r') extensions_ += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return result;
}

bool SmtpConversation::Offers(std::string_view extension) const {
    for (char const end : {'\n', ' '})
        if (extensions_.find(std::string(extension) + end) != std::string::npos) return true;
    return false;
}

// Where the upgrade is required, STARTTLS is sent even if it is not offered, so that the server's own reply
// is on record.
SmtpResult SmtpConversation::Upgrade() {
    if (options_.upgrade_if_offered && !Offers("STARTTLS")) return SmtpResult::done;
    SmtpResult const result = Command(SmtpPhase::upgrade, "STARTTLS", ReplyKind::completion);
    if (result != SmtpResult::done) return result == SmtpResult::refused ? SmtpResult::no_upgrade : result;
    reply_ = {};
    return channel_.Secure() ? Hello() : SmtpResult::lost;
}

SmtpResult SmtpConversation::Reset() { return Command(SmtpPhase::reset, "RSET", ReplyKind::completion); }

SmtpResult SmtpConversation::Mail(CString const& sender, std::vector<CString> const& recipients,
                                  CString& wire) {
    SmtpResult result = Command(SmtpPhase::sender, "MAIL FROM:<" + sender + ">", ReplyKind::completion);
    for (CString const& recipient : recipients)
        if (result == SmtpResult::done)
            result = Command(SmtpPhase::recipient, "RCPT TO:<" + recipient + ">", ReplyKind::completion);
    if (result == SmtpResult::done) result = Command(SmtpPhase::data, "DATA", ReplyKind::intermediate);
    if (result != SmtpResult::done) return result;
    Begin(SmtpPhase::message);
    platform::PatientWaits const until_the_reply;
    if (!channel_.SendText(wire)) return SmtpResult::lost;
    result = Receive(ReplyKind::completion);
    in_doubt_ = result == SmtpResult::lost;
    return result;
}

SmtpResult SmtpConversation::Quit() {
    Begin(SmtpPhase::quit);
    return Ask("QUIT");
}

// --- Authentication (RFC 4954) ---

// The list of methods stands behind AUTH, with a blank or, on older servers, a "=".
bool SmtpConversation::OffersMethod(char const* name) const {
    if (options_.one_method) return hello_reply_.View().find(name) != std::string_view::npos;
    for (std::size_t at = 0; (at = extensions_.find("AUTH", at)) != std::string::npos; at += 4) {
        if (extensions_[at - 1] != '-' && extensions_[at - 1] != ' ') continue;
        std::string list = extensions_.substr(at + 4, extensions_.find('\n', at) - at - 4) + " ";
        std::replace(list.begin(), list.end(), '=', ' ');
        if (list.find(std::string(" ") + name + " ") != std::string::npos) return true;
    }
    return false;
}

SmtpResult SmtpConversation::Authenticate() {
    Begin(SmtpPhase::authentication);
    if (options_.one_method && !OffersAuthentication(hello_reply_.View())) return SmtpResult::not_offered;
    SmtpResult result = SmtpResult::no_method;
    for (AuthMechanism const& mechanism : auth_mechanisms) {
        bool const hidden_enough =
            mechanism.method != AuthMethod::plain || !options_.plain_when_secured || channel_.IsSecure();
        if (!(options_.allowed.*mechanism.allowed) || !hidden_enough || !OffersMethod(mechanism.name))
            continue;
        if (options_.one_method &&
            !CredentialsFit(mechanism.method, options_.user.View(), options_.password.View()))
            return SmtpResult::credentials_too_long;
        result = Try(mechanism.method);
        if (options_.one_method || result == SmtpResult::done || result == SmtpResult::lost) break;
    }
    return result;
}

SmtpResult SmtpConversation::Try(AuthMethod method) {
    if (Ask(CString("AUTH ") + MethodName(method)) == SmtpResult::lost) return SmtpResult::lost;
    bool const goes_on =
        options_.one_method ? reply_.code == reply_auth_continue : reply_.Is(ReplyKind::intermediate);
    if (!goes_on) return SmtpResult::method_refused;
    channel_.Begins(method);
    SmtpResult result = SmtpResult::done;
    switch (method) {
        case AuthMethod::cram_md5: result = AnswerCramMd5(); break;
        case AuthMethod::login: result = options_.one_method ? AnswerPrompts() : AnswerLogin(); break;
        case AuthMethod::plain: result = AnswerPlain(); break;
    }
    if (result != SmtpResult::done) return result;
    bool const accepted =
        options_.one_method ? reply_.code == reply_authenticated : reply_.Is(ReplyKind::completion);
    return accepted ? SmtpResult::done : SmtpResult::login_refused;
}

SmtpResult SmtpConversation::Answer(std::string base64) {
    CString line{std::string_view(base64)};
    platform::Wipe(base64);
    SmtpResult const result = Ask(line, true);
    platform::Wipe(line);
    return result;
}

SmtpResult SmtpConversation::AnswerCramMd5() {
    std::string_view const user = options_.user.View(), password = options_.password.View();
    if (options_.one_method) {
        auto const challenge = DecodeChallenge(BehindFirstBlank(reply_.text.View()));
        if (!challenge) return SmtpResult::bad_challenge;
        challenge_size_ = challenge->size();
        if (challenge_size_ > longest_challenge) return SmtpResult::long_challenge;
        return Answer(CramMd5Answer(user, password, *challenge));
    }
    std::string_view const last = reply_.LastLine();
    std::string challenge;
    // "*" ends the attempt (RFC 4954 4).
    if (!platform::FromBase64(last.substr(std::min<std::size_t>(4, last.size())), challenge)) return Ask("*");
    return Answer(CramMd5Answer(user, password, challenge));
}

SmtpResult SmtpConversation::AnswerLogin() {
    SmtpResult const result = Answer(platform::Base64Of(options_.user.View()));
    if (result != SmtpResult::done || !reply_.Is(ReplyKind::intermediate)) return result;
    return Answer(platform::Base64Of(options_.password.View()));
}

SmtpResult SmtpConversation::AnswerPrompts() {
    for (int answers = 0; answers < login_prompt_limit; ++answers) {
        auto const prompt = DecodeChallenge(BehindFirstBlank(reply_.text.View()));
        if (!prompt || prompt->size() > longest_challenge) break;
        LoginPrompt const wanted = PromptKind(*prompt);
        if (wanted == LoginPrompt::unknown) break;
        CString const& asked = wanted == LoginPrompt::user ? options_.user : options_.password;
        if (Answer(platform::Base64Of(asked.View())) == SmtpResult::lost) return SmtpResult::lost;
        if (reply_.code != reply_auth_continue) return SmtpResult::done;
    }
    return SmtpResult::no_prompt;
}

SmtpResult SmtpConversation::AnswerPlain() {
    if (options_.one_method) return Answer(PlainAnswer(options_.user.View(), options_.password.View()));
    std::string secret(1, '\0');
    secret.append(options_.user.View()) += '\0';
    secret.append(options_.password.View());
    SmtpResult const result = Answer(platform::Base64Of(secret));
    platform::Wipe(secret);
    return result;
}

}  // namespace protocol
