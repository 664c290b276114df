#include "engine/mails/eml_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "engine/base/failure.h"
#include "tests/platform/scratch_folder.h"

namespace {

std::string ContentOf(std::string const& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

// What is read of an .eml file, a line each: the text, "html:", "picture NAME:CONTENT" for those that the
// HTML names, "NAME:CONTENT" for attachments, "!" and a notice; of one that cannot be read what is said of
// it.
std::string Read(std::string const& eml) {
    ScratchFolder const folder;
    std::string const file = folder.Host("a.eml");
    std::ofstream(file, std::ios::binary) << eml;
    std::string read;
    try {
        engine::UnpackedEml const unpacked(file);
        engine::MailArguments const& texts = unpacked.Texts();
        std::string const draft = ContentOf(texts.draft);
        EXPECT_TRUE(draft.starts_with("Subject: s\n\n")) << draft;
        read = draft.substr(std::min(draft.size(), draft.find("\n\n") + 2));
        if (!texts.html.empty()) {
            std::string const page = ContentOf(texts.html);
            read += "|html:" + page.substr(0, page.size() - 1);
            std::map<std::string, std::string> pictures;
            for (auto const& entry : std::filesystem::recursive_directory_iterator(
                     std::filesystem::path(texts.html).parent_path()))
                if (entry.is_regular_file() && entry.path().string().find("/picture") != std::string::npos)
                    pictures[entry.path().filename()] = ContentOf(entry.path());
            for (auto const& [name, content] : pictures) read += "|picture " + name + ":" + content;
        }
        for (std::string const& attached : texts.attach)
            read += "|" + std::filesystem::path(attached).filename().string() + ":" + ContentOf(attached);
        for (std::string const& notice : unpacked.Notices()) read += "|!" + notice;
    } catch (engine::Failure const& failure) {
        read = failure.what();
        if (std::size_t const at = read.find(": " + file); at != read.npos) read.erase(at);
    }
    return read;
}

std::string Part(std::string const& fields, std::string const& body) {
    return "Content-Type: " + fields + "\r\n\r\n" + body;
}
std::string Multi(std::string const& kind, std::string const& boundary,
                  std::vector<std::string> const& parts) {
    std::string text;
    for (std::string const& part : parts) text += "--" + boundary + "\r\n" + part + "\r\n";
    return Part("multipart/" + kind + "; boundary=\"" + boundary + "\"", text + "--" + boundary + "--\r\n");
}
std::string Mail(std::string const& entity) { return "Subject: s\r\nMIME-Version: 1.0\r\n" + entity; }

std::string const plain = Part("text/plain; charset=utf-8", "本文"), page = Part("text/html", "<p>頁</p>");
std::string Shows(std::string const& address) { return Part("text/html", "<img src=\"" + address + "\">"); }
std::string Picture(std::string const& id, std::string const& content) {
    return Part("image/gif\r\nContent-ID: <" + id + ">", content);
}
std::string File(std::string const& name, std::string const& content = "x") {
    return Part("application/pdf\r\nContent-Disposition: attachment; " + name, content);
}

TEST(EmlFile, TextsOfEveryKnownCharset) {
    std::string const sjis = "\x95\x5C";
    auto const text = [](std::string const& charset, std::string const& body) {
        return Read(Mail(Part("text/plain" + charset + "\r\nContent-Transfer-Encoding: 8bit", body)));
    };
    EXPECT_EQ(text("", sjis), "表");
    for (char const* charset : {"us-ascii", "Shift_JIS", "shift-jis", "windows-31j", "CP932"})
        EXPECT_EQ(text(std::string("; charset=") + charset, sjis), "表") << charset;
    for (char const* charset :
         {"\"ISO-2022-JP\"", "iso-2022-jp-1", "iso-2022-jp-ms", "cp50220", "csISO2022JP"})
        EXPECT_EQ(text(std::string("; charset=") + charset, "\x1B$BI=-!\x1B(B"), "表①") << charset;
    EXPECT_EQ(text("; charset=euc-jp", "\xC9\xBD"), "表");
    EXPECT_EQ(text("; charset=utf-8", "\xEF\xBB\xBF表💐"), "表💐");
    EXPECT_EQ(text("; charset=utf-8", sjis), "表");
    EXPECT_EQ(text("; charset=iso-8859-1", "caf\xE9"), "café");
    EXPECT_EQ(text("; charset=ISO-8859-15", "\xA4"), "€");
    EXPECT_EQ(text("; charset=x-own", "x"), "この文字コードの文面は読めません: x-own");
    EXPECT_EQ(text("", std::string("a\0b\rc\r\nd", 8)), "ab\nc\nd");
}

TEST(EmlFile, ShapesOfManyPrograms) {
    std::string const inner = "Subject: in\r\n\r\nhello\r\n";
    const struct {
        std::string eml, read;
    } rows[] = {
        // Apple Mail: the page in the alternative, with files between the texts
        {Multi("alternative", "a", {plain, Multi("related", "b", {Shows("cid:1@x"), Picture("1@x", "g")})}),
         "本文\n|html:<img src=\"picture1/file1.gif\">|picture file1.gif:g"},
        {Multi("alternative", "a",
               {plain, Multi("mixed", "b", {page, File("filename=a.pdf"), Part("text/html", "<p>z")})}),
         "本文\n|html:<p>頁</p>\n<p>z|a.pdf:x"},
        {Multi("mixed", "a", {plain, File("filename=a.pdf"), Part("text/plain", "end")}),
         "本文\nend|a.pdf:x"},
        // Outlook: the alternative as root of related; Gmail: the same in mixed
        {Multi("related; type=\"multipart/alternative\"", "a",
               {Multi("alternative", "b", {plain, Shows("CID:image001.png@01D")}),
                Picture("image001.png@01D", "g")}),
         "本文\n|html:<img src=\"picture1/file1.gif\">|picture file1.gif:g"},
        {Multi("mixed", "a",
               {Multi("related", "b",
                      {Multi("alternative", "c", {plain, Shows("cid:ii_1")}), Picture("ii_1", "g")}),
                File("filename=a.pdf")}),
         "本文\n|html:<img src=\"picture1/file1.gif\">|picture file1.gif:g|a.pdf:x"},
        // Parts in parts, a footer behind a page, a text in front of an alternative
        {Multi("mixed", "a",
               {Multi("mixed", "ab", {plain, Multi("mixed", "abc", {File("filename=a.pdf", "1")})}),
                File("filename=b.pdf", "2")}),
         "本文|a.pdf:1|b.pdf:2"},
        {Multi("mixed", "a", {Multi("alternative", "b", {plain, page}), Part("text/plain", "a<b\r\n")}),
         "本文\na<b\n\n|html:<p>頁</p><div style=\"white-space: pre-wrap\">a&lt;b\n</div>"},
        {Multi("mixed", "a", {Part("text/plain", "top"), Multi("alternative", "b", {plain, page})}),
         "top\n本文\n|html:<div style=\"white-space: pre-wrap\">top</div><p>頁</p>"},
        {Multi("mixed", "a", {plain, page}), "本文\n|html:<p>頁</p>"},
        {Multi("mixed", "a", {Multi("alternative", "b", {plain, page}), page}), "|html:<p>頁</p>\n<p>頁</p>"},
        // IDs that begin alike or are written otherwise; a root that is named; a picture that is not shown
        {Multi(
             "related; start=\"<r@x>\"", "a",
             {Picture("img10", "ten"), Picture("img1", "one"), Picture("a b%&", "odd"), Picture("img", "not"),
              Part("text/html\r\nContent-ID: <r@x>",
                   "<img src=cid:img1><p style='x:url(cid:img10)'><td "
                   "background='cid:a%20b%25&amp;'><img src=cid:img1>")}),
         "|html:<img src=picture2/file2.gif><p style='x:url(picture1/file1.gif)'><td "
         "background='picture3/file3.gif'><img src=picture2/file2.gif>|picture file1.gif:ten|picture "
         "file2.gif:one|picture file3.gif:odd|file1.gif:not"},
        // Content-Location, whole and from where the page lies
        {Multi("related", "a",
               {Part("text/html\r\nContent-Location: http://x/d/p.html",
                     "<img src='http://x/d/i/1.png'><img src='i/1.png'><img src='i/2.png'>"),
                Part("image/png; name=\"a b.png\"\r\nContent-Location: http://x/d/i/1.png", "g")}),
         "|html:<img src='picture1/a%20b.png'><img src='picture1/a%20b.png'><img src='i/2.png'>|picture a "
         "b.png:g"},
        {Multi("related", "a", {Shows("cid:none"), Picture("other", "g")}),
         "|html:<img src=\"cid:none\">|file1.gif:g|!HTMLが見せる画像が、メールの中にありません: cid:none"},
        // Messages
        {Multi("mixed", "a",
               {plain, Part("message/rfc822", inner), Part("message/rfc822; name=\"転送.eml\"", inner),
                Part("message/rfc822", "Subject: =?utf-8?B?5pil?=/x\r\n\r\nx")}),
         "本文|in.eml:" + inner + "|転送.eml:" + inner + "|春_x.eml:Subject: =?utf-8?B?5pil?=/x\r\n\r\nx"},
        // Calendars, signatures, other forms
        {Multi("alternative", "a",
               {plain, Part("text/x-amp-html", "<html amp>"), page, Part("text/calendar", "BEGIN")}),
         "本文\n|html:<p>頁</p>|file1.ics:BEGIN|!文面のほかの形は取り込みません: text/x-amp-html|!予定 "
         "(text/calendar) は、返事のできる予定としてではなく、添付ファイルとして取り込みます。"},
        {Multi("signed; protocol=\"application/pkcs7-signature\"", "a",
               {plain, Part("application/pkcs7-signature; name=smime.p7s", "sig")}),
         "本文|!署名は、作り直したメールには合わないので、取り込みません: application/pkcs7-signature "
         "smime.p7s"},
        {Multi("signed; protocol=\"application/pgp-signature\"", "a",
               {Multi("alternative", "b", {plain, page}), Part("application/pgp-signature", "sig")}),
         "本文\n|html:<p>頁</p>|!署名は、作り直したメールには合わないので、取り込みません: "
         "application/pgp-signature"},
        {Multi("mixed", "a",
               {plain,
                Multi("appledouble", "b", {Part("application/applefile", "r"), File("filename=a.pdf")})}),
         "本文|a.pdf:x|!Macだけで使う部分は取り込みません: application/applefile"},
        {Multi("alternative", "a", {plain, page, Part("text/html", "<p>z")}),
         "本文\n|html:<p>z|!同じ形の文面がいくつもあるので、最後のものを取り込みます: text/html"},
        // A text with a name, alone and among others; one that is attached
        {Part("text/plain; name=a.txt", "x"), "x"},
        {Multi("mixed", "a",
               {plain, Part("text/plain; name=a.txt", "\x95\x5C"),
                Part("text/html\r\nContent-Disposition: attachment", "h"), Part("text/csv", "c")}),
         "本文|a.txt:\x95\x5C|file2.html:h|file3.csv:c"},
        // Broken ones
        {Part("multipart/mixed; boundary=\"a\"",
              "--a\r\n" + plain + "\r\n--a\r\n" + File("filename=a.pdf", "half")),
         "本文|a.pdf:half|!メールの終わりか途中が欠けています。読めた所まで取り込みます。"},
        {Part("multipart/mixed", "x"), "文面のないメールです (区切りの指定 boundary がありません)"},
        {Part("image/gif", "x"), "文面のないメールです (image/gif)"},
        {Part("application/pkcs7-mime; smime-type=signed-data", "x"),
         "文面のないメールです (暗号化されているか、署名の中に入っています)"},
        {Multi("encrypted; protocol=\"application/pgp-encrypted\"", "a",
               {Part("application/pgp-encrypted", "Version: 1"), Part("application/octet-stream", "x")}),
         "文面のないメールです (暗号化されているか、署名の中に入っています)"},
        {Part("message/partial; id=1; number=1; total=2", "x"),
         "文面のないメールです (分けて送られたメールの一部です)"},
    };
    for (auto const& row : rows) EXPECT_EQ(Read(Mail(row.eml)), row.read) << row.eml;
    EXPECT_EQ(Read(" \r\n"), "メールとして読めません (中身がありません)");
    EXPECT_EQ(Read("no colon\r\n\r\n"), "メールとして読めません (ヘッダーがありません)");
    EXPECT_EQ(Read("X: y\r\n\r\nx"), "件名のないメールです");
}

TEST(EmlFile, NamesOfAttachmentsAreKeptOrMadeSafe) {
    auto const repeated = [](std::string const& text, int count) {
        std::string all;
        for (int i = 0; i < count; ++i) all += text;
        return all;
    };
    const struct {
        std::string given, name;
        bool told;
    } rows[] = {
        {"filename=\"案内 1.pdf\"", "案内 1.pdf", false},
        {"filename=案内.pdf", "案内.pdf", false},
        {"filename=\"\x1B$B0FFb\x1B(B.pdf\"", "案内.pdf", false},
        {"filename=\"\x95\x5C.pdf\"", "表.pdf", false},
        {"filename*=utf-8''%E6%A1%88.pdf", "案.pdf", false},
        {"filename*=iso-2022-jp'ja'%1B$B0FFb%1B%28B.pdf", "案内.pdf", false},
        {"filename*0*=utf-8''%E6;\r\n filename*1*=%A1%88;\r\n filename*2=.pdf", "案.pdf", false},
        {"filename=\"=?utf-8?B?5qGI?=\r\n =?iso-2022-jp?B?GyRCRmIbKEI=?=.pdf\"", "案内.pdf", false},
        {"filename=\"a\\\"b.pdf\"", "a_b.pdf", true},
        {"filename=\"../../a<b>|c.pdf\"", ".._.._a_b__c.pdf", true},
        {"filename=\"..\"", "file1.pdf", true},
        {"filename=\"\"", "file1.pdf", false},
        {"filename=\"a\tb\x01.pdf\"", "a b.pdf", true},
        {"filename=\"💐.pdf\"", "〓.pdf", true},
        {"filename=\"" + repeated("春", 90) + ".pdf\"", repeated("春", 72) + ".pdf", true},
        {"filename=\"a." + repeated("b", 300) + "\"", "a." + repeated("b", 218), true},
    };
    for (auto const& row : rows) {
        std::string const read = Read(Mail(Multi("mixed", "q", {plain, File(row.given)})));
        EXPECT_TRUE((read + "|").starts_with("本文|" + row.name + ":x|")) << row.given << "\n" << read;
        EXPECT_EQ(read.find("|!添付ファイルの名前を変えました: ") != read.npos, row.told) << read;
    }
    std::string const same = File("filename=a.tar.gz");
    EXPECT_EQ(
        Read(Mail(Multi("mixed", "q", {plain, same, same, File("filename=\"a.tar (2).gz\"")}))),
        "本文|a.tar.gz:x|a.tar (2).gz:x|a.tar (2) (2).gz:x|!添付ファイルの名前を変えました: a.tar.gz → a.tar "
        "(2).gz|!添付ファイルの名前を変えました: a.tar (2).gz → a.tar (2) (2).gz");
    EXPECT_EQ(
        Read(Mail(Multi("mixed", "q", {plain, File("filename=a.pdf", std::string((2 << 20) + 1, 'x'))}))),
        "本文|!2MBより大きい添付ファイルは取り込みません: a.pdf");
}

}  // namespace
