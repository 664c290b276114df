#include "postbox/smtp_session.h"

#include <gtest/gtest.h>

#include "tessaly/platform/base64_codec.h"

namespace {

using postbox::SmtpSession;

class SmtpSessionTest : public testing::Test {
  protected:
    struct Exchange {
        std::string line, reply;  // the start of it
    };
    // Plays the lines and expects the replies.
    void Play(std::vector<Exchange> const& exchanges) { Play(session_, exchanges); }
    static void Play(SmtpSession& session, std::vector<Exchange> const& exchanges) {
        for (Exchange const& exchange : exchanges) {
            std::string const reply = session.Line(exchange.line);
            EXPECT_TRUE(reply.starts_with(exchange.reply) && reply.empty() == exchange.reply.empty())
                << exchange.line << "\n-> " << reply;
        }
    }

    postbox::PostboxRules rules_;
    std::vector<std::string> mails_;
    bool disk_full_ = false;
    SmtpSession session_{rules_,
                         [this](std::string_view mail) {
                             if (!disk_full_) mails_.emplace_back(mail);
                             return !disk_full_;
                         },
                         "<1896.697170952@postoffice.reston.mci.net>"};
};

TEST_F(SmtpSessionTest, CommandsKeepTheirOrder) {
    EXPECT_TRUE(session_.Greeting().starts_with("220 "));
    Play({{"MAIL FROM:<a@x.jp>", "503"},
          {"AUTH PLAIN AGEAYg==", "503"},
          {"EHLO", "501"},
          {"EHLO client",
           "250-localhost\r\n250-AUTH CRAM-MD5 LOGIN PLAIN\r\n250-SIZE 52428800\r\n250 8BITMIME\r\n"},
          {"RCPT TO:<b@x.jp>", "503"},
          {"DATA", "503"},
          {"MAIL a@x.jp", "501"},
          {"MAIL FROM: a@x.jp", "501"},
          {"MAIL FROM:<a@x.jp> BODY=7BIT size=52428801", "552"},
          {"MAIL FROM:<a@x.jp> SIZE=99999999999999999999999", "552"},
          {"mail from: <> SIZE=52428800 BODY=8BITMIME", "250"},
          {"MAIL FROM:<a@x.jp>", "503"},
          {"DATA", "503"},
          {"RCPT TO:<>", "501"},
          {"RCPT TO:<b@x.jp", "501"},
          {"rcpt to:<b@x.jp>", "250"},
          {"RSET", "250"},
          {"DATA", "503"},
          {"VRFY b", "252"},
          {"NOOP", "250"},
          {"", "500"},
          {"DATAX", "500"},
          {"HELO client", "250 localhost\r\n"},
          {"QUIT", "221"}});
    EXPECT_TRUE(session_.Ended());
    EXPECT_TRUE(mails_.empty());
}

TEST_F(SmtpSessionTest, AMailIsStoredAsItCame) {
    Play({{"EHLO c", "250"},
          {"MAIL FROM:<a@x.jp>", "250"},
          {"RCPT TO:<b@x.jp>", "250"},
          {"RCPT TO:<c@x.jp>", "250"},
          {"DATA", "354"},
          {"Subject: x", ""},
          {"", ""},
          {"..", ""},
          {"..QUIT", ""},
          {"QUIT", ""},
          {". ", ""},
          {".", "250"}});
    ASSERT_EQ(mails_.size(), 1U);
    EXPECT_EQ(mails_[0],
              "Return-Path: <a@x.jp>\r\nDelivered-To: b@x.jp\r\nDelivered-To: c@x.jp\r\n"
              "Subject: x\r\n\r\n.\r\n.QUIT\r\nQUIT\r\n \r\n");
    // The next mail on the same connection, and one that cannot be stored, begin with nothing of the last
    // one.
    disk_full_ = true;
    Play({{"DATA", "503"},
          {"MAIL FROM:<a@x.jp>", "250"},
          {"RCPT TO:<d@x.jp>", "250"},
          {"DATA", "354"},
          {".", "452"}});
    disk_full_ = false;
    Play({{"MAIL FROM:<a@x.jp>", "250"}, {"RCPT TO:<e@x.jp>", "250"}, {"DATA", "354"}, {".", "250"}});
    EXPECT_EQ(mails_.back(), "Return-Path: <a@x.jp>\r\nDelivered-To: e@x.jp\r\n");
}

TEST_F(SmtpSessionTest, LimitsHoldAndTheConversationGoesOn) {
    Play({{"EHLO c", "250"}, {"MAIL FROM:<a@x.jp>", "250"}});
    for (std::size_t i = 0; i < SmtpSession::most_recipients; ++i) Play({{"RCPT TO:<b@x.jp>", "250"}});
    Play({{"RCPT TO:<b@x.jp>", "452"}, {"DATA", "354"}});
    std::string const line(1 << 20, 'x');
    for (int i = 0; i < 51; ++i) Play({{line, ""}});
    Play({{".", "552"}, {"MAIL FROM:<a@x.jp>", "250"}});
    EXPECT_TRUE(mails_.empty());
}

TEST_F(SmtpSessionTest, RecipientsThatMatchAPatternAreRefused) {
    struct Row {
        std::string_view pattern, text;
        bool matches;
    };
    Row const rows[] = {
        {"b@x.jp", "B@X.jp", true},
        {"*@x.jp", "b@x.jp", true},
        {"*@x.jp", "b@x.jpn", false},
        {"*", "", true},
        {"?@x.jp", "bb@x.jp", false},
        {"b*", "b", true},
        {"", "b", false},
        {"", "", true},
        {"*b*b*", "abab", true},
        {"*.??@*", "a.001@x", false},
        {"*.00?@*", "a.001@x", true},
        {"a**", "a", true},
        {"*a*a*a*a*a*a*a*a*a*c", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaab", false},
    };
    for (Row const& row : rows)
        EXPECT_EQ(postbox::Matches(row.pattern, row.text), row.matches) << row.pattern << " " << row.text;
    rules_.refuse = {"*@bad.jp", "c@*"};
    Play({{"EHLO c", "250"},
          {"MAIL FROM:<a@x.jp>", "250"},
          {"RCPT TO:<b@bad.jp>", "550 5.1.1 <b@bad.jp>"},
          {"RCPT TO:<C@x.jp>", "550"},
          {"DATA", "503"},
          {"RCPT TO:<b@x.jp>", "250"}});
}

TEST_F(SmtpSessionTest, ThreeWaysToAuthenticate) {
    rules_.user = "tim";
    rules_.password = "tanstaaftanstaaf";
    std::string const prompt = "334 PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+\r\n";
    std::string const right = "dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw";  // RFC 2195 2
    std::string const plain = platform::Base64Of(std::string("\0tim\0tanstaaftanstaaf", 21));
    struct Row {
        std::vector<Exchange> exchanges;
        bool admitted;
    };
    Row const rows[] = {
        {{{"AUTH CRAM-MD5", prompt}, {right, "235"}}, true},
        {{{"auth cram-md5", prompt}, {right, "235"}}, true},
        {{{"AUTH CRAM-MD5", prompt}, {platform::Base64Of("tim b913a602c7eda7a495b4e6e7334d3891"), "535"}},
         false},
        {{{"AUTH CRAM-MD5", prompt}, {platform::Base64Of("b913a602c7eda7a495b4e6e7334d3890"), "535"}}, false},
        {{{"AUTH CRAM-MD5", prompt}, {"*", "501"}}, false},
        {{{"AUTH LOGIN", "334 VXNlcm5hbWU6\r\n"},
          {platform::Base64Of("tim"), "334 UGFzc3dvcmQ6\r\n"},
          {platform::Base64Of("tanstaaftanstaaf"), "235"}},
         true},
        {{{"AUTH LOGIN", "334"}, {platform::Base64Of("tim"), "334"}, {"", "535"}}, false},
        {{{"AUTH LOGIN", "334"}, {"!!!!", "535"}, {platform::Base64Of("x"), "500"}}, false},
        {{{"AUTH PLAIN " + plain, "235"}}, true},
        {{{"AUTH PLAIN", "334 \r\n"}, {plain, "235"}}, true},
        {{{"AUTH PLAIN " + platform::Base64Of("tim"), "535"}}, false},
        {{{"AUTH PLAIN " + platform::Base64Of(std::string("\0tim", 4)), "535"}}, false},
        {{{"AUTH PLAIN =", "535"}}, false},
        {{{"AUTH", "504"}}, false},
        {{{"AUTH GSSAPI", "504"}}, false},
    };
    for (Row const& row : rows) {
        SmtpSession fresh(
            rules_, [](std::string_view) { return true; }, "<1896.697170952@postoffice.reston.mci.net>");
        Play(fresh, {{"EHLO c", "250"}, {"MAIL FROM:<a@x.jp>", "530"}});
        Play(fresh, row.exchanges);
        Play(fresh, {{"MAIL FROM:<a@x.jp>", row.admitted ? "250" : "530"}});
        if (row.admitted) Play(fresh, {{"RSET", "250"}, {"AUTH PLAIN " + plain, "503"}});
    }
}

}  // namespace
