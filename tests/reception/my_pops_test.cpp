#include "reception/my_pops.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/md5.h"
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
    const TransferLog log;
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
    const std::string text = log.Text();
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
        const std::string script = row.security == 3 && row.script.starts_with("+OK|+OK|")
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

// A server that never ends, and one that says what it likes.
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

// What outgrows RFC 1939 and the limits of a list, and a server that drips.
TEST_F(SecurePop, ListsThatDoNotEnd) {
    const std::string in = "+OK|+OK|+OK|+OK 1 1|", id(70, 'a');
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
        const std::string name = row.script.substr(0, 90);
        const ReplyLimit limit(name.starts_with('%') ? 400 : 0);
        ScriptedServer server(in + row.script);
        // Without the log, which has a line for each line that comes.
        POPSHandle const handle = POPS_Create([](void*, int, void*) { return 0; }, nullptr);
        POPS_Set(handle, pops_server, 0, "127.0.0.1", 0);
        POPS_Set(handle, pops_port, 0, server.Port(), 0);
        POPS_Set(handle, pops_time_limit, 0, 5, 0);
        EXPECT_EQ(0, POPS_Do(handle, pops_connect, 0, nullptr, nullptr)) << name;
        const platform::ComponentValue number[] = {1};
        int const result = row.method == 0
                               ? POPS_Set(handle, pops_message, 0, 1, 0)
                               : POPS_Do(handle, row.method, row.method == pops_retrieve, number, nullptr);
        EXPECT_EQ(row.result, result) << name;
        EXPECT_STREQ(row.text, POPS_GetLastError(handle)) << name;
        POPS_Destroy(handle);
    }
}

// What is unknown is not taken for the plain way, nor for the password in clear.
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
