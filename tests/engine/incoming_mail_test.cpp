#include "engine/incoming/incoming_mail.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "engine/base/crossing.h"
#include "tessaly/delivery.h"
#include "tests/support/processor_time.h"

namespace {

using engine::IncomingMail;

// The parts, each as "message:type=content", a file's with its name and size.
std::string PartsOf(IncomingMail const& mail) {
    std::string text;
    for (engine::IncomingPart const& part : mail.Parts()) {
        text += (text.empty() ? "" : "|") + std::to_string(part.message) + ":" + part.type;
        if (part.attached) text += "*";
        if (!part.name.empty()) text += " " + part.name + " " + std::to_string(part.size);
        text += "=" + part.content;
    }
    return text;
}

// The messages behind the mail itself, each as "parent:subject".
std::string MessagesOf(IncomingMail const& mail) {
    std::string text;
    for (std::size_t i = 1; i < mail.Messages().size(); ++i)
        text += (i == 1 ? "" : "|") + std::to_string(mail.Messages()[i].parent) + ":" +
                mail.Messages()[i].Decoded("Subject");
    return text;
}

void Analyse(IncomingMail const& mail, MailAnalyzer& analyzer) {
    EXPECT_EQ(analyzer.MailAnalysis(mail.ForAnalysis()), 0) << "not well-formed";
}

std::string Replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

// Every byte in quoted-printable.
std::string Quoted(std::string_view bytes) {
    std::string text;
    for (char const c : bytes) {
        char hex[4];
        std::snprintf(hex, sizeof hex, "=%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        text += hex;
    }
    return text;
}

// A bounce with its report and the mail that it returns.
std::string const bounce =
    "From: MAILER-DAEMON@mx.example.jp\nSubject: failure\nMIME-Version: 1.0\n"
    "Content-Type: multipart/report; report-type=delivery-status; boundary=\"b\"\n\n"
    "--b\nContent-Type: text/plain\n\nSorry.\n"
    "--b\nContent-Type: message/delivery-status\n\nStatus: 5.1.1\n"
    "--b\nContent-Type: message/rfc822\n\nSubject: x\nMessage-ID: <id@shop>\n\ny\n--b--\n";

TEST(IncomingMail, BrokenStructuresAreReadAsTheyWereMeant) {
    std::string const report = "0:text/plain=Sorry.|0:message/delivery-status=Status: 5.1.1|1:text/plain=y";
    std::string const header = "From: MAILER-DAEMON@mx\nSubject: failure\n";
    std::string const returned_header = "Subject: x\nMessage-ID: <id@shop>\n";
    struct Row {
        char const* what;
        std::string mail, parts, messages;
    };
    Row const rows[] = {
        {"well-formed", bounce, report, "0:x"},
        {"no closing delimiter", Replaced(bounce, "--b--\n", ""), report + "\n", "0:x"},
        {"blanks behind delimiters", Replaced(Replaced(bounce, "--b\n", "--b \t\n"), "--b--", "--b--  "),
         report, "0:x"},
        {"folded boundary", Replaced(bounce, "; boundary", ";\n\tboundary"), report, "0:x"},
        {"blank lines before the header", "\n \n" + Replaced(bounce, "rfc822\n\n", "rfc822\n\n\n\n"), report,
         "0:x"},
        {"CR LF", Replaced(bounce, "\n", "\r\n"), report, "0:x"},
        {"CR", Replaced(bounce, "\n", "\r"), report, "0:x"},
        {"CR CR LF", Replaced(bounce, "\n", "\r\r\n"), report, "0:x"},
        {"mixed line ends", Replaced(Replaced(bounce, "--b\n", "--b\r\n"), "Sorry.\n", "Sorry.\r"), report,
         "0:x"},
        {"byte order mark", "\xEF\xBB\xBF" + bounce, report, "0:x"},
        {"a line of mbox", "From x Mon Nov 23 10:00:00 2026\n" + bounce, report, "0:x"},
        {"a quoted line of mbox",
         ">From x Mon Nov 23 10:00:00 2026\n" + Replaced(bounce, "rfc822\n\n", "rfc822\n\n>From x\n"), report,
         "0:x"},
        {"message/global", Replaced(bounce, "message/rfc822", "message/global"), report, "0:x"},
        {"message/partial", Replaced(bounce, "message/rfc822", "message/partial; number=1; total=2; id=i"),
         report, "0:x"},
        {"returned in Base64",
         Replaced(bounce, "rfc822\n\nSubject: x\nMessage-ID: <id@shop>\n\ny",
                  "rfc822\nContent-Transfer-Encoding: "
                  "base64\n\nU3ViamVjdDogeApNZXNz\nYWdlLUlEOiA8aWRAc2hvcD4KCnk="),
         report, "0:x"},
        {"said to be in Base64", Replaced(bounce, "rfc822\n", "rfc822\nContent-Transfer-Encoding: base64\n"),
         report, "0:x"},
        {"returned in quoted-printable",
         Replaced(
             bounce, "rfc822\n\nSubject: x\nMessage-ID: <id@shop>",
             "rfc822\nContent-Transfer-Encoding: quoted-printable\n\nSubject: =78\nMessage-ID: <id=\n@shop>"),
         report, "0:x"},
        {"wrong boundary", Replaced(bounce, "boundary=\"b\"", "boundary=\"a\""), report, "0:x"},
        {"no boundary", Replaced(bounce, "; boundary=\"b\"", ""), report, "0:x"},
        {"no blank line behind fields",
         Replaced(bounce, "message/delivery-status\n\n", "message/delivery-status\n"),
         report.substr(0, report.find("=Status")) + "=|1:text/plain=y", "0:x"},
        {"a line among the fields that is none",
         Replaced(bounce, "Subject: failure\n", "Subject: failure\nnotice\n"), report, "0:x"},
        {"a part without an empty line", Replaced(bounce, "Content-Type: text/plain\n\nSorry.", "Sorry."),
         report, "0:x"},
        {"a line of blanks behind the header", Replaced(bounce, "id@shop>\n\n", "id@shop>\n \t\n"), report,
         "0:x"},
        {"header alone", Replaced(Replaced(bounce, "message/rfc822", "text/rfc822-headers"), "\n\ny\n", "\n"),
         report.substr(0, report.rfind('|')), "0:x"},
        {"header alone in Base64",
         header + "Content-Type: text/rfc822-headers\nContent-Transfer-Encoding: base64\n\nU3ViamVjdDogeAo=",
         "", "0:x"},
        {"errors of quoted-printable",
         header + "Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: "
                  "Quoted-Printable\n\na=  \nb=ZZ=E6=98=A5=3\nc=",
         "0:text/plain=ab=ZZ春=3\nc", ""},
        {"errors of Base64", header + "Content-Transfer-Encoding: BASE64 \n\n 5p*il\n!5pil",
         "0:text/plain=春春", ""},
        {"digest",
         header +
             "Content-Type: multipart/digest; boundary=b\n\n--b\n\nSubject: x\n\ny\n--b\n\nSubject: z\n\ny\n",
         "1:text/plain=y|2:text/plain=y\n", "0:x|0:z"},
        {"an outer delimiter ends inner parts",
         header + "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: multipart/mixed; "
                  "boundary=bb\n\n--bb\n\n1\n--b\n\n2\n--b--\n3",
         "0:text/plain=1|0:text/plain=2", ""},
        {"no header", "hello\n", "0:text/plain=hello\n", ""},
        {"nothing", "", "0:text/plain=", ""},
        {"files",
         header + "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: image/png; "
                  "name=\"=?utf-8?B?5pil?=.png\"\nContent-Transfer-Encoding: "
                  "base64\n\nQUJD\n--b\nContent-Disposition: attachment; filename*=utf-8''%E6%98%A5.txt\n\nz",
         "0:image/png 春.png 3=ABC|0:text/plain* 春.txt 1=z", ""},
    };
    for (Row const& row : rows) {
        IncomingMail const mail(row.mail);
        EXPECT_EQ(PartsOf(mail), row.parts) << row.what;
        EXPECT_EQ(MessagesOf(mail), row.messages) << row.what;
        EXPECT_TRUE(mail.Whole()) << row.what;
        MailAnalyzer analyzer;
        Analyse(mail, analyzer);
        if (row.parts.starts_with("0:text/plain=Sorry.") && row.parts.find("5.1.1") != row.parts.npos) {
            EXPECT_EQ(analyzer.GetMailType(), MailAnalyzer::error_mail) << row.what;
            EXPECT_EQ(engine::Out(analyzer.GetOriginalMessageID()), "id@shop") << row.what;
            EXPECT_EQ(engine::Out(analyzer.GetDeliveryReport().status), "5.1.1") << row.what;
        }
    }
}

TEST(IncomingMail, TextsOfEveryCharsetAreRead) {
    using namespace std::string_literals;
    struct Row {
        char const* charset;  // null: none is given
        std::string body, text;
        std::string analysed = "";  // "": the same as the text
    };
    Row const rows[] = {
        {"utf-8", "春💐の案内", "春💐の案内", "春〓の案内"},
        {"\"UTF8\"", "\xEF\xBB\xBF春か\u3099 é한글ア", "春か\u3099 é한글ア", "春が 〓〓〓ア"},
        {"utf-8", "春\xE6\x98 夏\0秋"s, "春\uFFFD 夏\0秋"s, "春〓 夏 秋"},
        {"iso-2022-jp", "\x1B$B=U\x1B(B a\n", "春 a\n"},
        {"ISO-2022-JP", "\x1B$B-!=U|b\x1B(I1\x1B(J\\\x1B(B",
         "①春髙ｱ\\"},  // rows of NEC and IBM, half-width kana
        {"iso-2022-jp",
         "\x1B$B=U\na\x0E"
         "1\x0F",
         "春\naｱ"},  // left open at the end of the line
        {"iso-2022-jp-1", "\x1B$B=U\x1B$(D0!\x1B(B.", "春丂.", "春〓."},
        {"iso-2022-jp-2", "\x1B$A4:\x1B$(C0!\x1B.A\x1BNi\x1B(B.", "春가é.", "春〓〓."},
        {"iso-2022-jp-3", "\x1B$(O=U.#\x1B$(P!\"\x1B(B.", "春㐂丂.", "春〓〓."},
        {"iso-2022-jp-ms", "\x1B$B=U=\x1B(B.", "春\uFFFD.", "春〓."},
        {"iso-2022-jp", "\x1B$B=U\x1B(B\xB1", "春ｱ"},  // kana in eight bits
        {nullptr, "\x1B$B=U\x1B(B\xB1", "春ｱ"},
        {"iso-2022-jp", "\x8Ft", "春"},          // Shift_JIS in truth
        {"iso-8859-1", "\x1B$B=U\x1B(B", "春"},  // ISO-2022-JP in truth
        {"iso-8859-1", "春", "春"},              // UTF-8 in truth
        {"us-ascii", "\x8Ft", "春"},
        {"Shift_JIS", "\x8Ft\x87@\xED\x40\xF0\x40", "春①纊\uE000"},
        {"windows-31j", "\x8Ft\x8F", "春\uFFFD", "春〓"},
        {"x-sjis", "春💐", "春💐", "春〓"},  // UTF-8 in truth
        {"EUC-JP", "\xBD\xD5\xAD\xA1\x8E\xB1\x8F\xB0\xA1", "春①ｱ丂", "春①ｱ〓"},
        {"euc-jp", "\xBD\xD5\xFF.", "春\uFFFD.", "春〓."},
        {"iso-8859-1", "caf\xE9 \x80\x93", "café €“", "caf〓 〓“"},
        {"iso-8859-15", "\xA4.", "€.", "〓."},
        {"windows-1251", "\xCF\xF0.", "Пр."},
        {"koi8-r", "\xF0\xD2.", "Пр."},
        {"gb2312", "\xB4\xBA", "春"},
        {"big5", "\xAC\x4B", "春"},
        {"ks_c_5601-1987", "\xB0\xA1.", "가.", "〓."},
        {"utf-16", "\xFE\xFF\x66\x25\0a\xD8\x3D\xDC\x90"s, "春a💐", "春a〓"},
        {"utf-16",
         "\x25\x66"
         "a\0\n\0"s,
         "春a\n"},
        {"utf-16be", "\x66\x25\0a"s, "春a"},
        {"utf-7", "+ZiU-a", "春a"},
        {"x-own", "春", "春"},
        {"../x//TRANSLIT", "\x8Ft", "春"},
        {nullptr, "春💐", "春💐", "春〓"},
        {nullptr, "\x1B$B=U\x1B(B", "春"},
        {nullptr, "\x8Ft\x82\xCC", "春の"},
        {nullptr, "\xBD\xD5\xA4\xCE", "春の"},
        {nullptr, "\xB1\xB2", "ｱｲ"},
    };
    for (Row const& row : rows) {
        std::string const type =
            row.charset ? "Content-Type: text/plain; charset="s + row.charset + "\n" : std::string();
        IncomingMail const mail("Subject: x\n" + type + "Content-Transfer-Encoding: quoted-printable\n\n" +
                                Quoted(row.body));
        EXPECT_EQ(PartsOf(mail), "0:text/plain=" + row.text) << type;
        MailAnalyzer analyzer;
        Analyse(mail, analyzer);
        EXPECT_EQ(Replaced(engine::Out(analyzer.GetDecodeMailBody()), "\r\n", "\n"),
                  row.analysed.empty() ? row.text : row.analysed)
            << type;
    }
}

// Where the mail as it came would be of another class than the well-formed one, the latter counts.
TEST(IncomingMail, TheClassIsThatOfTheWellFormedMail) {
    constexpr int undecodable = -1;  // as an ordinary mail
    std::string const utf16 =
        "Content-Type: text/plain; charset=utf-16le\nContent-Transfer-Encoding: base64\n\n";
    struct Row {
        char const* what;
        std::string mail;
        int as_it_came, type;
    };
    Row const rows[] = {
        {"a report without its end", Replaced(bounce, "--b--\n", ""), undecodable, MailAnalyzer::error_mail},
        {"a refusal in CR CR LF", "From: a@b.jp\r\r\nSubject: x\r\r\n\r\r\n<REFUSE>", MailAnalyzer::ordinary,
         MailAnalyzer::refuse},
        {"a sender in raw JIS with a bracket", "From: \x1B$B%(\x1B(B <MAILER-DAEMON@mx>\nSubject: x\n\nx",
         MailAnalyzer::ordinary, MailAnalyzer::error_mail},
        {"a subject of words", "From: a@b.jp\nSubject: =?utf-8?B?UmV0dXJuZWQgbWFpbA==?=\n\nx",
         MailAnalyzer::ordinary, MailAnalyzer::error_mail},
        {"a refusal in UTF-16", "From: a@b.jp\n" + utf16 + "PABSAEUARgBVAFMARQA+AA==", MailAnalyzer::ordinary,
         MailAnalyzer::refuse},
        {"a refusal in quoted-printable with an error",
         "From: a@b.jp\nContent-Type: text/plain\n"
         "Content-Transfer-Encoding: quoted-printable\n\n= \n<REFU=  \nSE>",
         MailAnalyzer::ordinary, MailAnalyzer::refuse},
        {"a receipt without a blank line",
         "From: a@b.jp\nContent-Type: multipart/report; report-type=disposition-notification;"
         "\n boundary=b\n--b\nContent-Type: text/plain\n\nread\n--b--\n",
         undecodable, MailAnalyzer::disposition_notification},
        {"a refusal behind a NUL", std::string("From: a@b.jp\nX: \0\nSubject: x\n\n<REFUSE>", 38),
         MailAnalyzer::ordinary, MailAnalyzer::refuse},
    };
    for (Row const& row : rows) {
        MailAnalyzer plain, analyzer;
        plain.MailAnalysis(CString(std::string_view(row.mail)));
        EXPECT_EQ(std::max(plain.GetMailType(), undecodable), row.as_it_came) << row.what;
        Analyse(IncomingMail(row.mail), analyzer);
        EXPECT_EQ(analyzer.GetMailType(), row.type) << row.what;
    }
}

std::string Repeated(std::string_view text, int size) {
    std::string repeated;
    while (repeated.size() < static_cast<std::size_t>(size)) repeated += text;
    return repeated;
}

TEST(IncomingMail, HostileMailsTakeLinearTimeAndKeepTheLimits) {
    std::string const parts = "Content-Type: multipart/mixed; boundary=b\n\n";
    struct Row {
        std::string start, repeated, end;
        bool whole;
    };
    Row const rows[] = {
        {parts, "--b\n\nx\n", "", false},
        {parts, "--b\nContent-Type: multipart/mixed\n\n--\n\n", "", false},
        {"", "Content-Type: multipart/mixed; boundary=b\n\n--b\n", "", false},
        {"", "Content-Type: message/rfc822\n\n", "", false},
        {"", "A: b\n", "\nx", false},
        {"Subject: ", "=?utf-8?B?5pil?= ", "\n\nx", false},
        {"Subject: x\n", "no field\n", "", true},
        {"Subject: x\n", " folded\n", "\nx", false},
        {"From: ", "a <a@b>, ", "\n\nx", false},
        {"Content-Type: multipart/mixed; ", "a=\"b\"; ", "\n\nx", false},
        {parts, "--c\n", "", true},
        {parts + "--b\n\n", "\r", "", true},
        {parts + "--b\nContent-Transfer-Encoding: quoted-printable\n\n", "= ", "", true},
        {parts + "--b\nContent-Transfer-Encoding: base64\n\n", "\n=", "", true},
        {"Content-Type: text/plain; charset=iso-2022-jp\n\n", "\x1B$A!!\x1B$B", "", true},
        {"Content-Type: text/plain; charset=utf-7\n\n", "+", "", true},
        {"", "\x81\xFF\x1B(", "", true},
    };
    for (Row const& row : rows) {
        auto const make = [&](int size) { return row.start + Repeated(row.repeated, size) + row.end; };
        auto const read = [](std::string const& text) { IncomingMail(text).ForAnalysis(); };
        EXPECT_TRUE(TakesLinearTime(500000, make, read)) << row.start << row.repeated;
        IncomingMail const mail(make(1000000));
        EXPECT_EQ(mail.Whole(), row.whole) << row.start << row.repeated;
        EXPECT_LE(mail.Parts().size(), 1000U);
        EXPECT_LE(mail.Messages().size(), 52U);
        MailAnalyzer analyzer;
        Analyse(mail, analyzer);
    }
}

TEST(IncomingMail, LargeFilesAreCountedAndLargeTextsCut) {
    constexpr std::size_t mebibyte = 1 << 20;
    std::string const file(2 * mebibyte, 'x'), text = Repeated("春の案内\n", 6 * mebibyte);
    IncomingMail const mail("Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: image/png\n\n" +
                            file + "\n--b\nContent-Type: text/plain; charset=utf-8\n\n" + text +
                            "\n--b\n\nx\n--b--");
    ASSERT_EQ(mail.Parts().size(), 3U);
    EXPECT_EQ(mail.Parts()[0].size, file.size());
    EXPECT_EQ(mail.Parts()[0].content, "");
    EXPECT_EQ(mail.Parts()[1].size, text.size());
    EXPECT_TRUE(text.starts_with(mail.Parts()[1].content) && mail.Parts()[1].content.ends_with("案内\n"));
    EXPECT_GT(mail.Parts()[1].content.size(), 4 * mebibyte - 100);
    EXPECT_EQ(mail.Parts()[2].size, 1U);
    EXPECT_LT(mail.ForAnalysis().GetLength(), static_cast<int>(4 * mebibyte));
}

}  // namespace
