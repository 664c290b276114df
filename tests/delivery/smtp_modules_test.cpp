#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "protocol/smtp_authentication.h"
#include "protocol/smtp_reply.h"
#include "tessaly/delivery/mail_send.h"
#include "tessaly/delivery/mail_stamps.h"
#include "tessaly/delivery/wire_text.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/protocol/mail_dots.h"

namespace {

TEST(SmtpReply, LastLineGivesCodeAndMark) {
    struct Case {
        char const* reply;
        int final;
    };
    constexpr Case cases[] = {
        {"250 ok\r\n", 250},
        {"250 ok", 250},
        {"250\r\n", 250},
        {"250\n", 250},
        {"250", 250},
        {"250 \r\n", 250},
        {"250-ok\r\n", -250},
        {"250-\r\n", -250},
        {"250-a\r\n250 b\r\n", 250},
        {"250 a\r\n250-b\r\n", -250},
        {"250 a\r\n\r\n", 0},
        {"250 a\r\n55\r\n", 0},
        {"2500 ok\r\n", 0},
        {"250\tok\r\n", 0},
        {"250\r\r\n", 250},
        {"25\r\n", 0},
        {"25 \r\n", 25},
        {"2x0 \r\n", 2},
        {"ok so\r\n", 0},
        {"-25 x\r\n", 0},
        {" 250 x\r\n", 0},
        {"あいう\r\n", 0},
        {"", 0},
        {"\n", 0},
        {"\r\n\r\n", 0},
        {nullptr, 0},
    };
    for (Case const& c : cases) {
        int final = 99;
        EXPECT_EQ(MailSend::GetResponseStatus(c.reply, &final), std::abs(c.final))
            << (c.reply ? c.reply : "null");
        EXPECT_EQ(final, c.final) << (c.reply ? c.reply : "null");
    }
    EXPECT_EQ(MailSend::GetResponseStatus("354-go\r\n", nullptr), 354);
}

TEST(SocketErrors, MeanDifferentThingsInDifferentCalls) {
    constexpr int cases[][5] = {
        {10014, 2309, 2310, 1, 1},
        {10022, 2311, 2313, 2313, 2312},
        {10055, 2317, 2318, 2318, 2318},
        {10060, 2320, 2320, 2320, 2320},
        {11001, 1, 1, 1, 1},
        {0, 1, 1, 1, 1},
    };
    for (auto const& c : cases)
        for (int call = MailSend::FunctionConnect; call <= MailSend::FunctionShutdown; ++call)
            EXPECT_EQ(MailSend::GetWSAErrMsg(c[0], MailSend::FunctionType(call)), c[call]) << c[0];
}

TEST(SmtpAuthentication, MethodIsTheFirstAllowedAndNamed) {
    using protocol::AuthMethod;
    constexpr char const* all = "250 AUTH PLAIN LOGIN CRAM-MD5\r\n";
    EXPECT_EQ(protocol::ChooseMethod(all, {true, true, true}), AuthMethod::cram_md5);
    EXPECT_EQ(protocol::ChooseMethod(all, {false, true, true}), AuthMethod::login);
    EXPECT_EQ(protocol::ChooseMethod(all, {false, false, true}), AuthMethod::plain);
    EXPECT_EQ(protocol::ChooseMethod(all, {}), std::nullopt);
    EXPECT_EQ(protocol::ChooseMethod("250 AUTH=LOGIN\r\n", {true, true, true}), AuthMethod::login);
    EXPECT_EQ(protocol::ChooseMethod("250 AUTH LOGIN\r\n", {true, false, true}), std::nullopt);
}

TEST(SmtpAuthentication, AnswersAreExact) {
    // The example of RFC 2195 2.
    EXPECT_EQ(
        protocol::CramMd5Answer("tim", "tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>"),
        "dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw");
    EXPECT_EQ(protocol::PlainAnswer("u", "p"), "dQB1AHA=");
    EXPECT_EQ(protocol::PlainAnswer("", ""), "AAA=");
    // "a\0b" as user and "\0" as password, from a^b and ^.
    EXPECT_EQ(protocol::PlainAnswer("a^b", "^"), platform::Base64Of(std::string("a\0b\0a\0b\0\0", 9)));
    // The second byte of "／" is that of "^".
    EXPECT_EQ(protocol::PlainAnswer("u", "／"), platform::Base64Of(std::string("u\0u\0", 4) + "／"));
    // A user name that ends inside a character does not hide the NUL behind it.
    EXPECT_EQ(protocol::PlainAnswer("\x81", "p"), platform::Base64Of(std::string("\x81\0\x81\0p", 5)));
    EXPECT_EQ(protocol::PromptKind("UserName:"), protocol::LoginPrompt::user);
    EXPECT_EQ(protocol::PromptKind("Password for username"), protocol::LoginPrompt::user);
    EXPECT_EQ(protocol::PromptKind("PASSWORD"), protocol::LoginPrompt::password);
    EXPECT_EQ(protocol::PromptKind("user name"), protocol::LoginPrompt::unknown);
    EXPECT_EQ(protocol::DecodeChallenge("PDE+\r\n"), "<1>");
    for (char const* damaged : {"", "\r\n", "A", "QUJ", "QU#D", "あ", "===="})
        EXPECT_EQ(protocol::DecodeChallenge(damaged), std::nullopt) << damaged;
}

TEST(SmtpAuthentication, LimitsOfTheBuffersAreExact) {
    using protocol::AuthMethod;
    auto text = [](std::size_t length) { return std::string(length, 'x'); };
    EXPECT_TRUE(protocol::CredentialsFit(AuthMethod::login, text(381), text(381)));
    EXPECT_FALSE(protocol::CredentialsFit(AuthMethod::login, text(382), ""));
    EXPECT_FALSE(protocol::CredentialsFit(AuthMethod::login, "", text(382)));
    EXPECT_TRUE(protocol::CredentialsFit(AuthMethod::cram_md5, text(348), text(5000)));
    EXPECT_FALSE(protocol::CredentialsFit(AuthMethod::cram_md5, text(349), ""));
    EXPECT_TRUE(protocol::CredentialsFit(AuthMethod::plain, text(100), text(179)));
    EXPECT_FALSE(protocol::CredentialsFit(AuthMethod::plain, text(100), text(180)));
    // The longest answers that fit need no more than the buffer with its NUL.
    EXPECT_LT(platform::Base64Of(text(381)).size(), protocol::auth_buffer_size);
    EXPECT_LT(protocol::PlainAnswer(text(100), text(179)).size(), protocol::auth_buffer_size);
    EXPECT_LT(protocol::CramMd5Answer(text(348), "p", "c").size(), protocol::auth_buffer_size);

    EXPECT_TRUE(protocol::CredentialsUsable({true, false, true}, text(300), text(300)));
    EXPECT_FALSE(protocol::CredentialsUsable({true, false, true}, text(349), ""));
    EXPECT_TRUE(protocol::CredentialsUsable({}, text(9999), ""));
}

TEST(WireText, IsExactByteForByte) {
    delivery::WireParts plain;
    plain.header = "From: a@example.jp\r\n";
    plain.body = "あ\r\nb";
    std::string const fixed = "Mime-Version: 1.0\r\nContent-Transfer-Encoding: 7bit\r\n";
    std::string const default_type = "Content-Type: text/plain; charset=ISO-2022-JP\r\n";
    EXPECT_EQ(
        delivery::MakeWireText(plain),
        ("From: a@example.jp\r\n" + default_type + fixed + "\r\n\x1b$B$\"\x1b(B\r\nb\r\n.\r\n").c_str());

    delivery::WireParts full = plain;
    full.message_id = "1.2@example.jp";
    full.mailer_name = "Tessaly 5";
    full.content_type = "text/html; charset=x";
    EXPECT_EQ(delivery::MakeWireText(full),
              ("From: a@example.jp\r\nMessage-Id: <1.2@example.jp>\r\nX-Mailer: Tessaly 5\r\n"
               "Content-Type: text/html; charset=x\r\n" +
               fixed + "\r\n\x1b$B$\"\x1b(B\r\nb\r\n.\r\n")
                  .c_str());

    CStringArray parts;
    parts.Add("Content-Type: image/png\r\n\r\nQUJD");
    parts.Add("X: y\r\n\r\n.dot");
    full.body = ".";
    full.boundary = "_B_";
    full.attachments = &parts;
    EXPECT_EQ(
        delivery::MakeWireText(full),
        ("From: a@example.jp\r\nMessage-Id: <1.2@example.jp>\r\nX-Mailer: Tessaly 5\r\n"
         "Content-Type: multipart/mixed; boundary=\"_B_\"\r\n" +
         fixed +
         "\r\n--_B_\r\nContent-Type: text/html; charset=x\r\nContent-Transfer-Encoding: 7bit\r\n\r\n..\r\n"
         "--_B_\r\nContent-Type: image/png\r\n\r\nQUJD\r\n--_B_\r\nX: y\r\n\r\n.dot\r\n--_B_--\r\n.\r\n")
            .c_str());
}

TEST(WireText, DotsAtLineStartsAreStuffed) {
    constexpr char const* cases[][2] = {
        {"", ""},
        {".", ".."},
        {"..", "..."},
        {"a.b", "a.b"},
        {"a\r\n.\r\nb", "a\r\n..\r\nb"},
        {"\r\n.\r\n.\r\n..x", "\r\n..\r\n..\r\n...x"},
        {".\r\n.", "..\r\n.."},
        {"a\r\n", "a\r\n"},
        // A lone CR or LF ends no line.
        {"a\n.\nb", "a\n.\nb"},
        {"a\r.\r", "a\r.\r"},
    };
    for (auto const& [text, stuffed] : cases) {
        CString out("x");
        protocol::AppendDotStuffed(out, text);
        EXPECT_EQ(out, "x" + CString(stuffed)) << text;
    }
}

TEST(MailSendHeader, LinesAreExact) {
    struct Case {
        char const *name, *value, *address, *line;
    };
    constexpr Case cases[] = {
        {"Subject", "plain", nullptr, "Subject: plain\r\n"},
        {"Subject", "あ", nullptr, "Subject: =?iso-2022-jp?B?GyRCJCIbKEI=?=\r\n"},
        {"Subject", nullptr, nullptr, "Subject: \r\n"},
        {"To", "Taro", "t@example.jp", "To: \"Taro\" <t@example.jp>\r\n"},
        {"To", "あ", "t@example.jp", "To: \"=?iso-2022-jp?B?GyRCJCIbKEI=?=\" <t@example.jp>\r\n"},
        {"To", "", "t@example.jp", "To: t@example.jp\r\n"},
        {"To", nullptr, "t@example.jp", "To: t@example.jp\r\n"},
        {"To", "", "", "To: \r\n"},
        {nullptr, "v", "a", ""},
        // Half-width kana become full-width.
        {"X", "ｱ", nullptr, "X: =?iso-2022-jp?B?GyRCJSIbKEI=?=\r\n"},
        // A fold stays, everything else that would add a line is removed.
        {"X", "a\r\n b\r\n\tc", nullptr, "X: a\r\n b\r\n\tc\r\n"},
        {"X", "a\r\nBcc: b\r\n", nullptr, "X: a  Bcc: b  \r\n"},
        {"X", "a\nb\rc", "d\r\ne", "X: \"a b c\" <d  e>\r\n"},
        {"X", "\n x", nullptr, "X:   x\r\n"},
        {"A\r\nB", "x", nullptr, "A  B: x\r\n"},
        // Half of a double-byte character does not hide a line end.
        {"X", "", "a\x81\nBcc: b", "X: a\x81 Bcc: b\r\n"},
        {"X", "", "a\x81\r\nBcc: b", "X: a\x81  Bcc: b\r\n"},
    };
    for (Case const& c : cases) {
        MailSend client;
        client.SetHeader("before");
        EXPECT_EQ(client.SetHeader(c.name, c.value, c.address), c.name ? 1 : 0);
        EXPECT_STREQ(client.GetHeader(), c.line);
    }
    MailSend client;
    client.SetHeader("A: 1");
    client.AddHeader("B: 2");
    client.AddHeader("C", "3", nullptr);
    EXPECT_STREQ(client.GetHeader(), "A: 1\r\nB: 2\r\nC: 3\r\n");
    client.SetContentType("text", "plain", nullptr);
    EXPECT_EQ(client.GetContentType(), "text/plain");
    client.SetContentType("text", "html", "; charset=x");
    EXPECT_EQ(client.GetContentType(), "text/html; charset=x");
    EXPECT_EQ(MailSend::EncodeFileName("a.txt"), "a.txt");
}

TEST(WireText, NoBodyHoldsTheEndOfTheMail) {
    for (char const* body :
         {"\r\n.\r\nRSET", "\x81\r\n.\r\nRSET", "\x81\n.\r\nRSET", "\x81)\x87\x9E.\r\n.", ".\r\n", "\r\n."}) {
        delivery::WireParts parts;
        parts.header = "A: b\r\n";
        parts.body = body;
        CString const wire = delivery::MakeWireText(parts);
        ASSERT_TRUE(wire.View().ends_with("\r\n.\r\n"));
        std::string_view const inside = wire.View().substr(0, wire.View().size() - 5);
        EXPECT_EQ(inside.find("\r\n.\r\n"), std::string_view::npos) << body;
    }
}

class MailStamps : public testing::Test {
  protected:
    void SetUp() override { UseZone("Asia/Tokyo"); }
    void TearDown() override { UseZone("UTC0"); }
    static void UseZone(char const* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

TEST_F(MailStamps, MessageIdCountsWithinOneMillisecond) {
    platform::FrozenClock clock({1767193199, 7});  // 2025-12-31 14:59:59 UTC
    EXPECT_EQ(MailSend::MakeMessageID("example.jp", 42), "20251231145959007.00000.42.example.jp");
    EXPECT_EQ(MailSend::MakeMessageID("example.jp", -1), "20251231145959007.00001.-1.example.jp");
    clock.Set({1767193199, 8});
    EXPECT_EQ(MailSend::MakeMessageID(nullptr, 0), "20251231145959008.00000.0.");
    for (int i = 1; i < 99999; ++i) MailSend::MakeMessageID("", 0);
    EXPECT_EQ(MailSend::MakeMessageID("", 0), "20251231145959008.99999.0.");
    EXPECT_EQ(MailSend::MakeMessageID("", 0), "20251231145959008.00000.0.");
}

TEST_F(MailStamps, MessageIdsOfManyThreadsDiffer) {
    constexpr int threads = 4, each = 2000;
    std::vector<std::string> ids(threads * each);
    std::vector<std::thread> makers;
    for (int t = 0; t < threads; ++t)
        makers.emplace_back([&ids, t] {
            for (int i = 0; i < each; ++i)
                ids[static_cast<std::size_t>(t * each + i)] = MailSend::MakeMessageID("", 0).View();
        });
    for (std::thread& maker : makers) maker.join();
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::adjacent_find(ids.begin(), ids.end()), ids.end());
}

TEST_F(MailStamps, DateFollowsTheZone) {
    platform::FrozenClock const clock({1767225599, 0});  // 2025-12-31 23:59:59 UTC
    EXPECT_EQ(MailSend::MakeSmtpDateNow(""), "Thu, 01 Jan 2026 08:59:59 +0900");
    EXPECT_EQ(MailSend::MakeSmtpDateNow(nullptr), "Thu, 01 Jan 2026 08:59:59 +0900");
    EXPECT_EQ(MailSend::MakeSmtpDateNow("-500"), "Thu, 01 Jan 2026 08:59:59 -0500");
    EXPECT_EQ(MailSend::MakeSmtpDateNow("+0030"), "Thu, 01 Jan 2026 08:59:59 +0030");
    EXPECT_EQ(MailSend::MakeSmtpDateNow("99999999999999999999"), "Thu, 01 Jan 2026 08:59:59 +9999");
    UseZone("NST3:30");
    EXPECT_EQ(MailSend::MakeSmtpDateNow(""), "Wed, 31 Dec 2025 20:29:59 -0330");
}

TEST_F(MailStamps, SummerTimeIsPartOfTheZone) {
    UseZone("EST5EDT,M3.2.0,M11.1.0");
    platform::FrozenClock clock({1751328000, 0});  // 2025-07-01 00:00:00 UTC
    EXPECT_EQ(MailSend::MakeSmtpDateNow(""), "Mon, 30 Jun 2025 20:00:00 -0400");
}

TEST_F(MailStamps, BoundaryHasItsForm) {
    platform::FrozenClock const clock({1767193199, 7});
    std::string const boundary(delivery::NewBoundary().View());
    std::string const start = "_MULTIPART_20251231235959007_", end = "_MIXED_";
    ASSERT_EQ(boundary.size(), start.size() + 4 + end.size());
    EXPECT_EQ(boundary.substr(0, start.size()), start);
    EXPECT_EQ(boundary.substr(boundary.size() - end.size()), end);
    // The characters of a boundary without a blank (RFC 2046 5.1.1).
    EXPECT_EQ(boundary.find_first_not_of(
                  "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'()+_,-./:=?"),
              std::string::npos);
}

}  // namespace
