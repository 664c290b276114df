#include "tessaly/compose/mail_data_structure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mime/boundary.h"
#include "platform/clock.h"
#include "tessaly/compose/mime_analyze.h"
#include "tessaly/customers/one_customer.h"
#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/text/kcodec.h"
#include "tests/platform/scratch_folder.h"
#include "tests/platform/time_zone.h"
#include "tests/support/file_content.h"

namespace {

CString Text(std::string const& text) { return CString(std::string_view(text)); }
std::string Plain(CString const& text) { return std::string(text.View()); }

MimeFormatStruct Entity(std::string const& text) {
    MimeFormatStruct entity;
    EXPECT_EQ(1, MimeDecodeTool::MimeDecode(Text(text), entity)) << text;
    return entity;
}

std::string Jis(char const* text) {
    KCodeC code;
    return code.sjtojis7(text, 0);
}

constexpr std::string_view boundary_start = "_TESSALY_MULTIPART_";
constexpr std::size_t boundary_size = boundary_start.size() + 17 + 6;  // time, "_", four characters, "_"

// Boundaries become @1, @2, ... in the order of their first occurrence.
std::string Numbered(std::string text) {
    std::size_t first;
    for (int number = 1; (first = text.find(boundary_start)) != text.npos; ++number) {
        std::string const drawn = text.substr(first, boundary_size);
        for (std::size_t at; (at = text.find(drawn)) != text.npos;)
            text.replace(at, drawn.size(), "@" + std::to_string(number));
    }
    return text;
}

std::string Written(CMailDataStructure mail, int with_attach = 1, OneCustomer* customer = nullptr) {
    CString header = "old", body = "old";
    int const result = mail.GetMimeString(header, body, with_attach, customer);
    return std::to_string(result) + "|" + Numbered(Plain(header) + "|" + Plain(body));
}

constexpr char const* text_part =
    "Content-Type: text/plain; charset=x; format=y\r\nMIME-Version: 1.0\r\n\r\ntext";
constexpr char const* html_part = "Content-Type: text/html\r\nmime-version: 1.0\r\n\r\n<p>";
constexpr char const* picture = "Content-ID: <1>\r\n\r\nGIF";
constexpr char const* attachment = "Content-Type: a/b; name=c\r\n\r\nDATA";

struct Held {
    bool text, html, pictures, attachments;
};
CMimeAnalyze Mail(Held held) {
    CMimeAnalyze mail;
    MimeFormatStruct text = Entity(text_part), html = Entity(html_part), gif = Entity(picture);
    if (held.text) mail.SetMIMETextBody(text);
    if (held.html) mail.SetMIMEHtmlBody(html);
    if (held.pictures) mail.GetRefOfMimeHtmlAttach().Add(gif);
    if (held.pictures) mail.GetRefOfMimeHtmlAttach().Add(gif);
    if (held.attachments) mail.AddMIMENormalAttach(Entity(attachment));
    return mail;
}

std::string Multipart(char const* subtype, int number) {
    return std::string("Content-Type: multipart/") + subtype + ";\r\n\tboundary=\"@" +
           std::to_string(number) + "\"\r\nMIME-Version: 1.0\r\n";
}
// One level around the entity `inner`, behind it the parts.
std::string Around(int number, std::string const& inner, std::vector<std::string> const& parts) {
    std::string const delimiter = "\r\n--@" + std::to_string(number);
    std::string body = delimiter + "\r\n" + inner + "\r\n";
    for (std::string const& part : parts) body += delimiter + "\r\n" + part;
    return body + delimiter + "--\r\n";
}
std::string Alternative(int number, std::string const& text) {
    std::string const delimiter = "--@" + std::to_string(number);
    return delimiter + "\r\n" + text + "\r\n" + delimiter +
           "\r\nContent-Type: text/html\r\nmime-version: 1.0\r\n\r\n<p>\r\n" + delimiter + "--";
}

TEST(GetMimeString, EveryShapeByteForByte) {
    std::string const type = "Content-Type: text/plain;\r\n\t charset=x;\r\n\t format=y\r\n",
                      text = type + "\r\ntext", gif = "Content-ID: <1>\r\n\r\nGIF",
                      data = "Content-Type: a/b;\r\n\t name=c\r\n\r\nDATA";
    auto const alternative = [&](int n) {
        return Multipart("alternative", n) + "\r\n" + Alternative(n, text);
    };
    auto const related = [&](int n) {
        return Multipart("related", n) + "\r\n" + Around(n, alternative(n + 1), {gif, gif});
    };
    const struct {
        Held held;
        int type;
        std::string with_attachments, without;
    } rows[] = {
        {{false, false, true, true}, 0, "-1||", ""},
        {{true, false, true, false}, 1, "0|" + type + "MIME-Version: 1.0\r\n|text", ""},
        {{true, true, false, false}, 2, "0|" + Multipart("alternative", 1) + "|" + Alternative(1, text), ""},
        {{false, true, false, false},
         2,
         "0|" + Multipart("alternative", 1) + "|" + Alternative(1, "\r\n"),
         ""},
        {{true, true, true, false},
         3,
         "0|" + Multipart("related", 1) + "|" + Around(1, alternative(2), {gif, gif}),
         ""},
        {{true, false, false, true},
         4,
         "0|" + Multipart("mixed", 1) + "|" + Around(1, text, {data}),
         "0|" + type + "MIME-Version: 1.0\r\n|text"},
        {{true, true, false, true},
         5,
         "0|" + Multipart("mixed", 1) + "|" + Around(1, alternative(2), {data}),
         "0|" + Multipart("alternative", 1) + "|" + Alternative(1, text)},
        {{true, true, true, true},
         6,
         "0|" + Multipart("mixed", 1) + "|" + Around(1, related(2), {data}),
         "0|" + Multipart("related", 1) + "|" + Around(1, alternative(2), {gif, gif})},
    };
    for (auto const& row : rows) {
        CMimeAnalyze const mail = Mail(row.held);
        EXPECT_EQ(row.type, mail.GetDataTypeFromNowSetData());
        EXPECT_EQ(row.with_attachments, Written(mail)) << row.type;
        EXPECT_EQ(row.without.empty() ? row.with_attachments : row.without, Written(mail, 0)) << row.type;
    }
}

TEST(GetMimeString, BoundaryIsOfItsMomentAndOccursInNoPart) {
    TimeZone const zone{"UTC"};
    platform::FrozenClock clock{{1083827289, 42}};
    CString const first = mime::NewBoundary("_TESSALY_MULTIPART_", "_");
    EXPECT_EQ(boundary_size, first.View().size());
    EXPECT_TRUE(first.View().starts_with("_TESSALY_MULTIPART_20040506070809042_") &&
                first.View().ends_with("_"))
        << first;
    for (char const* place : {"text", "html", "picture", "attachment"}) {
        CMimeAnalyze mail = Mail({true, true, true, true});
        MimeFormatStruct& part = place == std::string("text")      ? mail.m_mimeText
                                 : place == std::string("html")    ? mail.m_mimeHtml
                                 : place == std::string("picture") ? mail.m_aHtmlAttach[1]
                                                                   : mail.m_aNormalAttach[0];
        // The clock goes on and back, so the same random numbers are drawn again.
        clock.Set({1083827290, 0});
        mime::NewBoundary("", "");
        clock.Set({1083827289, 42});
        part.m_strBody = first;
        std::string const written = Written(mail);
        std::size_t count = 0;
        for (std::size_t at = 0; (at = written.find("--@", at)) != written.npos; ++at) ++count;
        EXPECT_EQ(3U + 4U + 3U, count) << place;
        CString header, body;
        mail.GetMimeString(header, body, 1, nullptr);
        EXPECT_EQ(Plain(header + body).find("\"" + Plain(first) + "\""), std::string::npos);
    }
}

// A body in each of the forms in which a text can be written, and the merged result.
TEST(GetMimeString, MergesIntoTextAndHtmlInTheirEncoding) {
    OneCustomer customer;
    customer.KanjiSei = "表<&";
    std::string const word = "<%名前(姓)%>", escaped = "&lt;%名前(姓)%&gt;";
    std::string const plain = "Content-Type: text/plain; charset=iso-2022-jp",
                      html = "Content-Type: text/html; charset=iso-2022-jp";
    std::string const none, quoted = "Content-Transfer-Encoding: quoted-printable",
                            base64 = "content-transfer-encoding: BASE64";
    const struct {
        std::string type, encoding, body, merged;
    } rows[] = {
        {plain, none, Jis(word.c_str()) + " a", Jis("表<&") + " a"},
        {"", none, Jis(word.c_str()), Jis("表<&")},
        {html, none, Jis(escaped.c_str()), Jis("表&lt;&amp;")},
        {plain, quoted, "=3D" + Jis(word.c_str()),
         "=3D" + Plain(CMailDataStructure::QuotedPrintableEncorder(Text(Jis("表<&"))))},
        {html, quoted, Jis(escaped.c_str()),
         Plain(CMailDataStructure::QuotedPrintableEncorder(Text(Jis("表&lt;&amp;"))))},
        {html, base64, "YQ==", "YQ==?="},
        {plain, base64, "YQ==", "YQ==?="},
        {"Content-Type: text/plain; charset=us-ascii", none, word, "表<&"},
        {"Content-Type: text/enriched", none, Jis(word.c_str()), Jis(word.c_str())},
        {"Content-Type: image/png", none, Jis(word.c_str()), Jis(word.c_str())},
    };
    for (auto const& row : rows) {
        std::string head;
        for (std::string const& line : {row.type, row.encoding}) head += line.empty() ? "" : line + "\r\n";
        MimeFormatStruct part = Entity("X: y\r\n" + head + "\r\n" + row.body);
        CMailDataStructure mail;
        mail.SetMIMETextBody(part);
        CString header, body;
        EXPECT_EQ(0, mail.GetMimeString(header, body, 1, &customer));
        EXPECT_EQ(row.merged, Plain(body)) << row.type << row.encoding;
        EXPECT_EQ(body, mail.m_mimeText.m_strBody) << "merged in place";
        CMailDataStructure page;
        page.SetMIMEHtmlBody(part);
        page.GetMimeString(header, body, 1, &customer);
        EXPECT_EQ(row.merged, Plain(page.m_mimeHtml.m_strBody));
    }
}

std::string Parts(CMimeAnalyze const& mail) {
    MimeFormatStruct text, html, part;
    mail.GetMIMETextpart(text);
    mail.GetMIMEHtmlpart(html);
    std::string all = Plain(text.m_strBody) + (mail.TextPartExist() ? "!" : "") + "|" +
                      Plain(html.m_strBody) + (mail.HtmlPartExist() ? "!" : "") + "|";
    for (int i = 0; i < mail.CountMIMEHtmlAttach(); ++i)
        all += (mail.GetMIMEHtmlAttach(i, part), Plain(part.m_strBody));
    EXPECT_EQ(0, mail.GetMIMEHtmlAttach(mail.CountMIMEHtmlAttach(), part));
    EXPECT_EQ(0, mail.GetMIMEHtmlAttach(-1, part));
    all += "|";
    CMimeAnalyze copy = mail;
    for (int i = 0; i < copy.CMimeAnalyze::CountMIMENormalAttach(); ++i)
        all += (copy.GetMIMENormalAttach(i, part), Plain(part.m_strBody));
    EXPECT_EQ(-1, copy.GetMIMENormalAttach(copy.m_aNormalAttach.GetSize(), part));
    return all;
}

std::string Part(std::string const& type, std::string const& body) {
    return "Content-Type: " + type + "\r\n\r\n" + body;
}
std::string Group(std::string const& kind, std::vector<std::string> const& parts) {
    static int number = 0;
    std::string const boundary = "b" + std::to_string(number++);
    std::string text = "Content-Type: Multipart/" + kind + "; boundary=" + boundary + "\r\n\r\n";
    for (std::string const& part : parts) text += "\r\n--" + boundary + "\r\n" + part;
    return text + "\r\n--" + boundary + "--";
}

TEST(AnalyzeMime, EveryClassAtEveryLevel) {
    std::string const text = Part("TEXT/Plain", "t"), html = Part("text/html; charset=x", "h"),
                      pdf = Part("application/pdf", "p"), bare = "X: y\r\n\r\nn",
                      named = Part("text/plain; NAME=a", "f"),
                      disposed = "Content-Disposition: x; FileName=a\r\n" + html;
    std::vector<std::string> const all = {text, html, pdf, bare, named, disposed};
    auto const within = [&](char const* outer, char const* inner) {
        return Group(outer, {Group(inner, all)});
    };
    const struct {
        std::string mail, parts;
    } rows[] = {
        {text, "t!|||"},
        {html, "|h!||"},
        {pdf, "p|||"},
        {bare, "n|||"},
        {named, "|||f"},
        {disposed, "|||h"},
        {Group("mixed", all), "t!|h!||pnfh"},
        {Group("related", all), "t!|h!|pnfh|"},
        {Group("alternative", all), "t!|h!||"},
        {Group("report", all), "|||"},
        {within("mixed", "mixed"), "|||"},
        {within("mixed", "related"), "t!|h!|pnfh|"},
        {within("mixed", "alternative"), "t!|h!||"},
        {within("related", "mixed"), "|||"},
        {within("related", "related"), "|||"},
        {within("related", "alternative"), "t!|h!||"},
        {within("alternative", "mixed"), "|||"},
        {Group("mixed", {within("related", "alternative"), pdf}), "t!|h!||p"},
        {Group("mixed", {text, Part("text/plain", "2"), html, Part("text/html", "3")}), "2!|3!||"},
    };
    for (auto const& row : rows) {
        CMimeAnalyze mail;
        EXPECT_EQ(0, mail.AnalyzeMime(Text(row.mail)));
        EXPECT_EQ(row.parts, Parts(mail)) << row.mail;
    }
    CMimeAnalyze mail;
    mail.AnalyzeMime(Text(Group("mixed", all)));
    EXPECT_EQ(-1, mail.AnalyzeMime(""));
    EXPECT_EQ(-2, mail.AnalyzeMime("no colon\r\n\r\nx"));
    EXPECT_EQ("t!|h!||pnfh", Parts(mail)) << "unchanged";
    mail.AnalyzeMime(Text(pdf));
    mail.AnalyzeMime(Text(named));
    EXPECT_EQ("p!|h!||pnfhf", Parts(mail)) << "added; the flag stays";
    mail.Init();
    EXPECT_EQ("|||", Parts(mail));
}

TEST(AnalyzeMime, WhatWasWrittenComesBack) {
    for (Held const held :
         {Held{true, false, false, false}, Held{true, true, false, false}, Held{true, true, true, false},
          Held{true, false, false, true}, Held{true, true, false, true}, Held{true, true, true, true}}) {
        CMimeAnalyze mail = Mail(held), again;
        CString header, body;
        mail.GetMimeString(header, body, 1, nullptr);
        EXPECT_EQ(0, again.AnalyzeMime(header + "\r\n" + body));
        EXPECT_EQ(mail.GetDataTypeFromNowSetData(), again.GetDataTypeFromNowSetData());
        std::string parts = Parts(again);
        std::erase_if(parts, [](char c) { return c == '\r' || c == '\n'; });
        EXPECT_EQ(Parts(mail), parts);
    }
}

TEST(NormalAttachments, AddedNamedSavedRemoved) {
    ScratchFolder const scratch;
    CString const folder = scratch.Path("new\\deeper");
    CMailDataStructure mail;
    EXPECT_EQ(0, mail.AddMIMENormalAttach("no colon\r\n\r\n"));
    EXPECT_EQ(1, mail.AddMIMENormalAttach(
                     "Content-Disposition: attachment; filename=\"=?ISO-2022-JP?B?GyRCST0bKEI=?=.bin\"\r\n"
                     "Content-Transfer-Encoding: base64\r\n\r\nAAEC\r\n/w=="));
    EXPECT_EQ(1, mail.AddMIMENormalAttach(
                     "Content-Type: a/b; name=\"a/b\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\nx"));
    EXPECT_EQ(1, mail.AddMIMENormalAttach(
                     "Content-Type: a/b; name=\"c\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\nx"));
    EXPECT_EQ("表.bin", mail.GetMIMENormalAttachName(0));
    EXPECT_EQ("AAEC\r\n/w==", mail.GetMIMENormalAttachBodyBase64(0));
    for (int const bad : {-1, 2, 3}) {
        EXPECT_EQ("", mail.GetMIMENormalAttachName(bad)) << bad;
        EXPECT_EQ("", mail.GetMIMENormalAttachBodyBase64(bad)) << bad;
    }
    int size = -7;
    CString const file = scratch.Path("file");
    platform::WriteWholeFile(file, "x");
    EXPECT_EQ(-1, mail.SaveMIMENormalAttach(0, file + "\\below", size, 0, 1, nullptr));
    EXPECT_EQ(-2, mail.SaveMIMENormalAttach(0, folder, size, 0, 1, nullptr));
    EXPECT_EQ(-3, mail.SaveMIMENormalAttach(0, folder, size, 0, 1, ""));
    EXPECT_EQ(-3, mail.SaveMIMENormalAttach(2, folder, size, 0, 0, nullptr));
    EXPECT_EQ(-4, mail.SaveMIMENormalAttach(1, folder, size, 0, 0, nullptr));
    for (char const* bad : {"a\\b", "a:", "*", "<", ">", "|", "\x81/b", "表\x81/b", "\x81\x81:",
                            "a\x81"
                            "*"})
        EXPECT_EQ(-4, mail.SaveMIMENormalAttach(0, folder, size, 0, 1, bad)) << bad;
    EXPECT_EQ(-7, size);
    EXPECT_EQ(0, mail.SaveMIMENormalAttach(0, folder, size, 0, 0, nullptr));
    EXPECT_EQ(4, size);
    EXPECT_EQ(std::string("\0\1\2\xFF", 4), ContentOf(folder + "\\表.bin"));
    EXPECT_EQ(-5, mail.SaveMIMENormalAttach(0, scratch.Path("new"), size, 0, 1, "deeper"));
    EXPECT_EQ(0, mail.SaveMIMENormalAttach(0, folder, size, 1, 1, "raw?\".txt"));
    EXPECT_EQ("AAEC\r\n/w==", ContentOf(folder + "\\raw?\".txt"));
    EXPECT_EQ(10, size);
    EXPECT_EQ(0, mail.SaveMIMENormalAttach(0, folder, size, 0, 1, "ポソ.txt"));
    EXPECT_EQ(4u, ContentOf(folder + "\\ポソ.txt").size());

    EXPECT_EQ(-1, mail.RemoveAtMIMENormalAttach(3));
    EXPECT_EQ(-1, mail.RemoveAtMIMENormalAttach(-1));
    EXPECT_EQ(0, mail.RemoveAtMIMENormalAttach(0));
    EXPECT_EQ(2, mail.CountMIMENormalAttach());
    EXPECT_EQ("a/b", mail.GetMIMENormalAttachName(0));
    mail.RemoveAllMIMENormalAttach();
    EXPECT_EQ(0, mail.CountMIMENormalAttach());
}

// A mail nested as deep as its text allows, and one of very many parts.
TEST(AnalyzeMime, HostileMailsEndInOrder) {
    std::string deep, wide = "Content-Type: multipart/mixed; boundary=w\r\n\r\n";
    for (int i = 0; i < 100000; ++i) {
        deep += "Content-Type: multipart/mixed; boundary=" + std::to_string(i) + "\r\n\r\n--" +
                std::to_string(i) + "\r\n";
        wide += "--w\r\n\r\nx\r\n";
    }
    std::string ends;
    for (int i = 100000; i-- > 0;) ends += "\r\n--" + std::to_string(i) + "--";
    CMimeAnalyze mail;
    EXPECT_EQ(0, mail.AnalyzeMime(Text(deep + "\r\nx" + ends)));
    EXPECT_EQ("|||", Parts(mail));
    EXPECT_EQ(0, mail.AnalyzeMime(Text(wide + "--w--")));
    EXPECT_EQ(100000, mail.CMimeAnalyze::CountMIMENormalAttach());
    CString header, body;
    MimeFormatStruct text = Entity(text_part);
    mail.SetMIMETextBody(text);
    EXPECT_EQ(0, mail.GetMimeString(header, body, 1, nullptr));
    EXPECT_GT(body.GetLength(), 100000 * 40);
}

}  // namespace
