#include "tessaly/delivery/mail_send.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "protocol/mail_limits.h"
#include "protocol/smtp_authentication.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/platform/socket.h"
#include "tessaly/storage/error_codes.h"
#include "tessaly/text/strings.h"
#include "tests/support/reply_limit.h"
#include "tests/support/scripted_server.h"
#include "tests/support/transfer_log.h"

using enum storage::ErrorCode;

namespace {

using test::ScriptedServer;
using Lines = std::vector<std::string>;

constexpr unsigned short_limit = 60;
constexpr unsigned reply_limit = 300;
constexpr unsigned long_limit = 4000;

class Client : public MailSend {
  public:
    using MailSend::bIsConnected;
    using MailSend::Connect;
    using MailSend::Disconnect;
    using MailSend::Init;
    using MailSend::m_bSmtpAuth;
    using MailSend::SendCommand;
};

std::string LocalName() {
    char name[255] = {};
    platform::GetHostName(name, sizeof name);
    CString const clean = ViolationRemoveForDomain(name);
    return clean.IsEmpty() ? "LocalHost" : std::string(clean.View());
}

class MailSendTest : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "Asia/Tokyo", 1);
        tzset();
        MailSend::SetXMailer("");
    }

    std::string Log() const { return log_.Text(); }

    static void Prepare(MailSend& client, int port) {
        EXPECT_EQ(client.SetSmtpHost("127.0.0.1", port), 1);
        client.SetTimeOutTime(long_limit);
        client.SetTimeOutTimeBeforeConnect(long_limit);
        client.SetSenderAddr("from@example.jp");
        FillMail(client);
    }
    static void FillMail(MailSend& client) {
        client.SetRecipient("to@example.com");
        client.SetMessageID("id@example.jp");
        client.SetHeader("Subject: s");
        client.SetBody("body\r\n.");
    }

    TransferLog const log_;
};

std::string const mail_text =
    "Subject: s\r\nMessage-Id: <id@example.jp>\r\nContent-Type: text/plain; charset=ISO-2022-JP\r\n"
    "Mime-Version: 1.0\r\nContent-Transfer-Encoding: 7bit\r\n\r\nbody\r\n..\r\n.\r\n";
std::string const ehlo = "EHLO " + LocalName() + "\r\n", quit = "QUIT\r\n";

// The first `count` units of a plain conversation, and QUIT.
Lines Said(std::size_t count, bool and_quit) {
    Lines lines = {"HELO " + LocalName() + "\r\n", "MAIL FROM:<from@example.jp>\r\n",
                   "RCPT TO:<to@example.com>\r\n", "DATA\r\n", mail_text};
    lines.resize(count);
    if (and_quit) lines.push_back(quit);
    return lines;
}

constexpr char const* whole = "220 ready|250 ok|250 ok|250 ok|354 go|250 ok|221 bye";

struct Case {
    char const* name;
    char const* script;
    int result;
    int code;
    std::size_t said;  // units of Said
    bool quit;
    char const* text;  // of the last error; null if it doesn't matter
};

TEST_F(MailSendTest, EveryEndOfAConversation) {
    constexpr char const* lost = "サーバーとの通信が途中で切断されました.";
    constexpr char const* endless =
        "送信サーバーの応答が長すぎるため、通信を打ち切りました.\r\n(上限 65536 バイト)";
    constexpr Case cases[] = {
        {"accepted", whole, 1, 0, 5, true, "正常"},
        {"in one-byte pieces", "#220-a\r\n220 b|#250-a\r\n250 b|#250|#250|#354 go|#250|221", 1, 0, 5, true,
         nullptr},
        {"codes alone", "220|250|250|250|354|250|221", 1, 0, 5, true, nullptr},
        {"unreadable lines", "hi\r\n\r\n22\r\n220 x|250|250|250|354|250|221", 1, 0, 5, true, nullptr},
        {"QUIT refused", "220|250|250|250|354|250|500", 1, 0, 5, true, nullptr},
        {"lost at QUIT", "220|250|250|250|354|250|!", 1, 0, 5, true, nullptr},
        {"bad greeting", "554 no|221", -3, 2104, 0, true,
         "送信サーバーの準備が出来ていません.\r\n[554 no\r\n]"},
        {"greeting below", "199 x|221", -3, 2104, 0, true, nullptr},
        {"greeting above", "300 x|221", -3, 2104, 0, true, nullptr},
        {"HELO refused", "220|501-a\r\n501 b|221", -3, 2104, 1, true, nullptr},
        {"sender refused", "220|250|550 who|221", -3, 2105, 2, true,
         "送信サーバーから送信を拒否されました.\r\n[550 who]"},
        {"recipient refused", "220|250|250|550-no\r\n550 such user|221", 0, 2105, 3, true,
         "送信サーバーから送信を拒否されました.\r\n[550-no\r\n550 such user]"},
        {"DATA refused", "220|250|250|250|250 ok|221", -3, 2105, 4, true,
         "送信サーバーから送信を拒否されました.\r\n[250 ok]"},
        {"mail refused", "220|250|250|250|354|552 big|221", -3, 2105, 5, true, nullptr},
        {"lost before greeting", "!", -2, 1, 0, false, lost},
        {"lost in the greeting", "220 re!", -2, 1, 0, false, lost},
        {"lost between lines", "220|250-a\r\n!", -2, 1, 1, false, lost},
        {"lost at DATA", "220|250|250|250|!", -2, 1, 4, false, lost},
        {"lost after the dot", "220|250|250|250|354|!", -2, 1, 5, false, lost},
        {"reset", "220|250|!!", -2, 2327, 2, false, "接続がリセットされました"},
        {"endless lines", "220|250-more\r\n*", -2, 1, 1, false, endless},
        {"endless unreadable lines", "\r\n*", -2, 1, 0, false, endless},
        {"endless line", "220|250 x*", -2, 1, 1, false, endless},
        {"silent greeting", "220-wait\r\n~", -2, 2320, 0, false, "処理がタイムアウトしました"},
        {"silent at MAIL", "220|250|~", -2, 2320, 2, false, nullptr},
        {"silent after the dot", "220|250|250|250|354|~", -2, 2320, 5, false, nullptr},
        {"dripping greeting", "%220 x*", -2, 2320, 0, false, "処理がタイムアウトしました"},
        {"dripping lines", "220|%250-x\r\n*", -2, 2320, 1, false, nullptr},
        {"dripping after the dot", "220|250|250|250|354|%250 x*", -2, 2320, 5, false, nullptr},
        {"silent at QUIT", "220|250|250|250|354|250|~", 1, 0, 5, true, nullptr},
    };
    using protocol::SmtpPhase;
    constexpr SmtpPhase phases[] = {SmtpPhase::greeting,  SmtpPhase::hello, SmtpPhase::sender,
                                    SmtpPhase::recipient, SmtpPhase::data,  SmtpPhase::message};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        ReplyLimit const limit(std::string_view(c.script).find('%') == std::string_view::npos ? 0
                                                                                              : reply_limit);
        ScriptedServer server(c.script);
        Client client;
        Prepare(client, server.Port());
        if (std::string_view(c.script).ends_with('~')) client.SetTimeOutTime(short_limit);
        EXPECT_EQ(client.Send(), c.result);
        EXPECT_EQ(client.GetErrMsg().GetLastCode(), c.code);
        if (c.text) {
            EXPECT_STREQ(client.GetErrMsg().GetLastMsg(), c.text);
        }
        EXPECT_EQ(client.bIsConnected, 0);
        protocol::SmtpFailure const& failure = client.GetFailure();
        EXPECT_EQ(failure.phase, c.result == 1 ? protocol::SmtpPhase::none : phases[c.said]);
        EXPECT_EQ(failure.code != 0, c.result == 0 || c.result == -3);
        EXPECT_EQ(failure.in_doubt, c.result == -2 && failure.phase == SmtpPhase::message);
        Lines received = server.Received();
        // Whether QUIT still reaches a server that has closed is chance.
        if (!c.quit && !received.empty() && received.back() == quit) received.pop_back();
        EXPECT_EQ(received, Said(c.said, c.quit));

        CArray<MailSendErr, MailSendErr&> errors;
        MailSendErr old;
        errors.Add(old);
        EXPECT_EQ(client.GetErrList(errors), 1);
        ASSERT_EQ(errors.GetSize(), c.result == 0 ? 1 : 0);
        if (c.result == 0) {
            EXPECT_EQ(errors[0].recipient, "to@example.com");
            EXPECT_EQ(errors[0].code, smtp_refused_by_server);
            EXPECT_EQ(errors[0].message, c.text);
        }
        EXPECT_TRUE(client.GetRecipient().IsEmpty());
        EXPECT_STREQ(client.GetMessageID(), "");
        EXPECT_STREQ(client.GetBody(), "");
        EXPECT_STREQ(client.GetHeader(), "Subject: s\r\n") << "the header stays";
    }
}

TEST_F(MailSendTest, LostWhileTheMailGoesOut) {
    ScriptedServer server("220|250|250|250|354 go\r\n!!");
    MailSend client;
    Prepare(client, server.Port());
    client.SetBody(CString('x', 30000000));
    EXPECT_EQ(client.Send(), MailSend::SendSocketFailure);
    EXPECT_FALSE(client.GetFailure().in_doubt);
    int const code = client.GetErrMsg().GetLastCode();
    EXPECT_TRUE(code == socket_connection_reset || code == socket_connection_aborted ||
                code == socket_shut_down)
        << code;
}

TEST_F(MailSendTest, FailureToConnect) {
    test::RefusingPort const refusing;
    test::BlackHole const hole;
    struct {
        char const* host;
        int port, code;
    } const cases[] = {
        {"127.0.0.1", refusing.Port(), socket_connection_refused},
        {"127.0.0.1", hole.Port(), socket_timed_out},
        {"no-such-host.invalid", 25, socket_bad_host_address},
        {"256.1.1.1", 25, socket_bad_host_address},
        {"a b", 25, socket_bad_host_address},
        {"127.0.0.1", 65536 + refusing.Port(), socket_address_not_available},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.host) + ":" + std::to_string(c.port));
        MailSend client;
        Prepare(client, c.port);
        client.SetSmtpHost(c.host, c.port);
        client.SetTimeOutTimeBeforeConnect(short_limit);
        EXPECT_EQ(client.Send(), MailSend::SendNotDelivered);
        EXPECT_EQ(client.GetErrMsg().GetLastCode(), c.code);
        CArray<MailSendErr, MailSendErr&> errors;
        client.GetErrList(errors);
        EXPECT_TRUE(errors.IsEmpty()) << "nobody was refused";
        EXPECT_TRUE(client.GetRecipient().IsEmpty());
        EXPECT_EQ(client.CheckSMTP(), MailSend::CheckNotConnected);
    }
    EXPECT_EQ(Log().find("QUIT"), std::string::npos);
}

TEST_F(MailSendTest, RefusesBeforeConnecting) {
    struct Spoilt {
        char const* name;
        void (*spoil)(MailSend&);
        int result, code;
        char const* text;
    };
    constexpr Spoilt cases[] = {
        {"no header", [](MailSend& c) { c.ClearMailHeader(); }, -1, 2005, "必要なデータが足りません"},
        {"no body", [](MailSend& c) { c.ClearMailBody(); }, -1, 2005, nullptr},
        {"no recipient", [](MailSend& c) { c.ClearRecipient(); }, -1, 2005, nullptr},
        {"no sender", [](MailSend& c) { c.SetSenderAddr(nullptr); }, -1, 2005, nullptr},
        {"command in the sender", [](MailSend& c) { c.SetSenderAddr("a@b>\r\nRSET"); }, -1, 2005,
         "送信元メールアドレスに改行が含まれています."},
        {"command in the recipient", [](MailSend& c) { c.SetRecipient("a@b>\r\nDATA"); }, 0, 2105,
         "送信サーバーから送信を拒否されました.\r\n[送信先メールアドレスに改行が含まれています.]"},
        {"LF in the recipient", [](MailSend& c) { c.SetRecipient("a@b>\nDATA"); }, 0, 2105, nullptr},
        {"CR in the recipient", [](MailSend& c) { c.SetRecipient("a@b>\r"); }, 0, 2105, nullptr},
        {"bracket in the recipient", [](MailSend& c) { c.SetRecipient("a@b> SIZE=1"); }, 0, 2105,
         "送信サーバーから送信を拒否されました.\r\n[送信先メールアドレスに使えない文字が含まれています.]"},
        {"blank in the recipient", [](MailSend& c) { c.SetRecipient("a @b"); }, 0, 2105, nullptr},
        {"opening bracket", [](MailSend& c) { c.SetRecipient("<a@b"); }, 0, 2105, nullptr},
        {"tab in the recipient", [](MailSend& c) { c.SetRecipient("a@b\t"); }, 0, 2105, nullptr},
        {"DEL in the recipient", [](MailSend& c) { c.SetRecipient("a\x7F@b"); }, 0, 2105, nullptr},
        {"control in the recipient", [](MailSend& c) { c.SetRecipient("a\x01@b"); }, 0, 2105, nullptr},
        {"bracket in the sender", [](MailSend& c) { c.SetSenderAddr("a@b>"); }, -1, 2005,
         "送信元メールアドレスに使えない文字が含まれています."},
        {"header line in the Message-ID", [](MailSend& c) { c.SetMessageID("i@b>\r\nBcc: <c@d"); }, -1, 2005,
         "Message-IDに改行が含まれています."},
        {"CR in the Message-ID", [](MailSend& c) { c.SetMessageID("i\r@b"); }, -1, 2005, nullptr},
        {"LF in the Message-ID", [](MailSend& c) { c.SetMessageID("i@b\n"); }, -1, 2005, nullptr},
        {"user too long",
         [](MailSend& c) {
             c.SetSmtpAuth(1, 1, 1, 1);
             c.SetSmtpUserPass(CString('u', 382), "p");
         },
         -4, 2109, nullptr},
    };
    ScriptedServer server("220");
    for (Spoilt const& c : cases) {
        SCOPED_TRACE(c.name);
        MailSend client;
        Prepare(client, server.Port());
        c.spoil(client);
        CString const recipient = client.GetRecipient();
        EXPECT_EQ(client.Send(), c.result);
        EXPECT_EQ(client.GetErrMsg().GetLastCode(), c.code);
        if (c.text) {
            EXPECT_STREQ(client.GetErrMsg().GetLastMsg(), c.text);
        }
        EXPECT_TRUE(client.GetRecipient().IsEmpty());
        CArray<MailSendErr, MailSendErr&> errors;
        client.GetErrList(errors);
        ASSERT_EQ(errors.GetSize(), c.result == 0 ? 1 : 0);
        if (c.result == 0) {
            EXPECT_EQ(errors[0].recipient, recipient);
        }
    }
    MailSend no_host;
    no_host.SetSenderAddr("a@b");
    FillMail(no_host);
    EXPECT_EQ(no_host.Send(), MailSend::SendMissingField);
    EXPECT_EQ(no_host.CheckSMTP(), MailSend::CheckNotConnected);
    EXPECT_EQ(no_host.GetErrMsg().GetLastCode(), smtp_bad_host_or_port);
    EXPECT_EQ(server.Connections(), 0);
}

struct AuthCase {
    char const* name;
    std::string script;
    int result;
    int code;
    Lines said;  // between EHLO and QUIT, without line ends
    char const* text;
};

TEST_F(MailSendTest, Authentication) {
    using platform::Base64Of;
    std::string const all = "220|250-host\r\n250-auth=PLAIN LOGIN CRAM-MD5\r\n250 SIZE|";
    std::string const only_login = "220|250 AUTH LOGIN|", only_plain = "220|250 AUTH PLAIN|";
    std::string const ask_user = "334 VXNlcm5hbWU6|", ask_pass = "334 UGFzc3dvcmQ6|";
    std::string const cram = "AUTH CRAM-MD5", login = "AUTH LOGIN", plain = "AUTH PLAIN";
    std::string const user64 = Base64Of("user"), pass64 = Base64Of("pa^ss");
    std::string const plain64 = protocol::PlainAnswer("user", "pa^ss"), longest(511, 'c'), too_long(512, 'c');
    auto const cram64 = [](std::string_view text) { return protocol::CramMd5Answer("user", "pa^ss", text); };
    Lines endless_said = {login};
    std::string endless = only_login + ask_user;
    for (int i = 0; i < protocol::login_prompt_limit; ++i) {
        endless += ask_user;
        endless_said.push_back(user64);
    }
    constexpr char const* no_login =
        "SMTP認証に失敗しました.\r\nサーバがLOGINに対応していない可能性があります。";
    AuthCase const cases[] = {
        {"CRAM-MD5", all + "334 " + Base64Of(longest) + "|235|221", 0, 0, {cram, cram64(longest)}, "正常"},
        {"CRAM-MD5 refused", all + "334 PDE+|535|221", -3, 2108, {cram, cram64("<1>")}, nullptr},
        {"challenge too long",
         all + "334 " + Base64Of(too_long) + "|221",
         -4,
         2109,
         {cram},
         "SMTP認証に失敗しました.\r\nサーバーから届いた認証用の文字列が長すぎます.\r\n(512 バイト、上限 511 "
         "バイト)"},
        {"no base64", all + "334 <1>|221", -4, 2109, {cram}, "SMTP認証に失敗しました.\r\n334 <1>\r\n"},
        {"no challenge", all + "334 |221", -4, 2109, {cram}, nullptr},
        {"code alone", all + "334|221", -4, 2109, {cram}, nullptr},
        {"LOGIN", only_login + ask_user + ask_pass + "235|221", 0, 0, {login, user64, pass64}, nullptr},
        {"LOGIN turned",
         only_login + ask_pass + ask_user + "235|221",
         0,
         0,
         {login, pass64, user64},
         nullptr},
        {"LOGIN refused", only_login + ask_user + "535|221", -3, 2108, {login, user64}, nullptr},
        {"LOGIN asks oddly", only_login + "334 SGVsbG8=|221", -4, 2109, {login}, no_login},
        {"LOGIN without end", endless + "221", -4, 2109, endless_said, no_login},
        {"PLAIN", only_plain + "334 |235|221", 0, 0, {plain, plain64}, nullptr},
        {"PLAIN refused", only_plain + "334 |334 x|221", -3, 2108, {plain, plain64}, nullptr},
        {"AUTH refused", only_plain + "504 no|221", -3, 2107, {plain}, nullptr},
        {"no authentication", "220|250 ok|221", -4, 2106, {}, nullptr},
        {"method in lower case", "220|250 AUTH plain|221", -4, 2107, {}, nullptr},
        {"EHLO refused", "220|502 no|221", -3, 2104, {}, nullptr},
        {"lost at AUTH", only_plain + "!", -2, 1, {plain}, nullptr},
        {"reset at the answer", only_login + ask_user + "!!", -2, 2327, {login, user64}, nullptr},
    };
    for (AuthCase const& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedServer server(c.script);
        Client client;
        Prepare(client, server.Port());
        client.SetSmtpAuth(1, 1, 1, 1);
        client.SetSmtpUserPass("user", "pa^ss");
        EXPECT_EQ(client.CheckSMTP(), c.result);
        EXPECT_EQ(client.GetErrMsg().GetLastCode(), c.code);
        if (c.text) {
            EXPECT_STREQ(client.GetErrMsg().GetLastMsg(), c.text);
        }
        Lines said = {ehlo};
        for (std::string const& line : c.said) said.push_back(line + "\r\n");
        if (c.result != MailSend::SendSocketFailure) said.push_back(quit);
        EXPECT_EQ(server.Received(), said);
        EXPECT_EQ(client.bIsConnected, 0);
        EXPECT_EQ(client.GetRecipient(), "to@example.com") << "the check leaves the mail alone";
    }
}

TEST_F(MailSendTest, CredentialsThatDoNotFitTheChosenMethodStopBeforeAuth) {
    ScriptedServer server("220|250 AUTH PLAIN|221");
    MailSend client;
    Prepare(client, server.Port());
    client.SetSmtpAuth(1, 1, 0, 1);
    client.SetSmtpUserPass(CString('u', 200), "password");
    EXPECT_EQ(client.Send(), MailSend::SendNoAuthentication);
    EXPECT_STREQ(client.GetErrMsg().GetLastMsg(),
                 "SMTP認証に失敗しました.\r\nユーザIDまたはパスワードが長すぎます.\r\n"
                 "[システム設定]に入力した内容を確認してください");
    EXPECT_EQ(server.Received(), (Lines{ehlo, quit}));
}

TEST_F(MailSendTest, CheckWithoutAuthenticationEndsAfterTheGreeting) {
    ScriptedServer server("220|221");
    MailSend client;
    Prepare(client, server.Port());
    client.SetSmtpHost("localhost", server.Port());
    EXPECT_EQ(client.CheckSMTP(), MailSend::CheckPassed);
    EXPECT_EQ(server.Received(), Lines{quit});
}

// As issued by carriers, against RFC 5321 4.1.2; and double-byte characters whose second bytes are no blanks.
TEST_F(MailSendTest, OddAddressesGoOut) {
    for (char const* address :
         {"a..b@example.jp", "a.@example.jp", ".a@example.jp", "\"a,b\"@example.jp", "表@x"}) {
        ScriptedServer server(whole);
        MailSend client;
        Prepare(client, server.Port());
        client.SetRecipient(address);
        client.SetSenderAddr(address);
        EXPECT_EQ(client.Send(), MailSend::SendAccepted) << address;
        EXPECT_EQ(server.Received().at(1), "MAIL FROM:<" + std::string(address) + ">\r\n");
        EXPECT_EQ(server.Received().at(2), "RCPT TO:<" + std::string(address) + ">\r\n");
    }
}

TEST_F(MailSendTest, EachMailHasItsConnectionByDefault) {
    ScriptedServer server(std::vector{test::Play(whole), test::Play(whole)});
    MailSend client;
    MailSend::SetXMailer("Tessaly\r\nBcc: b@example.jp\r\n 5");
    for (char const* part : {"Content-Type: text/plain\r\n\r\none", "Content-Type: text/plain\r\n\r\ntwo"}) {
        Prepare(client, server.Port());
        client.AddAttachFile(part);
        EXPECT_EQ(client.Send(), MailSend::SendAccepted);
        EXPECT_STREQ(client.GetErrMsg().GetLastMsg(), "正常");
    }
    ASSERT_EQ(server.Connections(), 2);
    std::string const second = server.Received().at(10);
    EXPECT_NE(second.find("\r\nX-Mailer: Tessaly  Bcc: b@example.jp\r\n 5\r\nContent-Type: multipart/mixed; "
                          "boundary=\"_MULTIPART_"),
              std::string::npos);
    EXPECT_NE(second.find("\r\n\r\none\r\n--_MULTIPART_"), std::string::npos) << "attachments stay";
    EXPECT_NE(second.find("\r\n\r\ntwo\r\n--_MULTIPART_"), std::string::npos);
    EXPECT_TRUE(second.ends_with("_MIXED_--\r\n.\r\n"));
}

TEST_F(MailSendTest, KeptConnectionGoesOnWithReset) {
    ScriptedServer server("220|250 AUTH PLAIN|334 |235|250|550 no|250|250|250|354|250|250|221");
    Client client;
    Prepare(client, server.Port());
    client.SetSmtpAuth(1, 0, 0, 1);
    client.SetSmtpUserPass("u", "p");
    client.SetContCountMax(3);
    EXPECT_EQ(client.Send(), MailSend::SendNotDelivered) << "a refused recipient keeps the connection";
    EXPECT_EQ(client.bIsConnected, 1);
    EXPECT_EQ(client.SetSmtpHost("other", 25), 0);
    EXPECT_EQ(client.GetErrMsg().GetLastCode(), smtp_already_connected);
    FillMail(client);
    EXPECT_EQ(client.Send(), MailSend::SendAccepted);
    EXPECT_EQ(client.bIsConnected, 1);
    EXPECT_EQ(client.CheckSMTP(), MailSend::CheckPassed) << "the third conversation ends the connection";
    EXPECT_EQ(client.bIsConnected, 0);
    Lines const mail = Said(5, false);
    EXPECT_EQ(server.Received(), (Lines{ehlo, "AUTH PLAIN\r\n", "dQB1AHA=\r\n", mail[1], mail[2], "RSET\r\n",
                                        mail[1], mail[2], mail[3], mail[4], "RSET\r\n", quit}));
}

TEST_F(MailSendTest, KeptConnectionEndsWithQuit) {
    std::string const first = "220|250|250|250|354|250";
    struct {
        std::string script;
        int second_result;  // 1: no second mail, the object ends
        int code;
        Lines behind_first;
    } const cases[] = {
        {first, 1, error_none, {quit}},
        {first + "|421 enough|221", -3, smtp_server_not_ready, {"RSET\r\n", quit}},
        {first + "|!", -2, error_unknown_code, {"RSET\r\n"}},
    };
    for (auto const& c : cases) {
        ScriptedServer server(c.script);
        {
            Client client;
            Prepare(client, server.Port());
            client.SetContCountMax(9);
            EXPECT_EQ(client.Send(), MailSend::SendAccepted);
            FillMail(client);
            if (c.second_result != 1) {
                EXPECT_EQ(client.Send(), c.second_result);
                EXPECT_EQ(client.bIsConnected, 0);
            }
            EXPECT_EQ(client.GetErrMsg().GetLastCode(), c.code);
        }
        Lines said = Said(5, false);
        said.insert(said.end(), c.behind_first.begin(), c.behind_first.end());
        EXPECT_EQ(server.Received(), said);
    }
}

TEST_F(MailSendTest, ConnectAndCommandsOfDerivedClasses) {
    ScriptedServer server("220|250");
    Client client;
    EXPECT_EQ(client.SendCommand("NOOP", 1), 0);
    EXPECT_EQ(client.GetErrMsg().GetLastCode(), socket_not_connected);
    EXPECT_EQ(client.Connect("", 25), 0);
    EXPECT_EQ(client.GetErrMsg().GetLastCode(), smtp_bad_host_or_port);
    EXPECT_EQ(client.Connect("127.0.0.1", server.Port()), 1);
    EXPECT_EQ(client.GetSmtpPort(), server.Port());
    client.GetErrMsg().Clear();
    EXPECT_EQ(client.Connect("elsewhere", 1), 1);
    EXPECT_EQ(client.GetErrMsg().GetLastCode(), smtp_already_connected);
    EXPECT_STREQ(client.GetSmtpHost(), "127.0.0.1");
    EXPECT_EQ(client.SendCommand("NOOP", 1), 1);
    client.Init();
    EXPECT_EQ(client.bIsConnected, 0);
    EXPECT_EQ(client.GetSmtpPort(), 25);
    EXPECT_EQ(server.Received(), Lines{"NOOP\r\n"});
}

TEST_F(MailSendTest, InitForgetsHowToAuthenticate) {
    ScriptedServer server({test::Play(whole), test::Play("220|250 AUTH CRAM-MD5 LOGIN PLAIN|221")});
    Client client;
    client.SetSmtpAuth(1, 1, 1, 1);
    client.Init();
    Prepare(client, server.Port());
    EXPECT_EQ(client.Send(), MailSend::SendAccepted);
    client.m_bSmtpAuth = 1;
    EXPECT_EQ(client.CheckSMTP(), MailSend::SendNoAuthentication);
    EXPECT_EQ(client.GetErrMsg().GetLastCode(), smtp_auth_method_not_supported) << "no method is allowed";
    Lines said = Said(5, true);
    said.insert(said.end(), {ehlo, quit});
    EXPECT_EQ(server.Received(), said);
}

TEST_F(MailSendTest, LogHoldsTheConversationLineByLine) {
    platform::FrozenClock const clock({1767193199, 0});
    ScriptedServer server("220 ready|250-a\r\n250 b|250 ok|550 no|221!");
    MailSend client;
    Prepare(client, server.Port());
    MailSend::SetXMailer("T");
    EXPECT_EQ(client.InitLog(), 1);
    client.WriteLogHeader("env", 3, -1, "to@example.com");
    client.WriteLogLine("｜C｜", "free text\r\n");
    EXPECT_EQ(client.Send(), MailSend::SendNotDelivered);
    char host[255] = {};
    platform::GetHostName(host, sizeof host);
    std::string expected = "2025/12/31\r\nEnvName:env\r\nMailID:3\r\nCustID:-1 to@example.com\r\n" +
                           std::string(79, '-') + "\r\nfree text\r\n";
    Lines const lines = {
        "｜L｜[Send] ProcStart T",
        "｜L｜[Send] Connect",
        "｜L｜[Connect] ProcStart paramhost:(null) paramport:-1 bIsConnected is Not TRUE",
        "｜L｜[Connect] CheckParam Start",
        "｜L｜[Connect] Create Start",
        "｜L｜[Connect] Connect Start Host:127.0.0.1 Port:" + std::to_string(server.Port()),
        "｜L｜[Send] localHostTemp:" + std::string(host) + " localHost:" + LocalName(),
        "｜L｜[Send] greeting wait",
        "｜R｜220 ready",
        "｜L｜[Send] m_bSmtpAuth is Not TRUE",
        "｜S｜HELO " + LocalName(),
        "｜R｜250-a\r\n250 b",
        "｜L｜[Send] mail start",
        "｜S｜MAIL FROM:<from@example.jp>",
        "｜R｜250 ok",
        "｜S｜RCPT TO:<to@example.com>",
        "｜R｜550 no",
        "｜S｜QUIT",
        "｜R｜",
        "｜R｜0",
    };
    for (std::string const& line : lines) expected += "23:59:59" + line + "\r\n";
    EXPECT_EQ(Log(), expected);
}

TEST_F(MailSendTest, LogOfACheckAndOfAFailureToConnect) {
    test::RefusingPort const refusing;
    MailSend client;
    Prepare(client, refusing.Port());
    client.Send();
    ScriptedServer server("220|250 AUTH CRAM-MD5|334 PDE+|235|221");
    Prepare(client, server.Port());
    client.SetSmtpAuth(1, 1, 0, 0);
    client.SetSmtpUserPass("user", "secret");
    EXPECT_EQ(client.CheckSMTP(), MailSend::CheckPassed);
    std::string const log = Log();
    std::size_t at = 0;
    for (char const* line : {"｜L｜[Connect] Connect Error\r\n", "｜L｜[CheckSMTP] ProcStart\r\n",
                             "｜L｜[CheckSMTP] localHostTemp:", "｜L｜[CheckSMTP] greeting wait\r\n",
                             "｜L｜[CheckSMTP] m_bSmtpAuth is TRUE\r\n", "｜S｜AUTH CRAM-MD5\r\n",
                             "｜L｜[CheckSMTP] auth CRAM_MD5\r\n", "｜R｜235\r\n", "｜S｜QUIT\r\n"}) {
        at = log.find(line, at);
        ASSERT_NE(at, std::string::npos) << line;
    }
}

}  // namespace
