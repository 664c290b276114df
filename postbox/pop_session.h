#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "postbox/smtp_session.h"

namespace postbox {

// The server's side of one POP3 conversation (RFC 1939), without the socket: it serves all mails of a folder
// after the login, and removes those marked for deletion at QUIT. It belongs to one thread.
class PopSession {
  public:
    static constexpr std::size_t longest_line = 512;

    // `challenge` is the time stamp for APOP.
    PopSession(PostboxRules const& rules, std::string folder, std::string challenge);

    std::string Greeting() const { return "+OK Tessaly post box " + challenge_ + "\r\n"; }
    // A line without its CR LF. Result: the reply, with its line ends.
    std::string Line(std::string_view line);
    bool Ended() const { return ended_; }

  private:
    struct Entry {
        std::string name, unique_id;
        std::size_t size = 0;
        bool deleted = false;
    };

    std::string LogIn(std::string_view command, std::string_view argument);
    std::string Admit(bool right);
    std::string Transaction(std::string_view command, std::string_view argument);
    std::string Listing(std::string_view argument, bool unique_ids) const;
    std::string Totals() const;
    std::string Retrieve(Entry const& entry) const;
    // Null for no such message.
    Entry const* EntryOf(std::string_view argument) const;
    void ReadFolder();
    std::string Quit();

    PostboxRules const& rules_;
    std::string folder_, challenge_, user_;
    std::vector<Entry> entries_;
    bool logged_in_ = false, ended_ = false;
};

}  // namespace postbox
