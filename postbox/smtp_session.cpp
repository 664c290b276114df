#include "postbox/smtp_session.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include "platform/base64_decoder.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/platform/md5.h"

namespace postbox {
namespace {

constexpr char const* accepted = "250 2.0.0 OK\r\n";
constexpr char const* bad_order = "503 5.5.1 Bad sequence of commands\r\n";
constexpr char const* bad_arguments = "501 5.5.4 Syntax error in arguments\r\n";
constexpr char const* auth_refused = "535 5.7.8 Authentication credentials invalid\r\n";

char Lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool StartsWith(std::string_view text, std::string_view word) {
    return text.size() >= word.size() && std::equal(word.begin(), word.end(), text.begin(),
                                                    [](char a, char b) { return Lowered(a) == Lowered(b); });
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

// "<a@b>" at the start; `rest` gets what stands behind it.
std::optional<std::string> PathOf(std::string_view text, std::string_view& rest) {
    text = Trimmed(text);
    std::size_t const close = text.find('>');
    if (!text.starts_with('<') || close == text.npos) return {};
    rest = text.substr(close + 1);
    return std::string(text.substr(1, close - 1));
}

// The value of the SIZE parameter (RFC 1870 6), 0 without one.
std::uint64_t AnnouncedSize(std::string_view parameters) {
    constexpr std::string_view name = "SIZE=";
    std::uint64_t size = 0;
    while (!(parameters = Trimmed(parameters)).empty()) {
        std::string_view const one = parameters.substr(0, parameters.find(' '));
        if (StartsWith(one, name)) {
            auto const digits = one.substr(name.size());
            auto const read = std::from_chars(digits.data(), digits.data() + digits.size(), size);
            if (read.ec == std::errc::result_out_of_range) size = UINT64_MAX;
        }
        parameters.remove_prefix(one.size());
    }
    return size;
}

}  // namespace

bool Matches(std::string_view pattern, std::string_view text) {
    // The last "*" seen, and how much of the text it stands for so far.
    std::size_t p = 0, t = 0, star = pattern.npos, taken = 0;
    while (t < text.size()) {
        if (p < pattern.size() &&
            (pattern[p] == '?' || (pattern[p] != '*' && Lowered(pattern[p]) == Lowered(text[t])))) {
            ++p;
            ++t;
        } else if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            taken = t;
        } else if (star != pattern.npos) {
            p = star + 1;
            t = ++taken;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == pattern.npos;
}

SmtpSession::SmtpSession(PostboxRules const& rules, std::function<bool(std::string_view)> store,
                         std::string challenge)
    : rules_(rules), store_(std::move(store)), challenge_(std::move(challenge)) {}

std::string SmtpSession::Greeting() const { return "220 localhost ESMTP Tessaly post box\r\n"; }

std::string SmtpSession::LineTooLong() const { return "500 5.5.2 Line too long\r\n"; }

std::string SmtpSession::Line(std::string_view line) {
    if (state_ == State::text) return Text(line);
    if (state_ != State::commands) return AuthAnswer(line);
    return Command(line);
}

std::string SmtpSession::Command(std::string_view line) {
    std::string_view const text = Trimmed(line);
    std::size_t const blank = std::min(text.find(' '), text.size());
    std::string_view const verb = text.substr(0, blank);
    std::string_view const arguments = Trimmed(text.substr(blank));
    auto const is = [&](std::string_view name) {
        return verb.size() == name.size() && StartsWith(verb, name);
    };
    if (is("EHLO")) return Hello(arguments, true);
    if (is("HELO")) return Hello(arguments, false);
    if (is("QUIT")) {
        ended_ = true;
        return "221 2.0.0 Bye\r\n";
    }
    if (is("NOOP")) return accepted;
    if (is("RSET")) {
        Reset();
        return accepted;
    }
    if (is("VRFY")) return "252 2.1.5 Send some mail, I'll try my best\r\n";
    if (is("AUTH")) return Auth(arguments);
    if (is("MAIL")) return Mail(arguments);
    if (is("RCPT")) return Recipient(arguments);
    if (!is("DATA")) return "500 5.5.2 Command not recognised\r\n";
    if (recipients_.empty()) return bad_order;
    state_ = State::text;
    return "354 End data with <CR><LF>.<CR><LF>\r\n";
}

std::string SmtpSession::Hello(std::string_view name, bool extended) {
    if (name.empty()) return bad_arguments;
    greeted_ = true;
    Reset();
    if (!extended) return "250 localhost\r\n";
    return "250-localhost\r\n250-AUTH CRAM-MD5 LOGIN PLAIN\r\n250-SIZE " + std::to_string(largest_mail) +
           "\r\n250 8BITMIME\r\n";
}

void SmtpSession::Reset() {
    sender_given_ = too_large_ = false;
    sender_.clear();
    recipients_.clear();
    text_.clear();
}

bool SmtpSession::Right(std::string_view user, std::string_view password) const {
    return !user.empty() && (rules_.user.empty() || (user == rules_.user && password == rules_.password));
}

std::string SmtpSession::Admit(bool right) {
    state_ = State::commands;
    authenticated_ = right;
    return right ? "235 2.7.0 Authentication successful\r\n" : auth_refused;
}

std::string SmtpSession::Auth(std::string_view arguments) {
    if (!greeted_ || authenticated_ || sender_given_) return bad_order;
    std::size_t const blank = std::min(arguments.find(' '), arguments.size());
    std::string_view const method = arguments.substr(0, blank);
    std::string_view const initial = Trimmed(arguments.substr(blank));
    auto const is = [&](std::string_view name) {
        return method.size() == name.size() && StartsWith(method, name);
    };
    if (is("CRAM-MD5")) {
        state_ = State::cram_md5;
        return "334 " + platform::Base64Of(challenge_) + "\r\n";
    }
    if (is("PLAIN")) {
        if (!initial.empty()) return Plain(initial);
        state_ = State::plain;
        return "334 \r\n";
    }
    if (!is("LOGIN")) return "504 5.5.4 Unrecognized authentication type\r\n";
    state_ = State::login_user;
    if (!initial.empty()) return AuthAnswer(initial);
    return "334 " + platform::Base64Of("Username:") + "\r\n";
}

std::string SmtpSession::Plain(std::string_view encoded) {
    std::string answer;
    if (!platform::FromBase64(encoded, answer)) return Admit(false);
    std::size_t const first = answer.find('\0');
    std::size_t const second = first == answer.npos ? first : answer.find('\0', first + 1);
    if (second == answer.npos) return Admit(false);
    return Admit(Right(answer.substr(first + 1, second - first - 1), answer.substr(second + 1)));
}

std::string SmtpSession::AuthAnswer(std::string_view line) {
    if (line == "*") {
        state_ = State::commands;
        return "501 5.7.0 Authentication cancelled\r\n";
    }
    if (state_ == State::plain) return Plain(line);
    std::string answer;
    if (!platform::FromBase64(line, answer)) return Admit(false);
    if (state_ == State::login_user) {
        login_user_ = answer;
        state_ = State::login_password;
        return "334 " + platform::Base64Of("Password:") + "\r\n";
    }
    if (state_ == State::login_password) return Admit(Right(login_user_, answer));

    std::size_t const blank = answer.rfind(' ');
    if (blank == answer.npos) return Admit(false);
    std::string const user = answer.substr(0, blank), digits = answer.substr(blank + 1);
    if (rules_.user.empty()) return Admit(!user.empty() && digits.size() == md5_hex_digits);
    return Admit(user == rules_.user && digits == platform::HmacMd5Hex(rules_.password, challenge_));
}

std::string SmtpSession::Mail(std::string_view arguments) {
    if (!greeted_ || sender_given_) return bad_order;
    if (!rules_.user.empty() && !authenticated_) return "530 5.7.0 Authentication required\r\n";
    if (!StartsWith(arguments, "FROM:")) return bad_arguments;
    std::string_view rest;
    auto const path = PathOf(arguments.substr(5), rest);
    if (!path) return bad_arguments;
    if (AnnouncedSize(rest) > largest_mail) return "552 5.3.4 Message size exceeds fixed limit\r\n";
    sender_ = *path;
    sender_given_ = true;
    return "250 2.1.0 OK\r\n";
}

std::string SmtpSession::Recipient(std::string_view arguments) {
    if (!sender_given_) return bad_order;
    if (!StartsWith(arguments, "TO:")) return bad_arguments;
    std::string_view rest;
    auto const path = PathOf(arguments.substr(3), rest);
    if (!path || path->empty()) return bad_arguments;
    if (recipients_.size() >= most_recipients) return "452 4.5.3 Too many recipients\r\n";
    for (std::string const& pattern : rules_.refuse)
        if (Matches(pattern, *path)) return "550 5.1.1 <" + *path + ">: Recipient address rejected\r\n";
    recipients_.push_back(*path);
    return "250 2.1.5 OK\r\n";
}

std::string SmtpSession::Text(std::string_view line) {
    if (line == ".") return Finish();
    if (line.starts_with('.')) line.remove_prefix(1);
    if (text_.size() + line.size() + 2 > largest_mail) too_large_ = true;
    if (!too_large_) text_.append(line).append("\r\n");
    return {};
}

std::string SmtpSession::Finish() {
    state_ = State::commands;
    std::string reply = "552 5.3.4 Message size exceeds fixed limit\r\n";
    if (!too_large_) {
        // The lines that final delivery adds (RFC 5321 4.4), and the recipients.
        std::string mail = "Return-Path: <" + sender_ + ">\r\n";
        for (std::string const& recipient : recipients_) mail += "Delivered-To: " + recipient + "\r\n";
        mail += text_;
        reply = store_(mail) ? "250 2.0.0 OK: stored\r\n" : "452 4.3.1 Insufficient system storage\r\n";
    }
    Reset();
    return reply;
}

}  // namespace postbox
