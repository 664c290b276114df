#include "protocol/pop_conversation.h"

#include <algorithm>
#include <string>

#include "platform/secrets.h"
#include "protocol/mail_limits.h"
#include "protocol/pop_listing.h"
#include "tessaly/platform/md5.h"
#include "tessaly/protocol/mail_component.h"
#include "tessaly/protocol/mail_dots.h"
#include "tessaly/protocol/socket_support.h"

namespace protocol {
namespace {

constexpr std::string_view positive = "+OK", negative = "-ERR ", line_end = "\r\n";
// Largest memory that is reserved for a message before its bytes come.
constexpr long largest_reservation = 16 * 1024 * 1024;

CString Numbered(char const* command, long number) {
    return command + CString(std::to_string(number).c_str());
}

bool HoldsLineEnd(CString const& text) { return text.FindOneOf("\r\n") >= 0; }

// The time stamp of a greeting with its angle brackets (RFC 1939 7); empty for none.
std::string_view TimeStampIn(std::string_view greeting, bool one_at_sign) {
    std::size_t const open = greeting.find('<'), close = greeting.find('>', std::min(open, greeting.size()));
    if (close == greeting.npos) return {};
    std::string_view const stamp = greeting.substr(open, close - open + 1);
    auto const signs = std::count(stamp.begin(), stamp.end(), '@');
    return signs == 1 || (signs > 1 && !one_at_sign) ? stamp : std::string_view();
}

// The text in square brackets at the start of a refusal.
std::string_view ResponseCodeIn(std::string_view refusal) {
    if (!refusal.starts_with(negative) || refusal.substr(negative.size(), 1) != "[") return {};
    std::string_view const code = refusal.substr(negative.size() + 1);
    std::size_t const close = code.find(']');
    return close == code.npos ? std::string_view() : code.substr(0, close);
}

}  // namespace

// --- Commands and replies ---

void PopConversation::Begin(PopPhase phase) {
    phase_ = phase;
    refused_ = false;
    reply_.Empty();
}

std::string_view PopConversation::Line() const {
    return line_.View().substr(0, line_.View().size() - line_end.size());
}

bool PopConversation::ReadLine() {
    SocketSupport& socket = channel_.Socket();
    socket.SetLineLimit(reply_limit);
    line_.Empty();
    if (int const length = socket.GetLine(line_, 0, 0); length < 1) {
        if (length == 0) platform::SetLastSocketError(0);
        channel_.Lost();
        return false;
    }
    channel_.Received(Line());
    return true;
}

PopResult PopConversation::Receive() {
    SocketSupport::WholeReply const whole(channel_.Socket());
    if (!ReadLine()) return PopResult::lost;
    reply_ = CString(Line());
    refused_ = !reply_.View().starts_with(positive);
    return refused_ ? PopResult::refused : PopResult::done;
}

PopResult PopConversation::Command(PopPhase phase, CString const& line, char const* shown) {
    Begin(phase);
    return channel_.SendLine(line, shown) ? Receive() : PopResult::lost;
}

PopFailure PopConversation::Failure() const {
    PopFailure failure;
    failure.phase = phase_;
    failure.refused = refused_;
    if (!refused_) return failure;
    failure.code = CString(ResponseCodeIn(reply_.View()));
    failure.text = reply_;
    return failure;
}

PopResult PopConversation::ReadList(TakeLine const& take) {
    SocketSupport::WholeReply const whole(channel_.Socket());
    PopListing listing;
    while (ReadLine()) {
        std::string_view const line = Line();
        if (line == ".") return PopResult::done;
        if (!listing.Takes(line.size() + line_end.size())) return PopResult::list_too_long;
        if (PopResult const taken = take(line); taken != PopResult::done) return taken;
    }
    return PopResult::lost;
}

PopResult PopConversation::ReadMessage(CString& text) {
    channel_.Socket().SetLineLimit(SocketSupport::default_line_limit);
    switch (ReadDotText(channel_.Socket(), message_limit, text)) {
        case DotText::complete: return PopResult::done;
        case DotText::too_long: return PopResult::message_too_long;
        case DotText::lost: break;
    }
    channel_.Lost();
    return PopResult::lost;
}

// --- The login ---

PopResult PopConversation::Greet() {
    Begin(PopPhase::greeting);
    PopResult const result = Receive();
    greeting_ = reply_;
    return result;
}

PopResult PopConversation::LogIn() {
    if (options_.upgrade)
        if (PopResult const upgraded = Upgrade(); upgraded != PopResult::done) return upgraded;
    Begin(PopPhase::login);
    // A line end would begin another command.
    if (HoldsLineEnd(options_.user) || HoldsLineEnd(options_.password))
        return PopResult::line_end_in_credentials;
    switch (options_.login) {
        case PopLogin::password: return ByPassword();
        case PopLogin::apop: return ByApop();
        case PopLogin::unknown: break;
    }
    return PopResult::unknown_login;
}

// Servers list their capabilities since RFC 2449; one that refuses CAPA offers none.
PopResult PopConversation::Upgrade() {
    if (options_.upgrade_if_offered) {
        bool offered = false;
        PopResult told = Command(PopPhase::capabilities, "CAPA");
        if (told == PopResult::done)
            told = ReadList([&](std::string_view line) {
                offered |= line == "STLS";
                return PopResult::done;
            });
        if (told != PopResult::done && told != PopResult::refused) return told;
        if (!offered) return PopResult::done;
    }
    PopResult const result = Command(PopPhase::upgrade, "STLS");
    if (result != PopResult::done) return result == PopResult::refused ? PopResult::no_upgrade : result;
    return channel_.Secure() ? PopResult::done : PopResult::lost;
}

PopResult PopConversation::ByPassword() {
    PopResult const known = Command(PopPhase::login, "USER " + options_.user);
    if (known != PopResult::done) return known;
    CString line = "PASS " + options_.password;
    PopResult const result = Command(PopPhase::login, line, CString("PASS ") + hidden_secret);
    platform::Wipe(line);
    return result;
}

PopResult PopConversation::ByApop() {
    std::string_view const stamp = TimeStampIn(greeting_.View(), options_.one_at_sign);
    if (stamp.empty()) return PopResult::no_time_stamp;
    std::string secret(stamp);
    secret += options_.password.View();
    bool const fits = secret.size() <= md5_longest_text;
    std::string const digest = fits ? platform::Md5Hex(secret) : std::string();
    platform::Wipe(secret);
    if (!fits) return PopResult::secret_too_long;
    CString const head = "APOP " + options_.user + " ";
    return Command(PopPhase::login, head + digest.c_str(), head + hidden_secret);
}

// --- The mailbox ---

PopResult PopConversation::Stat() { return Command(PopPhase::totals, "STAT"); }

PopResult PopConversation::List(TakeLine const& take) {
    PopResult const result = Command(PopPhase::sizes, "LIST");
    return result == PopResult::done ? ReadList(take) : result;
}

PopResult PopConversation::UniqueIds(TakeLine const& take) {
    PopResult const result = Command(PopPhase::unique_ids, "UIDL");
    return result == PopResult::done ? ReadList(take) : result;
}

PopResult PopConversation::UniqueId(long number) {
    return Command(PopPhase::unique_ids, Numbered("UIDL ", number));
}

PopResult PopConversation::Retrieve(long number, CString& text, long size) {
    PopResult const result = Command(PopPhase::message, Numbered("RETR ", number));
    if (result != PopResult::done) return result;
    text.Empty();
    if (size > 0) text.Reserve(static_cast<int>(std::min(size, largest_reservation)));
    return ReadMessage(text);
}

PopResult PopConversation::Top(long number, int lines, CString& text) {
    CString const command = Numbered("TOP ", number) + " ";
    PopResult const result = Command(PopPhase::message, Numbered(command, lines));
    if (result != PopResult::done) return result;
    text.Empty();
    return ReadMessage(text);
}

PopResult PopConversation::Delete(long number) {
    return Command(PopPhase::deletion, Numbered("DELE ", number));
}

PopResult PopConversation::Idle() { return Command(PopPhase::idle, "NOOP"); }

PopResult PopConversation::Reset() { return Command(PopPhase::reset, "RSET"); }

PopResult PopConversation::Quit() { return Command(PopPhase::quit, "QUIT"); }

}  // namespace protocol
