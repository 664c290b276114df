// Replies of a POP3 server, as they stand in the line buffer: a greeting, a reply to APOP where the greeting
// has a time stamp, the answers to LIST and UIDL. What the client makes of them is compared with a plain
// reading.

#include <climits>
#include <optional>
#include <vector>

#include "fuzz_target.h"
#include "protocol/mail_limits.h"
#include "protocol/pop_conversation.h"
#include "reception/pop_replies.h"
#include "tessaly/platform/md5.h"
#include "tessaly/protocol/socket_support.h"

namespace {

using protocol::PopConversation;
using protocol::PopResult;

struct Row {
    long number = 0, size = 0;
    std::string id;
};

// The next line without its end; nothing when no line ends any more.
std::optional<std::string> PlainLine(std::string_view& rest) {
    if (rest.find('\n') == rest.npos) return {};
    std::string line(fuzz::TakeLine(rest));
    while (line.ends_with('\r')) line.pop_back();
    return line;
}

PopResult PlainReply(std::string_view& rest) {
    auto const line = PlainLine(rest);
    return !line ? PopResult::lost : line->starts_with("+OK") ? PopResult::done : PopResult::refused;
}

// The digits at the start of a field, as an int where `narrow`; a number that is too large is the largest.
long PlainNumber(std::string_view field, bool narrow) {
    while (!field.empty() && std::string_view("\t\v\f").find(field[0]) != std::string_view::npos)
        field.remove_prefix(1);
    bool const negative = field.starts_with('-');
    if (negative || field.starts_with('+')) field.remove_prefix(1);
    long number = 0;
    for (; !field.empty() && field[0] >= '0' && field[0] <= '9'; field.remove_prefix(1)) {
        long const digit = negative ? '0' - field[0] : field[0] - '0';
        if (__builtin_mul_overflow(number, 10L, &number) || __builtin_add_overflow(number, digit, &number)) {
            number = negative ? LONG_MIN : LONG_MAX;
            break;
        }
    }
    return narrow ? static_cast<int>(number) : number;
}

// The first two fields of a line.
std::pair<std::string, std::string> PlainFields(std::string line) {
    std::erase(line, '\r');
    std::size_t const end = std::min(line.find(' '), line.size());
    std::string const second = line.substr(std::min(end + 1, line.size()));
    return {line.substr(0, end), second.substr(0, second.find(' '))};
}

PopResult PlainSizes(std::string_view& rest, std::vector<Row>& rows) {
    if (PopResult const reply = PlainReply(rest); reply != PopResult::done) return reply;
    while (auto const line = PlainLine(rest)) {
        if (*line == ".") return PopResult::done;
        if (line->empty()) continue;
        auto const [number, size] = PlainFields(*line);
        rows.push_back({PlainNumber(number, true), PlainNumber(size, true), {}});
    }
    return PopResult::lost;
}

PopResult PlainUniqueIds(std::string_view& rest, std::vector<Row>& rows) {
    if (PopResult const reply = PlainReply(rest); reply != PopResult::done) return reply;
    std::size_t place = 0;
    while (auto const line = PlainLine(rest)) {
        if (*line == ".") return PopResult::done;
        if (line->empty()) continue;
        auto const [field, id] = PlainFields(*line);
        if (id.size() > 70) return PopResult::unique_id_too_long;
        long const number = PlainNumber(field, false);
        auto const named = [number](Row const& row) { return row.number == number; };
        auto const row = place < rows.size() && named(rows[place])
                             ? rows.begin() + static_cast<std::ptrdiff_t>(place)
                             : std::find_if(rows.begin(), rows.end(), named);
        if (row != rows.end()) row->id = id;
        ++place;
    }
    return PopResult::lost;
}

// "<", anything but ">", ">": with one "@" in all.
std::string PlainTimeStamp(std::string const& greeting) {
    std::string stamp;
    for (char const c : greeting) {
        if (!stamp.empty() || c == '<') stamp += c;
        if (c == '>' && !stamp.empty()) return std::count(stamp.begin(), stamp.end(), '@') == 1 ? stamp : "";
    }
    return {};
}

class Server : public PopConversation::Channel {
  public:
    explicit Server(std::string const& sent) {  // not connected: used up, the bytes are lost
        socket_.GetLineBuffer() = sent.c_str();
    }
    SocketSupport& Socket() override { return socket_; }
    bool SendLine(CString const& line, char const*) override {
        received_ = line;
        return true;
    }
    void Lost() override {}
    std::string_view Received() const { return received_.View(); }

  private:
    SocketSupport socket_;
    CString received_;
};

void AnswersInFields(std::string const& reply) {
    CStringArray fields;
    fuzz::Check(MailPop::GetResponseStatus(reply.c_str(), &fields) == (reply.starts_with("+OK") ? 1 : 0),
                "the server's word");
    std::string joined;
    for (int i = 0; i < fields.GetSize(); ++i) joined += (i ? " " : "") + std::string(fields[i].View());
    fuzz::Check(reply == joined, "the fields are the reply");
}

void Login(PopConversation& pop, Server const& server, std::string const& greeting, std::string_view& rest) {
    std::string const stamp = PlainTimeStamp(greeting);
    PopResult const result = pop.LogIn();
    if (stamp.empty()) return fuzz::Check(result == PopResult::no_time_stamp, "no time stamp");
    fuzz::Check(server.Received() == "APOP u " + platform::Md5Hex(stamp + "p"), "the digest");
    fuzz::Check(result == PlainReply(rest), "the login");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const received = fuzz::TextOf(bytes);
    if (received.size() >= static_cast<std::size_t>(protocol::reply_limit)) return;
    std::string_view rest = received;
    Server server(received);
    protocol::PopOptions options;
    options.login = protocol::PopLogin::apop;
    options.one_at_sign = true;
    options.user = "u";
    options.password = "p";
    PopConversation pop(server, options);

    auto const greeting = PlainLine(rest);
    bool const greeted = pop.Greet() != PopResult::lost;
    fuzz::Check(greeted == greeting.has_value(), "there is a greeting");
    if (!greeting) return;
    AnswersInFields(*greeting);
    Login(pop, server, *greeting, rest);

    std::vector<Row> rows;
    reception::PopList list;
    PopResult const listed = pop.List([&](std::string_view line) {
        reception::TakeSizeLine(line, list);
        return PopResult::done;
    });
    fuzz::Check(PlainSizes(rest, rows) == listed, "the list ends where it ends");
    reception::UniqueIdReader reader(list);
    PopResult const identified = pop.UniqueIds([&](std::string_view line) {
        return reader.Take(line) ? PopResult::done : PopResult::unique_id_too_long;
    });
    fuzz::Check(PlainUniqueIds(rest, rows) == identified, "the IDs end where they end");
    fuzz::Check(static_cast<std::size_t>(list.GetSize()) == rows.size(), "a row for each line");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        PopMailInfo const& mail = list[static_cast<int>(i)];
        fuzz::Check(mail.Number == rows[i].number && mail.Size == rows[i].size, "number and size");
        fuzz::Check(mail.Uidl.View() == rows[i].id, "each ID at its row");
    }
    fuzz::Check(server.Socket().GetLineBuffer().View() == rest, "the rest stays for the next reply");
}
