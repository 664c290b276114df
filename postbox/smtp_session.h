#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace postbox {

// The behaviour of the built-in post box.
struct PostboxRules {
    std::string user;  // required login; empty: none is required, and any is accepted
    std::string password;
    std::vector<std::string>
        refuse;  // recipients that match ("*" and "?", ASCII case does not count) are refused
};

// Whether a recipient matches a pattern.
bool Matches(std::string_view pattern, std::string_view text);

// The server's side of one SMTP conversation (RFC 5321, with AUTH of RFC 4954 and SIZE of RFC 1870), without
// the socket: it takes the client's lines and gives the replies. It belongs to one thread.
class SmtpSession {
  public:
    static constexpr std::size_t longest_line = 2048;  // a command; text lines may be longer
    static constexpr std::size_t largest_mail = 50 << 20;
    static constexpr std::size_t most_recipients = 100;

    // `store` keeps a whole mail, false on failure; `challenge` is the CRAM-MD5 challenge of this connection.
    SmtpSession(PostboxRules const& rules, std::function<bool(std::string_view mail)> store,
                std::string challenge);

    std::string Greeting() const;
    // A line without its CR LF. Result: the reply, with its line ends; empty while a mail's text is taken in.
    std::string Line(std::string_view line);
    // For a command line of more than `longest_line` bytes.
    std::string LineTooLong() const;
    bool TakesText() const { return state_ == State::text; }
    bool Ended() const { return ended_; }

  private:
    enum class State { commands, text, login_user, login_password, plain, cram_md5 };

    std::string Command(std::string_view line);
    std::string Hello(std::string_view name, bool extended);
    std::string Auth(std::string_view arguments);
    std::string AuthAnswer(std::string_view line);
    std::string Plain(std::string_view encoded);
    std::string Admit(bool right);
    std::string Mail(std::string_view arguments);
    std::string Recipient(std::string_view arguments);
    std::string Text(std::string_view line);
    std::string Finish();
    void Reset();
    bool Right(std::string_view user, std::string_view password) const;

    PostboxRules const& rules_;
    std::function<bool(std::string_view)> store_;
    std::string challenge_;
    State state_ = State::commands;
    bool greeted_ = false, authenticated_ = false, sender_given_ = false, too_large_ = false, ended_ = false;
    std::string login_user_, sender_, text_;
    std::vector<std::string> recipients_;
};

}  // namespace postbox
