#include "tessaly/mime/mime_decode_tool.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/ascii.h"
#include "mime/entity_text.h"
#include "tests/support/processor_time.h"

namespace {

class Tool : public MimeDecodeTool {
  public:
    using MimeDecodeTool::CrLfConv;
    using MimeDecodeTool::SplitHeaderBody;
    using MimeDecodeTool::SplitMailBody;
    using MimeDecodeTool::SplitMailHeader;
};

CString Text(std::string const& text) { return CString(std::string_view(text)); }

// The tree in a short form: "{children}" of an entity with children, else "[body]".
std::string Shape(MimeFormatStruct const& entity) {
    if (!entity.m_bHasChild) return "[" + std::string(entity.m_strBody.View()) + "]";
    std::string shape = "{";
    for (MimeFormatStruct const& child : entity.m_aChild) shape += Shape(child);
    return shape + "}" + std::string(entity.m_strBody.View());
}

std::string Multipart(std::string const& boundary, std::string const& rest) {
    return "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n" + rest;
}

TEST(MimeDecode, StructureAndResult) {
    const struct {
        std::string text;
        int result;
        char const* shape;
    } rows[] = {
        // the empty line that ends a part's headers stays in a body without headers, if it is the only one
        {"", 1, "[]"},
        {"no empty line\r\nat all", 1, "[no empty line\r\nat all]"},
        {"\r\nbody\r\n\r\nx", 1, "[body\r\n\r\nx]"},
        {"A: b\nC: d\n\nbody\rx\n", 1, "[body\r\nx\r\n]"},
        {"A: b\r\nno colon\r\nC: d\r\n\r\nx", 0, "[x]"},
        {Multipart("b", "pre\r\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\nepilogue"), 1,
         "{[\r\none][\r\ntwo]}"},
        {Multipart("\"b c\"; x=y", "--b c\r\n\r\n1\r\n--b c--"), 1, "{[\r\n1]}"},
        {Multipart("b ; x=y", "--b\r\n\r\n1\r\n--b--"), 1, "{[\r\n1]}"},
        {Multipart("b", "--b\r\n\r\n1\r\n--bb\r\n--b \r\n--b--trailing"), 1, "{[\r\n1\r\n--bb\r\n--b ]}"},
        {Multipart("b", "--b\r\n\r\n1"), 0, "{}"},
        {Multipart("b", "--b\r\n\r\n1\r\n--b\r\n\r\n2"), 0, "{}"},
        {Multipart("b", "--b--\r\n\r\n--b\r\n\r\n1\r\n--b--"), 1, "{[\r\n1]}"},
        {Multipart("b", "--b\r\n--b--\r\n"), 0, "{}"},
        {Multipart("b", "text\r\n--b--\r\n"), 0, "{}"},
        {Multipart("b", "--b\r\n\r\n1\r\n--b\r\n--b--"), 0, "{[\r\n1]}"},
        {Multipart("\"b", "--b\r\n\r\n1\r\n--b--"), 0, "[--b\r\n\r\n1\r\n--b--]"},
        {"Content-Type: multipart/mixed\r\n\r\nbody", 0, "[body]"},
        {"Content-Type: TEXT/PLAIN\r\n\r\nbody", 1, "[body]"},
        {"content-TYPE: Message/RFC822\r\n\r\nA: b\r\n\r\ninner", 1, "{[inner]}"},
        {Multipart("o", "--o\r\n" + Multipart("i", "--i\r\n\r\nx\r\n--i--") + "\r\n--o\r\n\r\ny\r\n--o--"), 1,
         "{{[\r\nx]}[\r\ny]}"},
        // The inner multipart ends with its part, so its own delimiters behind that are none.
        {Multipart("o", "--o\r\n" + Multipart("i", "--i\r\n\r\nx") + "\r\n--o\r\n\r\n--i--\r\n--o--"), 0,
         "{{}[\r\n--i--]}"},
    };
    for (auto const& row : rows) {
        MimeFormatStruct mail;
        mail.m_strBody = "old";
        EXPECT_EQ(row.result, MimeDecodeTool::MimeDecode(Text(row.text), mail)) << row.text;
        EXPECT_EQ(row.shape, Shape(mail)) << row.text;
    }
}

TEST(MimeDecode, HeadersAsTheyStand) {
    MimeFormatStruct mail;
    EXPECT_EQ(1, MimeDecodeTool::MimeDecode(
                     "Subject: a\r\n  b\r\n\tc\r\nmime-version: 1.9 (x)\r\nX:\r\nsubject: d\r\n"
                     "Content-Transfer-ENCODING: 8bit\r\nContent-Disposition: inline\r\n\r\n",
                     mail));
    CArray<MimeHeaderStruct, MimeHeaderStruct> found;
    MimeDecodeTool::GetHeaderInfo("SUBJECT", found, mail);
    ASSERT_EQ(2, found.GetSize());
    EXPECT_EQ(" a bc", found[0].m_strValue);
    EXPECT_EQ("subject", found[1].m_strName);
    EXPECT_EQ(1.0, mail.m_dMimeVersion);
    EXPECT_EQ("Content-Transfer-ENCODING", mail.m_strContentTransferEncodingName);
    EXPECT_EQ(" 8bit", mail.m_strContentTransferEncoding);
    EXPECT_EQ(" inline", mail.m_strContentDisposition);
    EXPECT_EQ(0, Tool::SplitMailHeader("A: b\rC: d\n e\r\nrest: no", found));
    ASSERT_EQ(2, found.GetSize());
    EXPECT_EQ(" de", found[1].m_strValue);
}

TEST(MimeDecode, LineEndsAndTypes) {
    EXPECT_EQ("a\r\nb\r\nc\r\n\r\nd\r\n", Tool::CrLfConv("a\rb\n\rc\r\n\nd\r"));
    CString header = "old", body = "old";
    Tool::SplitHeaderBody("", header, body);
    EXPECT_EQ("", header + body);
    Tool::SplitHeaderBody("A: b\n\nx", header, body);
    EXPECT_EQ("A: b\r\n|x", header + "|" + body);
    CString type, subtype, params;
    MimeDecodeTool::SplitContentType(" text/plain ; a=/b", type, subtype, params);
    EXPECT_EQ(" text|plain |; a=/b", type + "|" + subtype + "|" + params);
    MimeDecodeTool::SplitContentType("text; x", type, subtype, params);
    EXPECT_EQ("text; x||", type + "|" + subtype + "|" + params);
    char const* text = "xxABC";
    EXPECT_EQ(text + 2, MimeDecodeTool::stristr(text, "abc"));
    EXPECT_EQ(nullptr, MimeDecodeTool::stristr(text, "abcd"));
    EXPECT_EQ(text, MimeDecodeTool::stristr(text, ""));
    EXPECT_STREQ("キク", MimeDecodeTool::stristr("ネハキク", "キク"));
    EXPECT_STREQ("Z", MimeDecodeTool::stristr("\x81Z", "z"));  // in any code
}

// Trees as deep as the text, and lines that could delimit anything, by size; none may use the stack.
struct HostileMail {
    std::string text;
    int result, depth;
};

HostileMail Messages(int n) {
    std::string text;
    for (int i = 0; i < n; ++i) text += "Content-Type: message/rfc822\r\n\r\n";
    return {text + "x", 1, n};
}
HostileMail Parts(int n) {
    std::string text, ends;
    for (int i = 0; i < n; ++i) text += Multipart(std::to_string(i), "--" + std::to_string(i) + "\r\n");
    for (int i = n; i-- > 0;) ends += "\r\n--" + std::to_string(i) + "--";
    return {text + "\r\nx" + ends, 1, n};
}
HostileMail PartsWithoutEnd(int n) {
    HostileMail mail = Parts(n);
    mail.text.resize(mail.text.rfind("\r\nx"));
    return {mail.text, 0, 0};
}
HostileMail Dashes(int n) {
    std::string dashes;
    for (int i = 0; i < n; ++i) dashes += std::string(20, '-') + "\r\n";
    return {Multipart("-", dashes), 0, 0};
}
HostileMail Siblings(int n) {
    std::string text = "--b\r\n";
    for (int i = 0; i < n; ++i) text += "\r\n\r\n--b\r\n";
    return {Multipart("b", text + "--b--"), 0, 0};
}

TEST(MimeDecode, DeepAndHostileMailsTakeLinearTime) {
    for (auto const make : {Messages, Parts, PartsWithoutEnd, Dashes, Siblings}) {
        EXPECT_TRUE(TakesLinearTime(25000, make, [](HostileMail const& mail) {
            MimeFormatStruct entity;
            EXPECT_EQ(mail.result, MimeDecodeTool::MimeDecode(Text(mail.text), entity))
                << mail.text.substr(0, 80);
            MimeFormatStruct const copy(entity);
            int depth = 0;
            for (MimeFormatStruct const* at = &copy; at->m_aChild.GetSize() == 1; at = &at->m_aChild[0])
                ++depth;
            EXPECT_EQ(mail.depth, depth) << mail.text.substr(0, 80);
        }));
    }
}

TEST(MimeFormatStruct, PartsOfItself) {
    MimeFormatStruct mail;
    ASSERT_EQ(1, MimeDecodeTool::MimeDecode(Text(Messages(3).text), mail));
    MimeFormatStruct copy = mail;
    MimeFormatStruct::Copy(copy.m_aChild[0], copy);
    EXPECT_EQ("{{{{[x]}}}}", Shape(copy));
    copy = copy.m_aChild[0].m_aChild[0];
    EXPECT_EQ("{{[x]}}", Shape(copy));
    copy = std::move(copy.m_aChild[0]);
    EXPECT_EQ("{[x]}", Shape(copy));
    MimeFormatStruct& same = copy;
    copy = same;
    copy = std::move(same);
    EXPECT_EQ("{[x]}", Shape(copy));
    copy.Init();
    EXPECT_EQ("[]", Shape(copy));
    EXPECT_EQ(0, copy.m_aHeader.GetSize());
    EXPECT_EQ("{{{[x]}}}", Shape(mail));
}

TEST(MimeFormatStruct, BodiesByEncodingAndCharset) {
    const struct {
        char const *type, *encoding, *body;
        int result;
        char const* text;
    } rows[] = {
        {" text/plain; charset=ISO-2022-JP", " 7bit", "\x1B$B%=\x1B(B", 1, "ソ"},
        {" text/plain; charset=\"utf-8\"", " BASE64 ", "44K9\r\n", 1, "ソ"},
        {"", " base64", "YQBi", 1, "a"},
        {" text/plain; charset=Shift_JIS; x=y", "quoted-printable", "=83=5C=\r\n!", 1, "ソ!"},
        {" text/plain; charset=us-ascii", "8bit", "x", 1, "x"},
        {" text/plain", "", "x", 0, "old"},
        {" text/plain; charset=euc-jp", "7bit", "x", 0, "old"},
        {"", "base64", "****", 0, "old"},
    };
    for (auto const& row : rows) {
        MimeFormatStruct entity;
        entity.m_strContentType = row.type;
        entity.m_strContentTransferEncoding = row.encoding;
        entity.m_strBody = row.body;
        CString text = "old";
        EXPECT_EQ(row.result, entity.ConvertBodyToCp932String(text)) << row.body;
        EXPECT_EQ(row.text, text) << row.body;
    }
}

TEST(MimeFormatStruct, SizesAreThoseOfTheBytes) {
    const struct {
        char const *encoding, *body;
        int result;
        std::string bytes;
    } rows[] = {{"base64", " YQBi\r\n\tYw==", 1, std::string("a\0bc", 4)},
                {"base64", "", 1, ""},
                {"base64", "YQ", 0, ""},
                {"base64", "YQ==YQ==", 1, "a"},
                {"base64", "YQ==Y", 0, ""},
                {"base64", "YQ==\r\nfooter", 0, ""},
                {"quoted-printable", " =41b ", 1, "Ab"},
                {"quoted-printable", "=4", 0, ""},
                {"7bit", "ab", 1, "ab"},
                {"x", "ab", 0, ""}};
    for (auto const& row : rows) {
        MimeFormatStruct entity;
        entity.m_strContentTransferEncoding = row.encoding;
        entity.m_strBody = row.body;
        unsigned long size = 999;
        EXPECT_EQ(row.result, entity.GetSizeAfterDecode(size)) << row.body;
        EXPECT_EQ(row.result ? row.bytes.size() : 999, size) << row.body;
        if (!row.result || entity.ContentTransferEncodingIs("7bit")) continue;
        std::vector<char> out(size + 1, '#');
        EXPECT_EQ(1, entity.GetBodyAfterBase64Decode(out.data()) +
                         entity.GetBodyAfterQuotedPrintableDecode(out.data()));
        EXPECT_EQ(row.bytes + "#", std::string(out.begin(), out.end()));
    }
}

TEST(MimeFormatStruct, ParametersAndNames) {
    MimeFormatStruct entity;
    CString text = "old";
    entity.m_strContentType = " Text/Plain";
    EXPECT_EQ(0, entity.GetContentType(text) + entity.ContentTypeIs("text/plain") + entity.GetCharset(text));
    entity.m_strContentType = " Text/ア;";
    EXPECT_EQ(1, entity.ContentTypeIs("text/ア"));
    entity.m_strContentType = " Text/Plain ;charset= \"ISO-2022-JP\" ; x";
    EXPECT_EQ(1, entity.ContentTypeIs("text/plain"));
    EXPECT_EQ(1, entity.CharsetIs("iso-2022-jp"));
    std::pair<char const*, char const*> const names[] = {
        {"a; NAME=\"x;y\"; z", "x;y"},
        {"a; name=old.pdf ; x=y", "old.pdf"},
        {"a; name=x", "x"},
        {"a; title=始ame=no; Name=x", "x"},
        {"a; name=\"=?ISO-2022-JP?B?GyRCJT0bKEI=?=\"", "ソ"}};
    for (auto const& [type, name] : names) {
        entity.m_strContentType = type;
        EXPECT_EQ(1, entity.GetNameParamFromContentType(text)) << type;
        EXPECT_EQ(name, text);
    }
    for (char const* type : {"a", "a; name=", "a; name=  ", "a; name=\"x"}) {
        entity.m_strContentType = type;
        EXPECT_EQ(0, entity.GetNameParamFromContentType(text)) << type;
    }
    std::pair<char const*, char const*> const set[] = {
        {"application/pdf;", "application/pdf ; name=\"n\""},
        {"application/pdf\t;\t ;", "application/pdf ; name=\"n\""},
        {"a; name=old.pdf; x=y", "a; name=\"n\" ; x=y"},
        {"a; name=\"old\"; x=y", "a; name=\"n\"; x=y"},
        {"a; name=\"old", "a; name=\"n\""},
        {"a; name=;", "a; name=\"n\""}};
    entity.m_aHeader.Add({"content-TYPE", ""});
    for (auto const& [before, after] : set) {
        entity.m_strContentType = before;
        EXPECT_EQ(1, entity.SetNameParamToContentType("n"));
        EXPECT_EQ(after, entity.m_strContentType);
        EXPECT_EQ(after, entity.m_aHeader[0].m_strValue);
    }
    EXPECT_EQ(1, entity.SetNameParamToContentType("n\r\nX: y\nz"));
    EXPECT_EQ("a; name=\"n X: y z\"", entity.m_strContentType);
    EXPECT_EQ(0, entity.SetContentId("x") + entity.GetContentId(text) + entity.ContentIdIs(""));
    entity.m_aHeader.Add({" Content-ID ", " <abc>"});
    EXPECT_EQ(1, entity.ContentIdIs("abc"));
    EXPECT_EQ(0, entity.ContentIdIs(nullptr) + entity.ContentTypeIs(nullptr));
    EXPECT_EQ(1, entity.SetContentId("def"));
    EXPECT_EQ(1, entity.ContentIdIs("def"));
    entity.m_strContentDisposition = "attachment; filename=a.txt";
    EXPECT_EQ("", entity.GetMIMENormalAttachName());
    entity.m_strContentDisposition = "attachment; filename=\"=?ISO-2022-JP?B?GyRCJT0bKEI=?=.txt\"";
    EXPECT_EQ("ソ.txt", entity.GetMIMENormalAttachName());
}

TEST(Parameters, EndAsTheirReaderSays) {
    mime::ParameterForm const strict{.needs_closing_quote = true, .drops_blanks = true}, word{.ends = "; "};
    const struct {
        char const* params;
        mime::ParameterForm form;
        std::optional<std::string_view> value;
    } rows[] = {
        {"; charset=utf-8 ; x", {}, "utf-8 "},
        {"; CharSet=utf-8 ; x", strict, "utf-8"},
        {"; charset=utf-8 x", word, "utf-8"},
        {"; charset=\"a;b \" c", {}, "a;b "},
        {"; charset=\"a;b \" c", strict, "a;b"},
        {"; charset=\"open; x", {}, "open; x"},
        {"; charset=\"open; x", strict, {}},
        {"; charset=", strict, ""},
        {"; charset=\"", {}, ""},
        {"; name=x", {}, {}},
        {"ャcharset=x", {}, "x"},  // a letter behind a double-byte character
        {"\x83"
         "charset=x",
         {},
         {}},  // or as its second byte
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.value, mime::ParameterIn(row.params, "charset=", row.form)) << row.params;
}

TEST(EntityTexts, LoseTheirEncodingAndBecomeShiftJis) {
    const struct {
        char const *header, *body, *charset, *text;
        bool was_jis;
    } rows[] = {
        {"", "\x1B$B%=\x1B(B", "", "ソ", true},
        {"Content-Transfer-Encoding: X-Base64\r\n", "GyRCJT0bKEI=", "", "ソ", true},
        {"Content-Transfer-Encoding: quoted-PRINTABLE\r\n", "=83=5C=\r\nx", "shift_jis", "ソx", false},
        {"Content-Transfer-Encoding: base64\r\n", "YQBi", "us-ascii", "a", false},  // to the first zero byte
        {"", "plain", "ISO-2022-jp", "plain", true},
    };
    for (auto const& row : rows) {
        MimeFormatStruct leaf;
        MimeDecodeTool::MimeDecode(CString(row.header) + "Content-Type: text/plain\r\n\r\n" + row.body, leaf);
        mime::EntityText const read = mime::TextOfEntity(leaf, row.charset);
        EXPECT_EQ(row.text, read.text) << row.body;
        EXPECT_EQ(row.was_jis, read.was_jis) << row.body;
    }
}

}  // namespace
