#include "engine/mails/mail_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/mails/merged_mail.h"
#include "engine/sending/mailing.h"
#include "tessaly/mime.h"
#include "tessaly/text.h"
#include "tests/support/processor_time.h"

namespace {

CString In(std::string_view utf8) { return engine::Into(utf8, "test"); }

// The lines of a header line.
std::vector<std::string> LinesOf(CString const& header) {
    std::vector<std::string> lines;
    for (std::string_view rest = header.View(); !rest.empty();) {
        std::size_t const end = std::min(rest.find("\r\n"), rest.size());
        lines.emplace_back(rest.substr(0, end));
        EXPECT_TRUE(lines.back().size() <= 76 || lines.back().find("=?") == std::string::npos)
            << lines.back();
        rest.remove_prefix(std::min(end + 2, rest.size()));
    }
    return lines;
}

// What a mail program shows of a header text behind `name`, whose words all stand alone.
std::string Decoded(CString const& header, std::string_view name) {
    std::string result;
    std::vector<std::string> lines = LinesOf(header);
    EXPECT_TRUE(lines[0].starts_with(name)) << lines[0];
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::string const word = lines[i].substr(i == 0 ? name.size() : 1);
        if (word.empty() && i == 0) continue;
        EXPECT_LE(word.size(), 75U) << word;
        EXPECT_TRUE(word.starts_with("=?ISO-2022-JP?B?") && word.ends_with("?=")) << word;
        char* decoded = nullptr;
        MIMEBase64DecodeForJIS(&decoded, word.c_str());
        result += std::unique_ptr<char[]>(decoded).get();
    }
    return engine::Out(std::string_view(result));
}

TEST(MailText, HeadersHoldAnyTextInWordsThatDecodeByThemselves) {
    for (std::string_view const text : {"plain ASCII", "100% = 10\\10 ~", "?=="})
        EXPECT_EQ(engine::HeaderLine("Subject", In(text)), "Subject: " + In(text));
    for (std::string const& text :
         {std::string("=?ISO-2022-JP?B?GyRCJCIbKEI=?="), std::string(3000, 'a'), std::string("表\\示~ ソ "),
          std::string(" 両端の空白 "), std::string("①髙")})
        EXPECT_EQ(Decoded(engine::HeaderLine("Subject", engine::Mailable(In(text), true)), "Subject: "),
                  text);

    std::mt19937 random(7);
    char const* const pieces[] = {"a",  " ",  "~", "\\",     "?",  "=", "表",
                                  "ソ", "能", "①", "の案内", "=?", "<", "\""};
    for (int round = 0; round < 500; ++round) {
        std::string text = "件";
        for (auto left = random() % 120; left > 0; --left) text += pieces[random() % 14];
        std::string const name(1 + round % 80, 'N');
        ASSERT_EQ(Decoded(engine::HeaderLine(name.c_str(), In(text)), name + ": "), text);
    }
}

TEST(MailText, NamesInHeadersAreQuotedOrEncoded) {
    std::string full_lines;  // of words
    for (int i = 0; i < 34; ++i) full_lines += "店";
    struct Row {
        std::string_view name;
        std::string address;
        bool own_line;
    };
    std::string const at = "@example.jp", word = "To: =?ISO-2022-JP?B?GyRCST0bKEI=?=";
    Row const rows[] = {{"表", std::string(28, 'a') + at, false},
                        {"表", std::string(29, 'a') + at, true},
                        {"表", std::string(80, 'a') + at, true},
                        {full_lines, "a" + at, true}};
    for (Row const& row : rows) {
        CString const line = engine::HeaderLine("To", engine::Mailbox{In(row.name), row.address.c_str()});
        std::vector<std::string> const lines = LinesOf(line);
        EXPECT_EQ(lines.back() == " <" + row.address + ">", row.own_line) << line;
        EXPECT_EQ(lines[0].starts_with(word), row.name == "表") << line;
    }
    EXPECT_EQ(engine::HeaderLine("To", engine::Mailbox{"", "a@example.jp"}), "To: a@example.jp");
    EXPECT_EQ(engine::HeaderLine("To", engine::Mailbox{"A. \"B\" \\, <x@y>", "a@example.jp"}),
              R"(To: "A. \"B\" \\, <x@y>" <a@example.jp>)");
    EXPECT_EQ(engine::NameParameter("name", "a\"b.txt"), R"(name="a\"b.txt")");
    std::vector<std::string> const lines =
        LinesOf("\t " + engine::NameParameter("filename", In("みどり野の店の春のご案内の表の名前.txt")));
    EXPECT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].back(), '"');
}

TEST(MailText, WhatMailProgramsCannotReadIsMovedWidenedOrMarked) {
    // IBM's rows and NEC's hold the same characters; the codes differ, the characters do not.
    EXPECT_EQ(engine::Mailable("\xFB\xFC\xFA\xB1", true), "\xEE\xE0\xED\x95");
    EXPECT_EQ(engine::Mailable("\xFA\x54\xFA\x5B", true), "\x81\xCA\x81\xE6");
    EXPECT_EQ(engine::Out(engine::Mailable("\xF0\x40\xF9\xFC", true)), "〓〓");  // user-defined
    EXPECT_EQ(engine::Out(engine::Mailable(In("ｶﾞｷﾞｸﾞ①"), true)), "ガギグ①");
    EXPECT_EQ(engine::Mailable("a\x1B[2J\r\nb\tc\x7F\xFD\x81\x20\x81", true), "a [2J  b c??? ?");
    EXPECT_EQ(engine::Mailable("a\x01\r\nb\tc", false), "a \r\nb\tc");
    EXPECT_EQ(engine::Mailable("\x82\r\n\x82\n\x82<%\x82\x7F\x81\xFD\x82\xA0\x85\x40", false),
              "?\r\n?\n?<%????\x82\xA0\x81\xAC");
}

TEST(MailText, ACustomersValuesStayValues) {
    OneCustomer customer;
    customer.Email = "a@example.jp";
    customer.KanjiSei = In("表\r\nBcc: b@example.jp");
    customer.KanjiMei = In("ﾊﾅｺ\r\n\r\n.");
    customer.Address1 = In("一\n.\r\nQUIT\r二");
    engine::MailVersion const version{In("<%名前(姓)%>様"), In("<%市区町村%>\r\n終わり\r\n"), {}, nullptr};
    engine::MergedMail const text = engine::Merge(version, In("様\r\n"), customer);
    EXPECT_EQ(engine::Out(text.to_name), "表  Bcc: b@example.jp ハナコ    .様");
    EXPECT_EQ(engine::Out(text.subject), "表  Bcc: b@example.jp様");
    EXPECT_EQ(engine::Out(text.body), "一\r\n.\r\nQUIT\r\n二\r\n終わり\r\n");
}

// The limit is one of bytes in ISO-2022-JP, where each change between ASCII and kanji costs three more.
TEST(MailText, NoLineOfABodyIsTooLongForAServer) {
    std::string mixed;
    for (int i = 0; i < 1500; ++i) mixed += "aあ";
    std::string const rows[] = {std::string(5000, 'a'), mixed, mixed + "\r\n\r\n" + mixed + "\r\n",
                                "短い\r\n"};
    for (std::string const& row : rows) {
        CString const body = engine::Merge({"s", In(row), {}, nullptr}, "", OneCustomer()).body;
        std::string joined, wanted = engine::Out(In(row));
        KCodeC code;
        for (std::string_view rest = body.View(); !rest.empty();) {
            std::size_t const end = std::min(rest.find("\r\n"), rest.size());
            EXPECT_LE(std::string_view(code.sjtojis7(CString(rest.substr(0, end)), 0)).size(), 998U);
            joined += engine::Out(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 2, rest.size()));
        }
        for (std::size_t at; (at = wanted.find("\r\n")) != wanted.npos;) wanted.erase(at, 2);
        EXPECT_EQ(joined, wanted);
        EXPECT_TRUE(body == In(row) || row.size() > 998) << row;
    }
    EXPECT_TRUE(TakesLinearTime(
        4000000,
        [](int size) { return CString(std::string_view(std::string(static_cast<std::size_t>(size), 'a'))); },
        [](CString const& line) { engine::MailableBody(line); }));
}

// RFC 6068 2; what a mail program reads behind "mailto:" is the address again, and nothing more.
TEST(MailText, AnAddressInAnUnsubscribeLinkStaysAnAddress) {
    std::pair<char const*, char const*> const rows[] = {
        {"shop@example.jp", "shop@example.jp"},
        {"a..b.-_~!$'*+Z9@example.jp", "a..b.-_~!$'*+Z9@example.jp"},
        {"a%b&c=d;e?f#g/h@x.jp", "a%25b%26c%3Dd%3Be%3Ff%23g%2Fh@x.jp"},
        {"a^b`c{d|e}f@x.jp", "a%5Eb%60c%7Bd%7Ce%7Df@x.jp"},
        {"\"a@b, <c>\"@x.jp", "%22a%40b%2C%20%3Cc%3E%22@x.jp"},
    };
    for (auto const& [address, encoded] : rows) {
        CString const header = engine::HeaderTemplate({"", address}, {}).For({"", "to@example.jp"}, "s");
        std::string const wanted = "\r\nList-Unsubscribe: <mailto:" + std::string(encoded) +
                                   "?subject=unsubscribe&body=%3CREFUSE%3E>";
        EXPECT_TRUE(header.View().ends_with(wanted)) << wanted;
    }
}

}  // namespace
