// Replies of a POP3 server, as they stand in the line buffer: a greeting, the answer to LIST, the answer to
// UIDL. What the client makes of them is compared with a plain reading.

#include <climits>
#include <optional>
#include <vector>

#include "fuzz_target.h"
#include "reception/pop_replies.h"
#include "tessaly/protocol/socket_support.h"

namespace {

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
    const std::size_t end = std::min(line.find(' '), line.size());
    const std::string second = line.substr(std::min(end + 1, line.size()));
    return {line.substr(0, end), second.substr(0, second.find(' '))};
}

bool PlainSizes(std::string_view& rest, std::vector<Row>& rows) {
    while (auto const line = PlainLine(rest)) {
        if (*line == ".") return true;
        if (line->empty()) continue;
        auto const [number, size] = PlainFields(*line);
        rows.push_back({PlainNumber(number, true), PlainNumber(size, true), {}});
    }
    return false;
}

bool PlainUniqueIds(std::string_view& rest, std::vector<Row>& rows) {
    std::size_t place = 0;
    while (auto const line = PlainLine(rest)) {
        if (*line == ".") return true;
        if (line->empty()) continue;
        auto const [field, id] = PlainFields(*line);
        if (id.size() > 70) return false;
        long const number = PlainNumber(field, false);
        auto const named = [number](Row const& row) { return row.number == number; };
        auto const row = place < rows.size() && named(rows[place])
                             ? rows.begin() + static_cast<std::ptrdiff_t>(place)
                             : std::find_if(rows.begin(), rows.end(), named);
        if (row != rows.end()) row->id = id;
        ++place;
    }
    return false;
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

class Client {
  public:
    explicit Client(std::string const& received) {  // not connected: used up, the bytes are lost
        socket_.SetLineLimit(MailPop::reply_limit);
        socket_.GetLineBuffer() = received.c_str();
    }
    bool Read(CString& line) {
        line.Empty();
        return socket_.GetLine(line, 0, 0) > 0;
    }
    template <class Take>
    bool ReadList(Take const& take) {
        for (CString line; Read(line);)
            if (reception::ListStep const step = take(line); step != reception::ListStep::more)
                return step == reception::ListStep::end;
        return false;
    }
    std::string_view Left() { return socket_.GetLineBuffer().View(); }

  private:
    SocketSupport socket_;
};

void AnswersInFields(CString const& reply) {
    CStringArray fields;
    fuzz::Check(MailPop::GetResponseStatus(reply, &fields) == (reply.View().starts_with("+OK") ? 1 : 0),
                "the server's word");
    std::string joined;
    for (int i = 0; i < fields.GetSize(); ++i) joined += (i ? " " : "") + std::string(fields[i].View());
    fuzz::Check(reply.View() == joined, "the fields are the reply");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    const std::string received = fuzz::TextOf(bytes);
    if (received.size() >= static_cast<std::size_t>(MailPop::reply_limit)) return;
    std::string_view rest = received;
    Client client(received);

    CString greeting;
    auto const plain_greeting = PlainLine(rest);
    fuzz::Check(client.Read(greeting) == plain_greeting.has_value(), "there is a greeting");
    if (!plain_greeting) return;
    AnswersInFields(greeting);
    fuzz::Check(reception::TimeStampOf(greeting.View()).View() == PlainTimeStamp(*plain_greeting),
                "the time stamp of the greeting");

    std::vector<Row> rows;
    reception::PopList list;
    bool const listed = PlainSizes(rest, rows);
    fuzz::Check(
        client.ReadList([&](CString const& line) { return reception::TakeSizeLine(line, list); }) == listed,
        "the list ends where it ends");
    if (listed) {
        reception::UniqueIdReader reader(list);
        fuzz::Check(client.ReadList([&](CString const& line) { return reader.Take(line); }) ==
                        PlainUniqueIds(rest, rows),
                    "the IDs end where they end");
    }
    fuzz::Check(static_cast<std::size_t>(list.GetSize()) == rows.size(), "a row for each line");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        PopMailInfo const& mail = list[static_cast<int>(i)];
        fuzz::Check(mail.Number == rows[i].number && mail.Size == rows[i].size, "number and size");
        fuzz::Check(mail.Uidl.View() == rows[i].id, "each ID at its row");
    }
    fuzz::Check(client.Left() == rest, "the rest stays for the next reply");
}
