#include <gtest/gtest.h>

#include <string>

#include "mime/quoted_printable.h"
#include "platform/clock.h"
#include "tessaly/compose/eml_file_decoder.h"
#include "tessaly/compose/eml_file_encoder.h"
#include "tessaly/text/kcodec.h"

namespace {

CString Text(std::string const& text) { return CString(std::string_view(text)); }
std::string Plain(CString const& text) { return std::string(text.View()); }
std::string Jis(char const* text) {
    KCodeC code;
    return code.sjtojis7(text, 0);
}

class Encoder : public HtmlMailEncoder {
  public:
    using HtmlMailEncoder::HtmlCrLfInsert;
};

// The two parts, behind the delimiter.
struct Body {
    std::string boundary, text, html;
};
Body Encoded(char const* text, char const* html, int a, int b, int c) {
    HtmlMailEncoder encoder;
    encoder.SetPlainText(text);
    encoder.SetHtmlText(html);
    EXPECT_EQ(1, encoder.Encode(a, b, c));
    CString type, subtype, params;
    encoder.GetContentTypeString(type, subtype, params);
    std::string const form = Plain(type + "/" + subtype + params), body = Plain(encoder.GetMailBodyString());
    std::string const head = "multipart/alternative; boundary=\"";
    EXPECT_TRUE(form.starts_with(head + "_MULTIPART_") && form.ends_with("_ALTERNATIVE_\"")) << form;
    std::string const boundary = form.substr(head.size(), form.size() - head.size() - 1),
                      delimiter = "--" + boundary;
    std::size_t const second = body.find(delimiter, 2 + delimiter.size()), end = body.rfind(delimiter);
    EXPECT_EQ("\r\n" + delimiter + "\r\n", body.substr(0, delimiter.size() + 4));
    EXPECT_EQ(delimiter + "--\r\n", body.substr(end));
    return {boundary, body.substr(delimiter.size() + 4, second - delimiter.size() - 4),
            body.substr(second + delimiter.size() + 2, end - second - delimiter.size() - 2)};
}

std::string Part(char const* type, char const* charset, char const* encoding, std::string const& text) {
    return std::string("Content-Type: text/") + type + "; charset=" + charset +
           "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + text;
}

TEST(HtmlMailEncoder, CharsetsEncodingsAndMetaTags) {
    char const *meta = "<META http-equiv=Content-Type content=x>",
               *quoted = "<meta http-equiv=\"Content-Type\">";
    auto const jis_page = [](std::string const& html) {
        return Part("html", "iso-2022-jp", "quoted-printable", Plain(mime::QuotedPrintable(html)) + "\r\n");
    };
    std::string const jis_meta = "<META content=\"text/html; charset=iso-2022-jp\" http-equiv=Content-Type>";
    const struct {
        std::string text, html;
        int a, b, c;
        std::string text_part, html_part;
    } rows[] = {
        {"a\nb", "<p>\n", 1, 1, 1, Part("plain", "us-ascii", "7bit", "a\r\nb\r\n"),
         Part("html", "us-ascii", "7bit", "<p>\r\n")},
        {"a", "<p>表", 1, 1, 1, Part("plain", "us-ascii", "7bit", "a\r\n"), jis_page("<p>" + Jis("表"))},
        {"表", "<p>", 2, -1, 1, Part("plain", "iso-2022-jp", "7bit", Jis("表") + "\r\n"),
         Part("html", "us-ascii", "7bit", "<p>\r\n")},
        {"a", "<p>", 1, 1, 0, Part("plain", "iso-2022-jp", "7bit", "a\r\n"), jis_page("<p>")},
        {"a", "<p>", 0, 1, 1, Part("plain", "iso-2022-jp", "7bit", "a\r\n"), jis_page("<p>")},
        {"a", std::string("<metal><meta name=x>") + meta + meta, 1, 1, 1,
         Part("plain", "us-ascii", "7bit", "a\r\n"),
         Part("html", "us-ascii", "7bit",
              std::string("<metal><meta name=x><META content=\"text/html; charset=US-ASCII\" "
                          "http-equiv=Content-Type>") +
                  meta + "\r\n")},
        {"a", std::string("表") + meta, 1, 1, 1, Part("plain", "us-ascii", "7bit", "a\r\n"),
         jis_page(Jis("表") + jis_meta)},
        {"a", "<META title=\"上\" http-equiv=Content-Type>表", 1, 1, 1,
         Part("plain", "us-ascii", "7bit", "a\r\n"), jis_page(jis_meta + Jis("表"))},
        {"a", quoted, 1, 1, 1, Part("plain", "us-ascii", "7bit", "a\r\n"),
         Part("html", "us-ascii", "7bit", std::string(quoted) + "\r\n")},
    };
    for (auto const& row : rows) {
        Body const body = Encoded(row.text.c_str(), row.html.c_str(), row.a, row.b, row.c);
        EXPECT_EQ(row.text_part, body.text);
        EXPECT_EQ(row.html_part, body.html);
    }
    HtmlMailEncoder encoder;
    encoder.SetPlainText("a");
    EXPECT_EQ(0, encoder.Encode(1, 1, 1));
    encoder.SetHtmlText("b");
    encoder.SetPlainText("");
    EXPECT_EQ(0, encoder.Encode(1, 1, 1));
}

TEST(HtmlMailEncoder, LongLinesOfHtmlAreBroken) {
    const struct {
        char const *html, *broken;
    } rows[] = {{"<br>x<br>", "<br>\r\nx<br>\r\n"},
                {"<BR>\r\n<Br>y\r\n", "<BR>\r\n<Br>y\r\n"},
                {"</div></DIV>\nz", "</div>\r\n</DIV>\r\n\nz"},
                {"<br></div>", "<br>\r\n</div>\r\n"},
                {"<br/>", "<br/>"},
                {"", ""}};
    for (auto const& row : rows) EXPECT_EQ(row.broken, Plain(Encoder::HtmlCrLfInsert(row.html))) << row.html;
}

TEST(HtmlMailEncoder, BoundaryOccursInNeitherPart) {
    platform::FrozenClock clock{{1083827289, 42}};
    std::string const first = Encoded("a", "b", 1, 1, 1).boundary;
    for (bool const in_text : {true, false}) {
        clock.Set({1083827290, 0});
        Encoded("a", "b", 1, 1, 1);
        clock.Set({1083827289, 42});  // restarts the random numbers
        EXPECT_NE(first,
                  Encoded(in_text ? first.c_str() : "a", in_text ? "b" : first.c_str(), 1, 1, 1).boundary);
    }
}

TEST(EmlFile, WrittenAndReadAgain) {
    const struct {
        char const *subject, *text, *html, *html_read, *subject_read = nullptr;
    } rows[] = {
        {"Sale", "a", "<p>", "<p>"},
        {"Sale\r\nBcc: a@b\r\n\r\nx", "a", "<p>", "<p>", "Sale Bcc: a@b  x"},
        {"春\n夏", "a", "<p>", "<p>", "春 夏"},
        {"春のセール ﾃｽﾄ", "表\r\n能", "<HTML><BODY><DIV>表</DIV></Body></HTML>",
         "<HTML><BODY><DIV>表</DIV>\r\n<DIV>&nbsp;</DIV>\r\n</Body></HTML>"},
        {"", "a=b", "<html><body>=3D a long enough line</body></body>",
         "<html><body>=3D a long enough line</body><DIV>&nbsp;</DIV>\r\n</body>"},
        {"x", "a", "<body></body>", "<body></body>"},
        {"x", "a", "0123456789012345678</body>", "0123456789012345678</body>"},
        {"x", "a", "01234567890123456789</body>", "01234567890123456789<DIV>&nbsp;</DIV>\r\n</body>"},
    };
    for (auto const& row : rows) {
        EmlFileEncoder encoder;
        encoder.SetEmlSubject(row.subject);
        encoder.SetEmlPlainTextBody(row.text);
        encoder.SetEmlHtmlTextBody(row.html);
        CString eml;
        ASSERT_EQ(1, encoder.EmlEncode(eml));
        EmlFileDecoder decoder;
        ASSERT_EQ(1, decoder.EmlDecode(eml));
        EXPECT_EQ(row.subject_read ? row.subject_read : row.subject, Plain(decoder.GetSubject()));
        EXPECT_EQ(row.text, Plain(decoder.GetPlainText()));
        EXPECT_EQ(row.html_read, Plain(decoder.GetHtmlText()));
        encoder.SetEmlHtmlTextBody(decoder.GetHtmlText());
        encoder.EmlEncode(eml);
        decoder.EmlDecode(eml);
        EXPECT_EQ(row.html_read, Plain(decoder.GetHtmlText())) << "no second line";
    }
    EmlFileEncoder encoder;
    CString eml = "old";
    EXPECT_EQ(0, encoder.EmlEncode(eml));
    EXPECT_EQ("old", eml);
    encoder.SetEmlSubject("Sale");
    encoder.SetEmlPlainTextBody("a");
    encoder.SetEmlHtmlTextBody("b");
    encoder.EmlEncode(eml);
    EXPECT_TRUE(eml.View().starts_with(
        "Subject: Sale\r\nContent-Type: multipart/alternative; boundary=\"_MULTIPART_"));
    encoder.EmlInit();
    EXPECT_EQ(0, encoder.EmlEncode(eml));
}

std::string Multipart(char const* type, std::string const& parts) {
    return std::string("Subject: s\r\nContent-Type: multipart/") + type + "; boundary=\"=_b\"\r\n\r\n" +
           parts + "--=_b--\r\n";
}

// The forms of other programs.
TEST(EmlFile, ForeignForms) {
    std::string const
        text = "--=_b\r\nContent-Type: text/plain; charset=\"ISO-2022-JP\"; format=flowed\r\n\r\n" +
               Jis("表") + "\r\n",
        html =
            "--=_b\r\nContent-Type: text/html;\r\n charset=shift_jis\r\nContent-Transfer-Encoding: "
            "base64\r\n\r\nPHA+lVw=\r\n",
        inner =
            "--=_b\r\nContent-Type: multipart/alternative; boundary=in\r\n\r\n--in\r\n\r\nx\r\n--in\r\n"
            "Content-Type: TEXT/PLAIN\r\n\r\ninner\r\n--in--\r\n";
    std::string const unmarked_html =
        "--=_b\r\nContent-Type: text/html\r\n\r\n<meta http-equiv=content-type x>" + Jis("表") + "\r\n";
    const struct {
        std::string mail;
        char const *subject, *text, *html;
    } rows[] = {
        {Multipart("alternative", text + html), "s", "表", "<p>表"},
        {Multipart("mixed", text + text.substr(0, 6) + "Content-Type: text/plain; name=a\r\n\r\nlast\r\n"),
         "s", "last", ""},
        {Multipart("related; type=\"Multipart/Alternative\"", inner + text + html), "s", "inner", ""},
        {Multipart("related; type=multipart/alternative", inner + text), "s", "inner", ""},
        {Multipart("related; type=text/html", inner + text + html), "s", "表", "<p>表"},
        {Multipart("mixed", unmarked_html), "s", "",
         "<META content=\"text/html; charset=Shift-JIS\" http-equiv=Content-Type>表"},
        {"subject:=?iso-2022-jp?B?GyRCST0bKEI=?=\r\nSubject: second\r\nContent-Type: text/plain; "
         "charset=utf-8\r\n"
         "Content-Transfer-Encoding: quoted-printable\r\n\r\n=E8=A1=A8=\r\n!",
         "表", "\xE8\xA1\xA8!", ""},
        {"Content-Type: image/png\r\n\r\nx", "", "", ""},
    };
    for (auto const& row : rows) {
        EmlFileDecoder decoder;
        decoder.EmlDecode("Subject: old\r\nContent-Type: text/plain\r\n\r\nold");
        EXPECT_EQ(1, decoder.EmlDecode(Text(row.mail)));
        EXPECT_EQ(row.subject, Plain(decoder.GetSubject()));
        EXPECT_EQ(row.text, Plain(decoder.GetPlainText())) << row.mail;
        EXPECT_EQ(row.html, Plain(decoder.GetHtmlText())) << row.mail;
    }
    EmlFileDecoder decoder;
    decoder.EmlDecode("Subject: old\r\nContent-Type: text/plain\r\n\r\nold");
    EXPECT_EQ(0, decoder.EmlDecode("no colon\r\n\r\n"));
    EXPECT_EQ("", decoder.GetSubject() + decoder.GetPlainText() + decoder.GetHtmlText());
}

}  // namespace
