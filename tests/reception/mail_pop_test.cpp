#include "tessaly/reception/mail_pop.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/support/reply_limit.h"
#include "tests/support/scripted_server.h"

namespace {

using test::ScriptedServer;

constexpr char const* login = "+OK ready|+OK|+OK|";

struct Client : MailPop {
    explicit Client(int port, int type = type_user_pass) {
        EXPECT_EQ(1, SetPopHost("127.0.0.1", port, type));
        EXPECT_EQ(1, SetUserAccount("mrose", "tanstaaf"));
        SetTimeOutTime(2000);
        SetTimeOutTimeBeforeConnect(2000);
    }
    int Login() { return PopLogin(nullptr, nullptr, nullptr, -1, -1); }
    int Code() { return GetErrMsg().GetLastCode(); }
    std::string List() const {
        std::string text;
        for (PopMailInfo const& mail : m_aMailList)
            text += std::to_string(mail.Number) + ":" + std::to_string(mail.Size) + ":" +
                    std::string(mail.Uidl.View()) + " ";
        return text;
    }
};

// The commands that the server received after the login, a "|" in place of each line end.
std::string Commands(ScriptedServer& server) {
    std::string text;
    for (std::string const& line : server.Received())
        if (!line.starts_with("USER") && !line.starts_with("PASS"))
            text += line.substr(0, line.size() - 2) + "|";
    return text;
}

// A server that sends one byte at a time must reach the limit.
unsigned LimitFor(std::string const& script) { return script.find('%') == script.npos ? 0 : 300; }

TEST(MailPop, AWholeVisit) {
    ScriptedServer server(
        std::string(login) +
        "+OK 3 99|+OK\r\n1 10\r\n\r\n2 20 x\r\n4 30\r\n.|+OK\r\n4 d\r\n1 a\r\n9 z\r\n2 b\r\n.|"
        "+OK\r\nSubject: x\r\n\r\n..\r\n. \r\n.|+OK|-ERR no|+OK|+OK bye");
    Client client(server.Port());
    EXPECT_EQ(0, client.PopRetr(0));
    ASSERT_EQ(1, client.Login());
    EXPECT_EQ(0, client.Login());
    EXPECT_EQ(16005, client.Code());
    EXPECT_EQ(0, client.SetPopHost("h", 1, 0));
    EXPECT_EQ(16001, client.Code());
    EXPECT_EQ(1, client.PopListUidl());
    EXPECT_EQ("1:10:a 2:20:b 4:30:d ", client.List());
    EXPECT_EQ(1, client.IsUidlComplete());
    EXPECT_EQ(0, client.PopRetr(3));
    EXPECT_EQ(1, client.PopRetr(2));
    EXPECT_EQ("Subject: x\r\n\r\n..\r\n. \r\n.\r\n", client.m_strMailText);
    EXPECT_EQ(1, client.PopDelete(2));
    EXPECT_EQ(0, client.PopDelete(0));
    EXPECT_EQ(16010, client.Code());
    EXPECT_EQ(1, client.PopReset());
    EXPECT_EQ(3, client.GetMailNumber());
    EXPECT_EQ(1, client.PopLogout());
    EXPECT_EQ(0, client.PopLogout());
    EXPECT_EQ(16002, client.Code());
    EXPECT_EQ(
        (std::vector<std::string>{"USER mrose\r\n", "PASS tanstaaf\r\n", "STAT\r\n", "LIST\r\n", "UIDL\r\n",
                                  "RETR 4\r\n", "DELE 4\r\n", "DELE 1\r\n", "RSET\r\n", "QUIT\r\n"}),
        server.Received());
}

TEST(MailPop, LoginsAndWhatRefusesThem) {
    const struct {
        char const* script;
        int type, result, code;
        char const* last;
    } rows[] = {
        {"-ERR busy|", 0, 0, 16006, ""},
        {"+OK|-ERR who|", 0, 0, 16007, "USER mrose\r\n"},
        {"+OK|+OK|-ERR bad|", 0, 0, 16007, "PASS tanstaaf\r\n"},
        {"+OK|+OK|!", 0, 0, 1, "PASS tanstaaf\r\n"},
        {"+OK|~", 0, 0, 2320, "USER mrose\r\n"},
        {"+OK hi <1896.697170952@dbc.mtview.ca.us> x|+OK|", 1, 1, 0,
         "APOP mrose c4c9334bac560ecc979e58001b3e22fb\r\n"},
        {"+OK hi|", 1, 0, 16013, ""},
        {"+OK <a@b@c>|", 1, 0, 16013, ""},
        {"+OK >a@b<|", 1, 0, 16013, ""},
        {"#+OK|#+OK|#+OK|", 0, 1, 0, "PASS tanstaaf\r\n"},
        {"%+OK x*", 0, 0, 2320, ""},
        {"+OK|%+OK x*", 0, 0, 2320, "USER mrose\r\n"},
    };
    for (auto const& row : rows) {
        ReplyLimit const limit(LimitFor(row.script));
        ScriptedServer server(row.script);
        Client client(server.Port(), row.type);
        client.SetTimeOutTime(300);
        EXPECT_EQ(row.result, client.Login()) << row.script;
        EXPECT_EQ(row.code, client.Code()) << row.script;
        EXPECT_EQ(1, client.PopLogout());
        auto const& received = server.Received();
        std::size_t const quit = row.result ? 1 : 0;
        std::string const last = received.size() > quit ? received[received.size() - 1 - quit] : "";
        EXPECT_EQ(row.last, last) << row.script;
    }
    test::RefusingPort const refusing;
    Client client(refusing.Port());
    EXPECT_EQ(0, client.Login());
    EXPECT_EQ(2307, client.Code());
    EXPECT_EQ(0, client.SetUserAccount("a\r\nDELE 1", "x"));
    EXPECT_EQ(16003, client.Code());
    EXPECT_EQ(0, client.SetPopHost("h", 0, 0) + client.SetPopHost("", 1, 0) + client.SetPopHost("h", 1, 2));
    EXPECT_EQ(16004, client.Code());
}

TEST(MailPop, MailboxesThatLie) {
    const struct {
        char const* script;
        int result, code, complete;
        char const *list, *commands;
    } rows[] = {
        {"+OK 0 0|", 1, 0, 0, "", "STAT|"},
        {"-ERR|", 0, 16008, 0, "", "STAT|"},
        {"+OK 2147483647 1|+OK\r\n1 1\r\n.|+OK\r\n1 a\r\n.|", 1, 0, 1, "1:1:a ", "STAT|LIST|UIDL|"},
        {"+OK  5 1|", 1, 0, 0, "", "STAT|"},
        {"+OK 1|+OK\r\n1\r 7\r\n2  8\r\n\r\r\n.|+OK\r\n1  a\r\n2 b\rc d\r\n.|", 1, 0, 1, "1:7: 2:0:bc ",
         "STAT|LIST|UIDL|"},
        {"+OK 1 1|+OK\r\n1 1\r\n2 2\r\n.|+OK\r\n2 b\r\n1 a\r\n3 c\r\n.|", 1, 0, 1, "1:1:a 2:2:b ",
         "STAT|LIST|UIDL|"},
        {"+OK 1|+OK\r\nx -5\r\n\r\n.|-ERR what|", 1, 16008, 0, "0:-5: ", "STAT|LIST|UIDL|"},
        {"+OK 1|-ERR|", 0, 16008, 0, "", "STAT|LIST|"},
        {"+OK 1|+OK\r\n1 1|!", 0, 1, 0, "1:1: ", "STAT|LIST|"},
        {"+OK 1|+OK\r\n1 1\r\n.|+OK\r\n1 a|!", 1, 1, 0, "1:1:a ", "STAT|LIST|UIDL|"},
        {"+OK 1|+OK\r\n1 1\r\n.|!", 0, 1, 0, "1:1: ", "STAT|LIST|UIDL|"},
        {"+OK 1|%+OK\r\n1 1\r\n*", 0, 2320, 0, nullptr, "STAT|LIST|"},
        {"+OK 1|+OK\r\n1 1\r\n.|%+OK\r\n1 a\r\n*", 1, 2320, 0, "1:1:a ", "STAT|LIST|UIDL|"},
    };
    for (auto const& row : rows) {
        ReplyLimit const limit(LimitFor(row.script));
        std::string script = login;
        script += row.script;
        // A reply that is cut off: the connection ends behind its last line.
        if (std::size_t const cut = script.find("|!"); cut != std::string::npos && script[cut - 1] != '.')
            script.replace(cut, 2, "\r\n!");
        ScriptedServer server(script);
        auto client = std::make_unique<Client>(server.Port());
        ASSERT_EQ(1, client->Login());
        EXPECT_EQ(row.result, client->PopListUidl()) << row.script;
        EXPECT_EQ(row.code, client->Code()) << row.script;
        EXPECT_EQ(row.complete, client->IsUidlComplete()) << row.script;
        if (row.list) {
            EXPECT_EQ(row.list, client->List()) << row.script;
        }
        client.reset();
        EXPECT_EQ(row.commands, Commands(server)) << row.script;
    }
}

// RFC 1939 7 for the unique ID; a longer one, and a longer list, end the connection.
TEST(MailPop, ListsAndIdsAtTheirLimits) {
    constexpr int most_lines = 1000000, most_bytes = 64 * 1024 * 1024;
    std::string const filler(65000 - 2, 'x'), one_list = "+OK 1|+OK\r\n1 1\r\n.|", id(70, 'a');
    auto const lines = [](int count, char const* line = "1 1\r\n") {
        std::string text = "+OK\r\n";
        for (int i = 0; i < count; ++i) text += line;
        return text + ".|";
    };
    auto const bytes = [&](int count) {
        std::string text = "+OK\r\n";
        for (; count > 65000; count -= 65000) text += filler + "\r\n";
        return text + std::string(static_cast<std::size_t>(count) - 2, 'x') + "\r\n.|";
    };
    const struct {
        char const* name;
        std::string script;
        int result, code, complete;
        char const* text;
    } rows[] = {
        {"longest ID", one_list + "+OK\r\n1 " + id + "\r\n.|", 1, 0, 1, nullptr},
        {"ID too long", one_list + "+OK\r\n1 " + id + "a\r\n.|", 1, 1, 0,
         "サーバーの応答が長すぎます: UIDL の一意な ID (上限 70 文字)"},
        {"most lines", "+OK 1|" + lines(most_lines) + "-ERR", 1, 16008, 0, nullptr},
        {"too many lines", "+OK 1|" + lines(most_lines + 1), 0, 1, 0,
         "サーバーの応答が長すぎます: LIST (上限 1000000 行、64 MiB)"},
        {"blank lines", "+OK 1|" + lines(most_lines + 1, "\r\n"), 0, 1, 0, nullptr},
        {"most bytes", "+OK 1|" + bytes(most_bytes) + "-ERR", 1, 16008, 0, nullptr},
        {"too many bytes", "+OK 1|" + bytes(most_bytes + 1), 0, 1, 0, nullptr},
        {"too many lines of IDs", one_list + lines(most_lines + 1), 1, 1, 0,
         "サーバーの応答が長すぎます: UIDL (上限 1000000 行、64 MiB)"},
    };
    for (auto const& row : rows) {
        ScriptedServer server(login + row.script);
        Client client(server.Port());
        ASSERT_EQ(1, client.Login());
        EXPECT_EQ(row.result, client.PopListUidl()) << row.name;
        EXPECT_EQ(row.code, client.Code()) << row.name;
        EXPECT_EQ(row.complete, client.IsUidlComplete()) << row.name;
        if (!row.text) continue;
        EXPECT_STREQ(row.text, client.GetErrMsg().GetLastMsg());
        EXPECT_EQ(0, client.PopReset()) << "the connection is over";
        EXPECT_EQ(1, client.PopLogout());
    }
}

TEST(MailPop, MessagesThatEndEarlyOrNever) {
    std::string const one = std::string(login) + "+OK 1|+OK\r\n1 2147483647\r\n.|+OK\r\n.|";
    const struct {
        char const* script;
        int result, code;
        char const* text;
    } rows[] = {
        {"+OK\r\n.|", 1, 0, ".\r\n"},
        {"+OK\r\n\r\n.|", 1, 0, "\r\n.\r\n"},
        {"+OK\r\na\nb\r\n.|", 1, 0, "a\r\nb\r\n.\r\n"},
        {"-ERR gone|", 0, 16009, ""},
        {"+OK\r\nhalf\r\nli!|", 0, 1, "half\r\n"},
        {"%+OK\r\n*", 0, 2320, nullptr},
    };
    for (auto const& row : rows) {
        ReplyLimit const limit(LimitFor(row.script));
        ScriptedServer server(one + row.script);
        Client client(server.Port());
        ASSERT_EQ(1, client.Login() & client.PopListUidl());
        EXPECT_EQ(row.result, client.PopRetr(0)) << row.script;
        EXPECT_EQ(row.code, client.Code()) << row.script;
        if (row.text) {
            EXPECT_EQ(row.text, client.m_strMailText) << row.script;
        }
    }
    std::string large = "+OK\r\n";
    for (int i = 0; i < 700000; ++i)
        large += "0123456789012345678901234567890123456789012345678901234567890123456789\r\n";
    ScriptedServer server(one + large + ".|");
    Client client(server.Port());
    ASSERT_EQ(1, client.Login() & client.PopListUidl());
    EXPECT_EQ(1, client.PopRetr(0));
    EXPECT_EQ(700000 * 72 + 3, client.m_strMailText.GetLength());
}

TEST(MailPop, RepliesInFields) {
    CStringArray fields;
    EXPECT_EQ(1, MailPop::GetResponseStatus("+OK 2  30", &fields));
    ASSERT_EQ(4, fields.GetSize());
    EXPECT_EQ("", fields[2]);
    EXPECT_EQ("30", fields[3]);
    EXPECT_EQ(0, MailPop::GetResponseStatus(" +OK", &fields));
    EXPECT_EQ(0, MailPop::GetResponseStatus(nullptr, &fields));
    EXPECT_EQ(0, fields.GetSize());
    CString text = "\ra\nb\r\n";
    MailPop::StripCrLf(text);
    EXPECT_EQ("ab", text);
}

}  // namespace
