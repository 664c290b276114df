#include "postbox/pop_session.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tessaly/platform/md5.h"

namespace fs = std::filesystem;

namespace postbox {
namespace {

constexpr char const* accepted = "+OK\r\n";
constexpr char const* no_such_message = "-ERR no such message\r\n";

std::string Upper(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return upper;
}

// The lines of a mail with CR LF, each dot at the start of one doubled, and the closing line.
std::string OnTheWire(std::string const& mail) {
    std::string wire;
    for (std::size_t at = 0; at < mail.size();) {
        std::size_t const end = std::min(mail.find('\n', at), mail.size());
        std::string_view line = std::string_view(mail).substr(at, end - at);
        if (line.ends_with('\r')) line.remove_suffix(1);
        wire.append(line.starts_with('.') ? "." : "").append(line).append("\r\n");
        at = end + 1;
    }
    return wire + ".\r\n";
}

}  // namespace

PopSession::PopSession(PostboxRules const& rules, std::string folder, std::string challenge)
    : rules_(rules), folder_(std::move(folder)), challenge_(std::move(challenge)) {}

std::string PopSession::Line(std::string_view line) {
    std::size_t const blank = std::min(line.find(' '), line.size());
    std::string const command = Upper(line.substr(0, blank));
    std::string_view const argument = line.substr(std::min(blank + 1, line.size()));
    if (command == "QUIT") return Quit();
    if (command == "NOOP" && logged_in_) return accepted;
    return logged_in_ ? Transaction(command, argument) : LogIn(command, argument);
}

std::string PopSession::LogIn(std::string_view command, std::string_view argument) {
    if (command == "USER" && !argument.empty()) {
        user_ = argument;
        return accepted;
    }
    if (command == "PASS" && !user_.empty())
        return Admit(rules_.user.empty() || (user_ == rules_.user && argument == rules_.password));
    if (command != "APOP") return "-ERR log in first\r\n";
    std::size_t const blank = std::min(argument.find(' '), argument.size());
    std::string const digest = platform::Md5Hex(challenge_ + rules_.password);
    return Admit(rules_.user.empty() || (argument.substr(0, blank) == rules_.user &&
                                         argument.substr(std::min(blank + 1, argument.size())) == digest));
}

std::string PopSession::Admit(bool right) {
    if (!right) return "-ERR wrong user or password\r\n";
    logged_in_ = true;
    ReadFolder();
    return accepted;
}

void PopSession::ReadFolder() {
    entries_.clear();
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder_, error))
        if (entry.path().extension() == ".eml") entries_.push_back({entry.path().filename().string(), {}});
    std::sort(entries_.begin(), entries_.end(),
              [](Entry const& a, Entry const& b) { return a.name < b.name; });
    for (Entry& entry : entries_)
        entry.size = static_cast<std::size_t>(fs::file_size(fs::path(folder_) / entry.name, error));
    // The number of a mail that was deleted may be given again; the time of its file tells the two apart.
    for (Entry& entry : entries_) {
        auto const time =
            fs::last_write_time(fs::path(folder_) / entry.name, error).time_since_epoch().count();
        entry.unique_id = entry.name + "-" + std::to_string(time);
    }
}

PopSession::Entry const* PopSession::EntryOf(std::string_view argument) const {
    std::size_t number = 0;
    auto const [end, error] = std::from_chars(argument.data(), argument.data() + argument.size(), number);
    bool const good = error == std::errc() && end == argument.data() + argument.size() && number >= 1 &&
                      number <= entries_.size() && !entries_[number - 1].deleted;
    return good ? &entries_[number - 1] : nullptr;
}

std::string PopSession::Transaction(std::string_view command, std::string_view argument) {
    if (command == "STAT") return Totals();
    if (command == "LIST" || command == "UIDL") return Listing(argument, command == "UIDL");
    if (command == "RSET") {
        for (Entry& entry : entries_) entry.deleted = false;
        return accepted;
    }
    if (command != "RETR" && command != "DELE") return "-ERR unknown command\r\n";
    Entry const* entry = EntryOf(argument);
    if (!entry) return no_such_message;
    if (command == "RETR") return Retrieve(*entry);
    entries_[static_cast<std::size_t>(entry - entries_.data())].deleted = true;
    return accepted;
}

std::string PopSession::Totals() const {
    std::size_t count = 0, bytes = 0;
    for (Entry const& entry : entries_) {
        count += !entry.deleted;
        bytes += entry.deleted ? 0 : entry.size;
    }
    return "+OK " + std::to_string(count) + " " + std::to_string(bytes) + "\r\n";
}

std::string PopSession::Listing(std::string_view argument, bool unique_ids) const {
    auto const line = [&](std::size_t i) {
        return std::to_string(i + 1) + " " +
               (unique_ids ? entries_[i].unique_id : std::to_string(entries_[i].size)) + "\r\n";
    };
    if (!argument.empty()) {
        Entry const* entry = EntryOf(argument);
        return entry ? "+OK " + line(static_cast<std::size_t>(entry - entries_.data())) : no_such_message;
    }
    std::string text = accepted;
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (!entries_[i].deleted) text += line(i);
    return text + ".\r\n";
}

std::string PopSession::Retrieve(Entry const& entry) const {
    std::ifstream file(fs::path(folder_) / entry.name, std::ios::binary);
    if (!file) return no_such_message;
    std::string const mail{std::istreambuf_iterator<char>(file), {}};
    return accepted + OnTheWire(mail);
}

std::string PopSession::Quit() {
    ended_ = true;
    std::error_code ignored;
    for (Entry const& entry : entries_)
        if (entry.deleted) fs::remove(fs::path(folder_) / entry.name, ignored);
    return accepted;
}

}  // namespace postbox
