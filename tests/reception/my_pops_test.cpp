#include "tessaly/reception/my_pops.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tessaly/platform/md5.h"
#include "tests/support/reply_limit.h"
#include "tests/support/scripted_server.h"
#include "tests/support/transfer_log.h"

namespace {

using test::ScriptedServer;
using Lines = std::vector<std::string>;

struct Client : CMyPOPS {
    explicit Client(int port) {
        Set(pops_server, "127.0.0.1");
        Set(pops_port, port);
        Set(pops_user, "mrose");
        Set(pops_password, "tanstaaf");
        Set(pops_time_limit, 5);
    }
    int Set(int property, platform::ComponentValue const& value) {
        return POPS_Set(Handle(), property, 0, value, 0);
    }
    int Do(int method) { return POPS_Do(Handle(), method, 0, nullptr, nullptr); }
    int Do(int method, std::vector<platform::ComponentValue> const& arguments) {
        return POPS_Do(Handle(), method, static_cast<int>(arguments.size()), arguments.data(), nullptr);
    }
    POPSValue Get(int property, int index = 0) { return POPS_Get(Handle(), property, index, nullptr); }
    std::string Reason() { return std::string(GetLastErrorInJapanese().View()); }
    std::string Ids() {
        std::string text;
        for (CString const& id : GetUIDs()) text += std::string(id.View()) + " ";
        return text;
    }
};

class SecurePop : public testing::Test {
  protected:
    TransferLog const log;
};

TEST_F(SecurePop, AWholeVisit) {
    ScriptedServer server(
        "+OK ready|+OK|+OK|+OK 3 99|+OK\r\n1 a\r\n2  b c\r\n4 d\r\n.|+OK\r\n1 10\r\n4 40\r\n.|"
        "+OK\r\nSubject: x\r\n\r\n..\r\n...\r\n. \r\n.|+OK\r\nSubject: y\r\n.|+OK|+OK|+OK 1 a|+OK bye");
    {
        Client client(server.Port());
        EXPECT_EQ(0, client.Do(pops_connect)) << client.Reason();
        EXPECT_EQ(3, client.Get(pops_count).Number());
        EXPECT_EQ(0, client.Do(pops_list));
        EXPECT_EQ("a b c d ", client.Ids());
        EXPECT_EQ(0, client.Do(pops_list_sizes));
        EXPECT_EQ(40, client.Get(pops_size, 4).Number());
        EXPECT_EQ(0, client.Get(pops_size, 2).Number());
        EXPECT_EQ(0, client.Do(pops_retrieve, {2}));
        EXPECT_EQ("Subject: x\r\n\r\n.\r\n..\r\n. \r\n", client.Get(pops_text).Text());
        EXPECT_EQ(0, client.Do(pops_top, {4, 0}));
        EXPECT_EQ("Subject: y\r\n", client.Get(pops_text).Text());
        EXPECT_EQ(0, client.Do(pops_delete, {4}));
        EXPECT_EQ(0, client.Do(pops_noop));
        EXPECT_EQ(0, client.Set(pops_message, 1));
        EXPECT_EQ("a", client.Get(pops_unique_id).Text());
        EXPECT_EQ(0, client.Do(pops_disconnect));
        EXPECT_EQ(CMyPOPS::status_disconnected, client.GetNowStatus());
        EXPECT_EQ(102, client.Do(pops_noop));
        EXPECT_EQ(101, client.Do(pops_delete));
    }
    EXPECT_EQ((Lines{"USER mrose\r\n", "PASS tanstaaf\r\n", "STAT\r\n", "UIDL\r\n", "LIST\r\n", "RETR 2\r\n",
                     "TOP 4 0\r\n", "DELE 4\r\n", "NOOP\r\n", "UIDL 1\r\n", "QUIT\r\n"}),
              server.Received());
    std::string const text = log.Text();
    EXPECT_NE(text.find("[送信]PASS ********\r\n"), text.npos);
    EXPECT_NE(text.find("[受信]b c (2)\r\n"), text.npos);
    EXPECT_EQ(text.find("tanstaaf"), text.npos);
}

TEST_F(SecurePop, WhereItBreaks) {
    constexpr char const* by_code =
        "ソフトウェアが接続を中止しました。サーバへの接続途中で、何らかの障害が起きたようです。";
    const struct {
        std::string script;
        int security, auth, result, status;
        char const* sentence;
    } rows[] = {
        {"-ERR busy|+OK!", 0, 0, 171, -2,
         "受信サーバに接続しました。しかし、ユーザIDとパスワードを使った認証ができません。"},
        {"+OK|-ERR who|+OK!", 0, 0, 171, -3, "受信サーバのユーザIDが正しいものではありません。"},
        {"+OK|+OK|-ERR no|+OK!", 0, 0, 171, -4,
         "受信サーバへのログインに失敗しました。ユーザIDやパスワードを確認してください。"},
        {"+OK|+OK|+OK|-ERR no|+OK!", 0, 0, 171, -5, "サーバ上の受信メール数が取得できませんでした。"},
        {"+OK hi|+OK!", 0, 1, 172, -2, "サーバがAPOPに対応していません。"},
        {"+OK|!", 0, 0, 10053, -3, by_code},
        {"+OK|-ERR no STLS|+OK!", 2, 0, 277, -2,
         "受信サーバに接続しました。しかし、ユーザIDとパスワードを使った認証ができません。"},
        {"+OK|+OK\r\ngarbage", 2, 0, 276, -2,
         "SSL通信を開始しようとしましたが。何らかの原因で通信が確立しませんでした。"},
        {"+OK|+OK\r\n!", 2, 0, 276, -2,
         "SSL通信を開始しようとしましたが。何らかの原因で通信が確立しませんでした。"},
        {"+OK|+OK|+OK\r\nTOP\r\n.|+OK|+OK|+OK 0 0", 3, 0, 0, -5, ""},
        {"+OK|-ERR what|+OK|+OK|+OK 0 0", 3, 0, 0, -2, ""},
    };
    for (auto const& row : rows) {
        std::string const script = row.security == 3 && row.script.starts_with("+OK|+OK|")
                                       ? "+OK|" + row.script.substr(8)
                                       : row.script;
        ScriptedServer server(script);
        Client client(server.Port());
        client.Set(pops_security, row.security);
        client.Set(pops_auth, row.auth);
        EXPECT_EQ(row.result, client.Do(pops_connect)) << row.script;
        EXPECT_EQ(row.status, client.GetNowStatus()) << row.script;
        if (row.result == 0) continue;
        EXPECT_EQ(row.sentence, client.Reason()) << row.script;
    }
}

TEST_F(SecurePop, ByApop) {
    ScriptedServer server("+OK <1896.697170952@dbc.mtview.ca.us>|+OK|+OK 0 0|+OK");
    {
        Client client(server.Port());
        client.Set(pops_auth, pops_auth_apop);
        EXPECT_EQ(0, client.Do(pops_connect));
    }
    EXPECT_EQ("APOP mrose c4c9334bac560ecc979e58001b3e22fb\r\n", server.Received()[0]);
    EXPECT_EQ(log.Text().find("c4c9334bac56"), std::string::npos);
}

TEST_F(SecurePop, UniqueIdsOneByOne) {
    ScriptedServer server("+OK|+OK|+OK|+OK 3 9|+OK 1  a|+OK 2 b|-ERR gone|+OK");
    Client client(server.Port());
    ASSERT_EQ(0, client.Do(pops_connect));
    EXPECT_EQ(171, client.ListMessageUIDs());
    EXPECT_EQ("a b ", client.Ids());
    EXPECT_EQ("受信サーバが割り当てる一意なID（UID)が取得できませんでした。", client.Reason());
    ScriptedServer empty("+OK|+OK|+OK|+OK 0 0|+OK");
    client.Do(pops_disconnect);
    Client other(empty.Port());
    other.Do(pops_connect);
    EXPECT_EQ(0, other.ListMessageUIDs());
    EXPECT_EQ("", other.Ids());
}

// A server that never ends, and one that sends wrong answers.
TEST_F(SecurePop, ServersThatLie) {
    ScriptedServer endless("+OK|+OK|+OK|+OK 99999999999 1|+OK\r\n" + std::string("1 a\r\n") + "|");
    Client client(endless.Port());
    EXPECT_EQ(0, client.Do(pops_connect));
    EXPECT_LE(client.Get(pops_count).Number(), 1000000);
    client.Set(pops_time_limit, 1);
    ScriptedServer long_line("+OK " + std::string(70000, 'x') + "|");
    Client other(long_line.Port());
    EXPECT_NE(0, other.Do(pops_connect));
    Client bad(1);
    bad.Set(pops_user, "a\r\nDELE 1");
    ScriptedServer greeting("+OK|+OK");
    bad.Set(pops_port, greeting.Port());
    EXPECT_EQ(172, bad.Do(pops_connect));
}

// Lists beyond RFC 1939 and the limits, and a server that sends one byte at a time.
TEST_F(SecurePop, ListsThatDoNotEnd) {
    std::string const in = "+OK|+OK|+OK|+OK 1 1|", id(70, 'a');
    std::string most = "+OK\r\n";
    for (int i = 0; i < 1000000; ++i) most += "1 1\r\n";
    const struct {
        std::string script;
        int method, result;
        char const* text;
    } rows[] = {
        {"+OK\r\n1 " + id + "\r\n.|", pops_list, 0, ""},
        {"+OK\r\n1 " + id + "a\r\n.|", pops_list, 175,
         "A unique ID of the server is longer than 70 characters."},
        {"+OK 1 " + id + "a|", 0, 175, "A unique ID of the server is longer than 70 characters."},
        {most + ".|", pops_list_sizes, 0, ""},
        {most + "1 1\r\n.|", pops_list_sizes, 175,
         "The server's list is longer than 1000000 lines or 64 MiB."},
        {"+OK\r\n1 " + std::string(65000, 'x') + "\r\n*", pops_list_sizes, 175,
         "The server's list is longer than 1000000 lines or 64 MiB."},
        {"%+OK\r\n*", pops_noop, 0, ""},
        {"%+OK x*", pops_noop, 301, "Timeout."},
        {"%+OK\r\n1 1\r\n*", pops_list, 301, "Timeout."},
        {"%+OK\r\n*", pops_retrieve, 301, "Timeout."},
    };
    for (auto const& row : rows) {
        std::string const name = row.script.substr(0, 90);
        ReplyLimit const limit(name.starts_with('%') ? 400 : 0);
        ScriptedServer server(in + row.script);
        // Without the log, which gets every received line.
        POPSHandle const handle = POPS_Create([](void*, int, void*) { return 0; }, nullptr);
        POPS_Set(handle, pops_server, 0, "127.0.0.1", 0);
        POPS_Set(handle, pops_port, 0, server.Port(), 0);
        POPS_Set(handle, pops_time_limit, 0, 5, 0);
        EXPECT_EQ(0, POPS_Do(handle, pops_connect, 0, nullptr, nullptr)) << name;
        platform::ComponentValue const number[] = {1};
        int const result = row.method == 0
                               ? POPS_Set(handle, pops_message, 0, 1, 0)
                               : POPS_Do(handle, row.method, row.method == pops_retrieve, number, nullptr);
        EXPECT_EQ(row.result, result) << name;
        EXPECT_STREQ(row.text, POPS_GetLastError(handle)) << name;
        POPS_Destroy(handle);
    }
}

// Lines of the conversation ("> ", "< "), texts about the connection ("- "), errors ("! ") and messages ("#
// "), in their order.
class Recorder {
  public:
    explicit Recorder(int port) : handle_(POPS_Create(Note, this)) {
        Set(pops_server, "127.0.0.1");
        Set(pops_port, port);
        Set(pops_user, "mrose");
        Set(pops_password, "tanstaaf");
        Set(pops_time_limit, 5);
    }
    ~Recorder() { POPS_Destroy(handle_); }
    Recorder(Recorder const&) = delete;
    Recorder& operator=(Recorder const&) = delete;
    int Set(int property, platform::ComponentValue const& value) {
        return POPS_Set(handle_, property, 0, value, 0);
    }
    int Do(int method, int count) {
        platform::ComponentValue const numbers[] = {2, 3};
        return POPS_Do(handle_, method, count, numbers, nullptr);
    }
    POPSHandle Handle() const { return handle_; }
    std::string const& Events() const { return events_; }

  private:
    static int Note(void* object, int event, void* parameters) {
        std::string& events = static_cast<Recorder*>(object)->events_;
        if (event == pops_event_trail) {
            auto const& line = *static_cast<POPSPITrailEventParams*>(parameters);
            events += std::string(1, "><-"[line.direction]) + " " + line.message + "|";
        } else if (event == pops_event_error) {
            auto const& error = *static_cast<POPSErrorEventParams*>(parameters);
            events += "! " + std::to_string(error.code) + " " + error.description + "|";
        } else if (event == pops_event_message_list) {
            auto const& listed = *static_cast<POPSMessageListEventParams*>(parameters);
            events += "# " + std::to_string(listed.number) + " " + listed.unique_id + "|";
        }
        return 0;
    }

    std::string events_;
    POPSHandle const handle_;
};

// The lines, and the events between them.
TEST(PopComponent, EventsInTheirOrder) {
    constexpr int none = 0;
    std::string const open = "- Connecting to mail server.|- Connected.|", in = "+OK|+OK|+OK|+OK 9|",
                      told = "< +OK|> USER mrose|< +OK|> PASS ********|< +OK|> STAT|< +OK 9|",
                      left = "> QUIT|< +OK bye|- Disconnected.|";
    const struct {
        std::string script;
        int security, auth, method, arguments, result;
        std::string events;  // behind `open`
    } rows[] = {
        {"-ERR [IN-USE] x|+OK bye", 0, 0, none, 0, 171, "< -ERR [IN-USE] x|! 171 -ERR [IN-USE] x|" + left},
        {"+OK|+OK\r\nSTLS x\r\nTOP\r\n.|+OK|+OK|+OK 0 0", 3, 0, none, 0, 0,
         "< +OK|> CAPA|< +OK|< STLS x|< TOP|< .|> USER mrose|< +OK|> PASS ********|< +OK|> STAT|< +OK 0 0|"},
        {"+OK|-ERR what|+OK|+OK|+OK 0 0", 3, 0, none, 0, 0,
         "< +OK|> CAPA|< -ERR what|> USER mrose|< +OK|> PASS ********|< +OK|> STAT|< +OK 0 0|"},
        {"+OK|!", 3, 0, none, 0, 10053,
         "< +OK|> CAPA|! 10053 The server closed the connection.|- Disconnected.|"},
        {"+OK|+OK\r\nTOP\r\n!", 3, 0, none, 0, 10053,
         "< +OK|> CAPA|< +OK|< TOP|! 10053 The server closed the connection.|- Disconnected.|"},
        {"+OK|+OK\r\nSTLS\r\n.|-ERR later|+OK bye", 3, 0, none, 0, 277,
         "< +OK|> CAPA|< +OK|< STLS|< .|> STLS|< -ERR later|! 277 STLS is not available: -ERR later|" + left},
        {"+OK|-ERR no STLS|+OK bye", 2, 0, none, 0, 277,
         "< +OK|> STLS|< -ERR no STLS|! 277 STLS is not available: -ERR no STLS|" + left},
        {"+OK|-ERR who|+OK bye", 0, 0, none, 0, 171, "< +OK|> USER mrose|< -ERR who|! 171 -ERR who|" + left},
        {"+OK|+OK|-ERR [AUTH] no|-ERR bye", 0, 0, none, 0, 171,
         "< +OK|> USER mrose|< +OK|> PASS ********|< -ERR [AUTH] no|! 171 -ERR [AUTH] no|> QUIT|< -ERR bye|- "
         "Disconnected.|"},
        {"+OK|!", 0, 0, none, 0, 10053,
         "< +OK|> USER mrose|! 10053 The server closed the connection.|- Disconnected.|"},
        {"+OK hi|+OK bye", 0, 1, none, 0, 172, "< +OK hi|! 172 APOP timestamp not found.|" + left},
        {"+OK <a@b@c>|+OK|+OK 3", 0, 1, none, 0, 0,
         "< +OK <a@b@c>|> APOP mrose ********|< +OK|> STAT|< +OK 3|"},
        {"+OK|+OK bye", 0, 7, none, 0, 101, "< +OK|! 101 Unknown way to log in.|" + left},
        {in + "+OK\r\n1 a\r\n2  b c\r\n3\r\n.", 0, 0, pops_list, 0, 0,
         told + "> UIDL|< +OK|< 1 a|# 1 a|< 2  b c|# 2 b c|< 3|# 3 |< .|"},
        {in + "-ERR", 0, 0, pops_list, 0, 171, told + "> UIDL|< -ERR|! 171 -ERR|"},
        {in + "+OK\r\n1 a\r\n!", 0, 0, pops_list, 0, 10053,
         told + "> UIDL|< +OK|< 1 a|# 1 a|! 10053 The server closed the connection.|- Disconnected.|"},
        {in + "+OK\r\n1 10\r\n.", 0, 0, pops_list_sizes, 0, 0, told + "> LIST|< +OK|< 1 10|< .|"},
        {in + "+OK 2  b c", 0, 0, pops_message, 0, 0, told + "> UIDL 2|< +OK 2  b c|"},
        {in + "-ERR gone", 0, 0, pops_message, 0, 171, told + "> UIDL 2|< -ERR gone|! 171 -ERR gone|"},
        {in + "+OK\r\nx\r\n.", 0, 0, pops_retrieve, 1, 0, told + "> RETR 2|< +OK|"},
        {in + "-ERR gone", 0, 0, pops_retrieve, 1, 171, told + "> RETR 2|< -ERR gone|! 171 -ERR gone|"},
        {in + "+OK\r\nx\r\n!", 0, 0, pops_retrieve, 1, 10053,
         told + "> RETR 2|< +OK|! 10053 The server closed the connection.|- Disconnected.|"},
        {in + "-ERR no", 0, 0, pops_top, 2, 171, told + "> TOP 2 3|< -ERR no|! 171 -ERR no|"},
        {in + "-ERR no", 0, 0, pops_delete, 1, 171, told + "> DELE 2|< -ERR no|! 171 -ERR no|"},
        {in + "-ERR no", 0, 0, pops_noop, 0, 171, told + "> NOOP|< -ERR no|! 171 -ERR no|"},
        {in + "-ERR no", 0, 0, pops_disconnect, 0, 171,
         told + "> QUIT|< -ERR no|! 171 -ERR no|- Disconnected.|"},
        {in + "!", 0, 0, pops_disconnect, 0, 10053,
         told + "> QUIT|! 10053 The server closed the connection.|- Disconnected.|"},
    };
    for (auto const& row : rows) {
        ScriptedServer server(row.script);
        Recorder pop(server.Port());
        pop.Set(pops_security, row.security);
        pop.Set(pops_auth, row.auth);
        int result = pop.Do(pops_connect, 0);
        if (result == 0 && row.method == pops_message)
            result = pop.Set(pops_message, 2);
        else if (result == 0 && row.method != none)
            result = pop.Do(row.method, row.arguments);
        EXPECT_EQ(row.result, result) << row.script;
        EXPECT_EQ(open + row.events, pop.Events()) << row.script;
    }
}

// An unknown security does not count as a plain connection, nor an unknown login as the password in clear.
TEST_F(SecurePop, UnknownNumbers) {
    ScriptedServer server({test::Play("+OK|+OK"), test::Play("+OK|+OK")});
    Client client(server.Port());
    EXPECT_EQ(101, client.Set(pops_security, 4));
    EXPECT_EQ(101, client.Do(pops_connect));
    EXPECT_EQ(0, client.Set(pops_security, protocol::security_none));
    for (platform::ComponentValue const& unknown :
         {platform::ComponentValue(2), platform::ComponentValue("1")}) {
        client.Set(pops_auth, unknown);
        EXPECT_EQ(101, client.Do(pops_connect));
    }
    EXPECT_EQ((Lines{"QUIT\r\n", "QUIT\r\n"}), server.Received());
}

}  // namespace
