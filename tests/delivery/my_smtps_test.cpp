#include "tessaly/delivery/my_smtps.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/platform/md5.h"
#include "tests/support/reply_limit.h"
#include "tests/support/scripted_server.h"
#include "tests/support/transfer_log.h"

namespace {

using test::ScriptedServer;
using Lines = std::vector<std::string>;

constexpr char const *hello = "220 hi|250 hi|", *taken = "250 ok|250 ok|354 go|250 queued|221 bye!";

// A client with a mail for one recipient.
struct Client : CMySMTPS {
    explicit Client(int port) { Prepare(port); }
    void Prepare(int port) {
        Init();
        Set(smtps_server, "127.0.0.1");
        Set(smtps_port, port);
        Set(smtps_hello_name, "me");
        Set(smtps_from, "a@b.jp");
        Set(smtps_recipients, "c@d.jp");
        Set(smtps_message, "Subject: x\r\n\r\n.\r\nhi");
        Set(smtps_time_limit, 5);
    }
    int Set(int property, platform::ComponentValue const& value) {
        return SMTPS_Set(Handle(), property, 0, value, 0);
    }
    int Do(int method) { return SMTPS_Do(Handle(), method, 0, nullptr, nullptr); }
    std::string Reason() { return std::string(GetLastErrorInJapanese().View()); }
    // A line of the trail, as from the component.
    void Line(int direction, char const* text) {
        SMTPSPITrailEventParams line{direction, text};
        FirePITrail(&line);
    }
};

class SecureSmtp : public testing::Test {
  protected:
    TransferLog const log;
};

TEST_F(SecureSmtp, AWholeConversationAndItsLog) {
    ScriptedServer server(
        std::string("220-hi\r\n220 there|250-hi\r\n250-AUTH LOGIN PLAIN CRAM-MD5\r\n250 SIZE|"
                    "334 PDE+|235 in|") +
        taken);
    {
        Client client(server.Port());
        client.SetLogTitle("題");
        client.Set(smtps_user, "u");
        client.Set(smtps_password, "秘密");
        EXPECT_EQ(0, client.Do(smtps_send)) << client.Reason();
        EXPECT_EQ(CMySMTPS::status_disconnected, client.GetNowStatus());
        EXPECT_EQ("", client.GetErrorMessage());
    }
    std::string const digest = "u " + platform::HmacMd5Hex("秘密", "<1>");
    EXPECT_EQ((Lines{"EHLO me\r\n", "AUTH CRAM-MD5\r\n", platform::Base64Of(digest) + "\r\n",
                     "MAIL FROM:<a@b.jp>\r\n", "RCPT TO:<c@d.jp>\r\n", "DATA\r\n",
                     "Subject: x\r\n\r\n..\r\nhi\r\n.\r\n", "QUIT\r\n"}),
              server.Received());
    std::string const text = log.Text();
    for (char const* line :
         {"題\r\n", "[情報]Connecting to mail server.\r\n", "[情報]Connected.\r\n", "[受信]220-hi\r\n",
          "[送信]AUTH CRAM-MD5\r\n", "[送信]********\r\n", "[受信]235 in\r\n", "[送信]DATA\r\n",
          "[受信]250 queued\r\n", "[情報]Disconnected.\r\n"})
        EXPECT_NE(text.find(line), text.npos) << line;
    for (std::string const& secret : {std::string("秘密"), digest, platform::Base64Of(digest)})
        EXPECT_EQ(text.find(secret), text.npos);
}

// The server's replies, the end, and the text for the user.
TEST_F(SecureSmtp, WhereItBreaks) {
    std::string const offers = "220 hi|250-hi\r\n250 AUTH CRAM-MD5 LOGIN PLAIN|";
    constexpr char const *stopped = "送信サーバに接続しました。しかし、送信サーバの応答が停止しました。",
                         *sender =
                             "MAIL FROMコマンドが受け付けられませんでした。"
                             "送信者メールアドレスが正しいか確認してください。",
                         *recipient =
                             "RCPT TOコマンドが受け付けられませんでした。"
                             "送信先メールアドレスが正しいか確認してください。",
                         *body =
                             "メール本文を送信するときにエラーが発生しました。"
                             "添付ファイルが大きすぎないか確認してください。";
    const struct {
        std::string script;
        bool user;
        int result, status;
        char const* sentence;
    } rows[] = {
        {"421 busy|221 bye!", false, 421, -2,
         "メール送信サービスが利用できません。送信サーバで何らかの問題が起きたようです。"},
        {"220 hi|502 what|250 hi|" + std::string(taken), false, 0, -3, ""},
        {"220 hi|502 what|502 what|221 bye!", false, 502, -3,
         "実行しようとしたSMTPコマンドは、このメール送信サーバには実装されていません。"},
        {"220 hi|450 later|221 bye!", false, 450, -3, "何らかの原因で送信に失敗しました。"},
        {offers + "504 no|334 VXNlcm5hbWU6|334 UGFzc3dvcmQ6|235 in|" + taken, true, 0, -13, ""},
        {offers + "334 ====|501 cancelled|334 VXNlcm5hbWU6|334 UGFzc3dvcmQ6|235 in|" + taken, true, 0, -13,
         ""},
        {offers + "535 no|535 no|221 bye!", true, 535, -7,
         "SMTP認証に失敗しました。ログインIDやパスワードを確認してください。"},
        {std::string(hello) + "221 bye!", true, 172, -3,
         "SMTP認証に失敗しました。ログインIDやパスワードを確認してください。"},
        {"220 hi|250-hi\r\n250 AUTH=PLAIN|221 bye!", true, 172, -3,
         "SMTP認証に失敗しました。ログインIDやパスワードを確認してください。"},
        {std::string(hello) + "553 you are Not Logged In|221 bye!", false, 553, -9,
         "送信に失敗しました。SMTP認証でログインしなければならない可能性があります。"},
        {std::string(hello) + "250 ok|550-no\r\n550 such user|221 bye!", false, 550, -10,
         "要求を実行できません。メール送信サーバのポリシーに反していないか、確認してください。"},
        {std::string(hello) + "250 ok|450 Domain not found|221 bye!", false, 450, -10,
         "送信者、もしくは、送信先のドメインが見つかりません。メールの送信に失敗しました。"},
        {std::string(hello) + "250 ok|599 odd|221 bye!", false, 599, -10,
         "RCPT TOコマンドが受け付けられませんでした。送信先メールアドレスが正しいか確認してください。"},
        {std::string(hello) + "250 ok|250 ok|354 go|552 full|221 bye!", false, 552, -11,
         "ディスク不足のため、要求された処理は実行できません。送信サーバで何らかの問題が起きたようです。"},
        {std::string(hello) + "250 ok|!", false, 10053, -10,
         "ソフトウェアが接続を中止しました。サーバへの接続途中で、何らかの障害が起きたようです。"},
        {std::string(hello) + "250 ok|abc|", false, 175, -10,
         "RCPT TOコマンドが受け付けられませんでした。送信先メールアドレスが正しいか確認してください。"},
        {"220 hi|!!", false, 10054, -3, "EHLOコマンドが受け付けられませんでした。"},
        // Replies that neither accept nor refuse.
        {"000 hi|", false, 177, -2, stopped},
        {"220 hi|000 x|", false, 177, -3, "EHLOコマンドが受け付けられませんでした。"},
        {std::string(hello) + "199 ok|", false, 177, -9, sender},
        {std::string(hello) + "354 ok|", false, 176, -9, sender},
        {std::string(hello) + "250 ok|173 ok|", false, 177, -10, recipient},
        {std::string(hello) + "250 ok|301 ok|", false, 176, -10, recipient},
        {std::string(hello) + "250 ok|600 ok|", false, 177, -10, recipient},
        {std::string(hello) + "250 ok|250 ok|276 ok|", false, 176, -11, body},
        {std::string(hello) + "250 ok|250 ok|354 go|000 ok|", false, 177, -11, body},
        {std::string(hello) + "250 ok|250 ok|354 go|301 ok|", false, 176, -11, body},
        {std::string(hello) + "200 ok|299 ok|399 go|200 ok|221 bye!", false, 0, -13, ""},
        {offers + "000 x|", true, 177, -6,
         "SMTP認証(CRAM-MD5)に失敗しました。ログインIDやパスワードを確認してください。"},
        {offers + "535 no|334 VXNlcm5hbWU6|334 UGFzc3dvcmQ6|334 x|", true, 176, -7,
         "SMTP認証(CRAM-MD5やLOGIN)に失敗しました。ログインIDやパスワードを確認してください。"},
    };
    for (auto const& row : rows) {
        ScriptedServer server(row.script);
        Client client(server.Port());
        if (row.user) {
            client.Set(smtps_user, "u");
            client.Set(smtps_password, "p");
        }
        EXPECT_EQ(row.result, client.Do(smtps_send)) << row.script;
        EXPECT_EQ(row.status, client.GetNowStatus()) << row.script;
        if (row.result == 0) continue;
        EXPECT_EQ(row.sentence, client.Reason()) << row.script;
        EXPECT_EQ(row.result, SMTPS_GetLastErrorCode(client.Handle()));
        EXPECT_EQ(row.result >= 400 && row.result <= 599, SMTPS_GetLastFailure(client.Handle()).IsByServer());
        EXPECT_EQ(SMTPS_GetLastError(client.Handle()), client.GetErrorMessage());
    }
}

TEST_F(SecureSmtp, NoServerAndNoAnswer) {
    test::RefusingPort const refusing;
    Client client(refusing.Port());
    EXPECT_EQ(10061, client.Do(smtps_connect));
    EXPECT_EQ("接続が拒否されました。ファイアウォールの設定や接続回線の確認をしてください。",
              client.Reason());
    EXPECT_EQ(CMySMTPS::status_connecting, client.GetNowStatus());
    client.Init();
    client.Set(smtps_server, "");
    client.Do(smtps_connect);
    EXPECT_EQ(
        "送信サーバアドレスが正しくありません。接続可能な送信サーバのアドレスを正しく指定してください。",
        client.Reason());
    ScriptedServer silent("220 hi|~");
    client.Prepare(silent.Port());
    client.Set(smtps_time_limit, 1);
    auto const start = platform::MonotonicMilliseconds();
    EXPECT_EQ(301, client.Do(smtps_connect));
    EXPECT_LT(platform::MonotonicMilliseconds() - start, 3000);
    EXPECT_EQ("サーバとの接続がタイムアウトしました。回線の状況を確認してください。", client.Reason());
    EXPECT_EQ(CMySMTPS::status_ehlo, client.GetNowStatus());
    // One byte at a time, far within the limit of each wait.
    ReplyLimit const limit(300);
    for (char const* dripping : {"%220 x*", "220 hi|%250-x\r\n*", "220 hi|250 hi|250 ok|%550 x*"}) {
        ScriptedServer server(dripping);
        client.Prepare(server.Port());
        EXPECT_EQ(301, client.Do(smtps_send)) << dripping;
        EXPECT_EQ("サーバとの接続がタイムアウトしました。回線の状況を確認してください。", client.Reason());
    }
    test::BlackHole hole;
    client.Prepare(hole.Port());
    client.Set(smtps_time_limit, 1);
    EXPECT_EQ(301, client.Do(smtps_connect));
}

TEST_F(SecureSmtp, AnotherThreadEndsTheConversation) {
    ScriptedServer server("220 hi|~");
    Client client(server.Port());
    std::thread other([&] {
        usleep(100000);
        client.Do(smtps_interrupt);
    });
    EXPECT_EQ(174, client.Do(smtps_send));
    other.join();
    EXPECT_EQ("EHLOコマンドが受け付けられませんでした。", client.Reason());
}

TEST_F(SecureSmtp, AConnectionServesSeveralMails) {
    std::string const mail = "250 ok|250 ok|354 go|250 queued|", again = "250 reset|" + mail;
    ScriptedServer server({test::Play(std::string(hello) + mail + again +
                                      "250 reset|250 ok|550 no|250 reset|" + mail + "421 bye\r\n!"),
                           test::Play(hello + mail + "221 bye")});
    Client client(server.Port());
    client.Set(smtps_keep_connection, 1);
    EXPECT_EQ(0, client.Do(smtps_send));
    client.Set(smtps_message, "");
    client.Set(smtps_headers, "Subject: y\r\n");
    client.Set(smtps_text, "text\r\n");
    EXPECT_EQ(0, client.Do(smtps_send));
    EXPECT_EQ(CMySMTPS::status_data, client.GetNowStatus());
    EXPECT_EQ(550, client.Do(smtps_send));
    EXPECT_EQ(0, client.Do(smtps_send));
    EXPECT_EQ(421, client.Do(smtps_reset_mail)) << "the server leaves";
    EXPECT_EQ(0, client.Do(smtps_send)) << "over a new connection";
    EXPECT_EQ(0, client.Do(smtps_disconnect));
    EXPECT_EQ(102, client.Do(smtps_reset_mail));
    Lines const& lines = server.Received();
    EXPECT_EQ(2, server.Connections());
    EXPECT_EQ(5, std::count(lines.begin(), lines.end(), "MAIL FROM:<a@b.jp>\r\n"));
    EXPECT_EQ(3, std::count(lines.begin(), lines.end(), "Subject: y\r\n\r\ntext\r\n.\r\n"));
}

// The step is that of the mail, whatever was refused and recovered before it.
TEST_F(SecureSmtp, TheFailureIsThatOfThisMail) {
    using protocol::SmtpPhase;
    std::string const mail = "250 ok|250 ok|354 go|250 queued|",
                      no_such = "250 ok|550-5.1.1 no\r\n550 5.1.1 such";
    std::string const offers = "220 hi|250-hi\r\n250 AUTH CRAM-MD5 LOGIN|";
    const struct {
        std::vector<std::string> connections;
        int mails;
        SmtpPhase phase;
        int code;
        char const *enhanced, *text;
    } rows[] = {
        {{hello + mail + "421 bye!", hello + no_such},
         2,
         SmtpPhase::recipient,
         550,
         "5.1.1",
         "550-5.1.1 no\r\n550 5.1.1 such\r\n"},
        {{"220 hi|502 what|250 hi|250 ok|550 5.1. x"}, 1, SmtpPhase::recipient, 550, "", "550 5.1. x\r\n"},
        {{offers + "504 no|334 VXNlcm5hbWU6|334 UGFzc3dvcmQ6|235 in|450 4.7.1"},
         1,
         SmtpPhase::sender,
         450,
         "4.7.1",
         "450 4.7.1\r\n"},
        {{offers + "504 no|535 5.7.8 no"}, 1, SmtpPhase::authentication, 535, "5.7.8", "535 5.7.8 no\r\n"},
        {{hello + mail + "250 reset|421 4.3.2 bye"}, 2, SmtpPhase::sender, 421, "4.3.2", "421 4.3.2 bye\r\n"},
        {{hello + std::string("250 ok|250 ok|354 go|!")}, 1, SmtpPhase::message, 0, "", ""},
        {{hello + std::string("250 ok|250 ok|354 go|250-ok\r\n25!")},
         1,
         SmtpPhase::message,
         0,
         "",
         "250-ok\r\n"},
        {{hello + std::string("250 ok|250 ok|354 go|what")}, 1, SmtpPhase::message, 0, "", "what\r\n"},
        {{hello + std::string("250 ok|250 ok|354 go|421 4.3.2 bye")},
         1,
         SmtpPhase::message,
         421,
         "4.3.2",
         "421 4.3.2 bye\r\n"},
        {{"554 no"}, 1, SmtpPhase::greeting, 554, "", "554 no\r\n"},
    };
    for (auto const& row : rows) {
        std::vector<test::Script> scripts;
        for (std::string const& connection : row.connections)
            scripts.push_back(test::Play(connection + "|221 bye!"));
        ScriptedServer server(scripts);
        Client client(server.Port());
        client.Set(smtps_keep_connection, 1);
        client.Set(smtps_user, row.connections[0].find("AUTH") == std::string::npos ? "" : "u");
        for (int sent = 1; sent < row.mails; ++sent) EXPECT_EQ(0, client.Do(smtps_send)) << row.text;
        EXPECT_NE(0, client.Do(smtps_send)) << row.text;
        protocol::SmtpFailure const& failure = client.GetFailure();
        EXPECT_EQ(row.phase, failure.phase) << row.text;
        EXPECT_EQ(row.code, failure.code) << row.text;
        EXPECT_EQ(row.phase == SmtpPhase::message && row.code == 0, failure.in_doubt) << row.text;
        EXPECT_EQ(row.enhanced, failure.enhanced) << row.text;
        EXPECT_EQ(row.text, failure.text);
    }
}

TEST_F(SecureSmtp, WhatIsRefusedBeforeAnythingIsSent) {
    Client client(1);
    for (char const* bad : {"", "a>\r\nRCPT TO:<x", "a\nb", "a b", "a>", "a\tb", "a\x7F"}) {
        client.Set(smtps_from, bad);
        EXPECT_EQ(103, client.Do(smtps_send)) << bad;
    }
    client.Set(smtps_from, "a@b.jp");
    for (char const* bad : {"", " , ", "a@b.jp,x\r\ny", "a b@x", "<a@x", "a@x,b\x01"}) {
        client.Set(smtps_recipients, bad);
        EXPECT_EQ(103, client.Do(smtps_send)) << bad;
    }
    client.Set(smtps_recipients, "c@d.jp");
    client.Set(smtps_message, ("a\r\n" + std::string(999, 'x') + "\r\n").c_str());
    EXPECT_EQ(173, client.Do(smtps_send));
    client.Set(smtps_message, "a\r\n");
    client.Set(smtps_hello_name, "me\r\nMAIL FROM:<x@y>");
    EXPECT_EQ(101, client.Do(smtps_send));
    EXPECT_EQ(101, client.Set(99, ""));
    EXPECT_EQ(101, client.Do(99));
    ScriptedServer server(std::string(hello) + "250 ok|250 ok|250 ok|354 go|250 queued|221 bye!");
    client.Prepare(server.Port());
    client.Set(smtps_recipients, "c@d.jp, e..g.@f.jp");
    client.Set(smtps_message, (std::string(998, 'x') + "\r\n" + std::string(998, 'y')).c_str());
    EXPECT_EQ(0, client.Do(smtps_send));
    EXPECT_EQ("RCPT TO:<e..g.@f.jp>\r\n", server.Received()[3]);
}

// Where the upgrade is required, nothing but EHLO goes to a server without it.
TEST_F(SecureSmtp, UpgradesThatDoNotCome) {
    ScriptedServer without(std::string(hello) + "502 no|221 bye!");
    Client client(without.Port());
    client.Set(smtps_security, protocol::security_upgrade);
    EXPECT_EQ(277, client.Do(smtps_send));
    EXPECT_EQ("送信サーバがSTARTTLSに対応しているか確認してください。", client.Reason());
    EXPECT_EQ((Lines{"EHLO me\r\n", "STARTTLS\r\n", "QUIT\r\n"}), without.Received());

    ScriptedServer plain(std::string(hello) + taken);
    client.Prepare(plain.Port());
    client.Set(smtps_security, protocol::security_upgrade_if_offered);
    EXPECT_EQ(0, client.Do(smtps_send));

    // Bytes behind the reply, and a reply where the handshake belongs.
    for (char const* script : {"220 hi|250-hi\r\n250 STARTTLS|220 go\r\n250 injected",
                               "220 hi|250-hi\r\n250 STARTTLS|220 go\r\n!"}) {
        ScriptedServer broken(script);
        client.Prepare(broken.Port());
        client.Set(smtps_security, protocol::security_upgrade);
        EXPECT_EQ(276, client.Do(smtps_send)) << script;
        EXPECT_EQ("SSL通信を開始しようとしましたが、何らかの原因で通信が確立しませんでした。",
                  client.Reason())
            << script;
    }
}

// An unknown security must not count as a plain connection, whether the result of its setting was checked or
// not.
TEST_F(SecureSmtp, AnUnknownSecurityConnectsNowhere) {
    ScriptedServer server(std::string(hello) + taken);
    Client client(server.Port());
    for (platform::ComponentValue const& unknown :
         {platform::ComponentValue(4), platform::ComponentValue(-1), platform::ComponentValue(255),
          platform::ComponentValue("1"), platform::ComponentValue("")}) {
        EXPECT_EQ(101, client.Set(smtps_security, unknown));
        EXPECT_EQ(101, client.Do(smtps_send));
        EXPECT_EQ(101, client.Do(smtps_connect));
    }
    EXPECT_EQ(0, client.Set(smtps_security, protocol::security_upgrade_if_offered));
    EXPECT_EQ(0, client.Do(smtps_send));
    EXPECT_EQ(1, server.Connections());
}

TEST_F(SecureSmtp, TheStatusStandsStillAfterAFailure) {
    Client client(1);
    client.Line(2, "connecting to mail server. x");
    EXPECT_EQ(-1, client.GetNowStatus());
    client.Line(0, "auth cram-md5");
    client.Line(1, "504 no");
    client.Line(0, "AUTH LOGIN");
    EXPECT_EQ(-7, client.GetNowStatus());
    for (char const* harmless : {"550-more", "250 ok", "550", "399 x", "600 x", "5 0 x", ""})
        client.Line(1, harmless);
    client.Line(0, "rset");
    EXPECT_EQ(-8, client.GetNowStatus());
    client.Line(1, "599 x");
    client.Line(0, "QUIT");
    client.Line(2, "Disconnected.");
    EXPECT_EQ(-8, client.GetNowStatus());
    client.Init();
    EXPECT_EQ(0, client.GetNowStatus());
    EXPECT_EQ("不明なエラーが発生しました。", client.Reason());
    SMTPSErrorEventParams error{7, "broken"};
    client.FireError(&error);
    client.Line(0, "EHLO");
    EXPECT_EQ(0, client.GetNowStatus());
    EXPECT_EQ("broken", client.GetErrorMessage());
    EXPECT_NE(log.Text().find("[異常]broken\r\n"), std::string::npos);
}

}  // namespace
