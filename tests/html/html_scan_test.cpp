#include "tessaly/html/html_scan.h"

#include <gtest/gtest.h>

#include <string>
#include "tests/support/processor_time.h"

namespace {

// An element as one readable text: "/name", "name a=1 b=2".
std::string Shown(CHtmlElement const& element) {
    std::string text = std::string(element.m_bEndTag ? "/" : "") + std::string(element.m_strName.View());
    for (CHtmlAttribute const& attribute : element.m_aAttribute)
        text +=
            " " + std::string(attribute.m_strName.View()) + "=" + std::string(attribute.m_strValue.View());
    return text;
}

std::string Listed(std::string const& html, int duplicates = 1) {
    CHtmlElems elements;
    ExtractHtmlElement(CString(html.c_str()), elements, duplicates);
    std::string list;
    for (CHtmlElement const& element : elements) list += "[" + Shown(element) + "]";
    return list;
}

CHtmlElement Element(char const* tag) {
    CHtmlElement element;
    EXPECT_EQ(ExpandHtmlElement(tag, element), 1) << tag;
    return element;
}

}  // namespace

TEST(HtmlScan, TagsAreDividedOrCountAsText) {
    static constexpr struct {
        char const* tag;
        char const* shown;  // null: no element
    } rows[] = {
        {"BR", "br"},
        {"/Div ", "/div"},
        {"/ p", "/p"},
        {"my-tag", "my-tag"},
        {"h1\tALIGN=Center", "h1 align=center"},
        {"td width=1 nowrap", "td width=1"},
        {"td width=\"500\"", "td width=500"},
        {"img  SRC = 'A.GIF'  alt=\"x y\"", "img src=a.gif alt=x y"},
        {"a href=\"x\"\r\ntitle=y", "a href=x title=y"},
        {"a href='it\"s'", "a href=it\"s"},
        {"a b=\"'x'\"", "a b=x"},
        {"a b==", "a b=="},
        {"a b=\"=\" c=1", "a b== c=1"},
        {"a b=1 b=2", "a b=1 b=2"},
        {"p title=Ａ", "p title=ａ"},
        {"p title=表ソ", "p title=表ソ"},
        {"br /", nullptr},
        {"td nowrap", nullptr},
        {"td nowrap width=1", nullptr},
        {"a href", nullptr},
        {"a href=", nullptr},
        {"a =x", nullptr},
        {"a href=\"x", nullptr},
        {"img src=\"a.gif\"alt=\"b\"", nullptr},
        {"a b=\"x\"\rc=1", nullptr},
        {"a\rb=1", nullptr},
        {"a_b", nullptr},
        {"!-- x --", nullptr},
        {"!DOCTYPE html", nullptr},
        {"/", nullptr},
        {"/ ", nullptr},
        {" ", nullptr},
        {"", nullptr},
    };
    for (auto const& row : rows) {
        CHtmlElement element;
        element.m_strName = "before";
        EXPECT_EQ(ExpandHtmlElement(row.tag, element), row.shown ? 1 : 0) << row.tag;
        EXPECT_EQ(Shown(element), row.shown ? row.shown : "before") << row.tag;
    }
    EXPECT_EQ(IsAllowdAsHtmlElemName("h1"), 1);
    EXPECT_EQ(IsAllowdAsHtmlElemName("my-tag"), 0);
    EXPECT_EQ(IsAllowdAsHtmlAttrName("my-tag"), 1);
    EXPECT_EQ(IsAllowdAsHtmlAttrName("A"), 0);
}

TEST(HtmlScan, TheLastOpeningBracketCounts) {
    EXPECT_EQ(Listed("a < b <i>x</i>"), "[i][/i]");
    EXPECT_EQ(Listed("<<<b>>"), "[b]");
    EXPECT_EQ(Listed("<a <>b<i>"), "[i]");
    EXPECT_EQ(Listed("<><u>"), "[u]");
    EXPECT_EQ(Listed("<!-- <b> -->"), "[b]");
    EXPECT_EQ(Listed("<a href=\"a>b\"><p>"), "[p]");
    EXPECT_EQ(Listed("<p><a href=\"x\""), "[p]");
    EXPECT_EQ(Listed("表<b>ソ</b>>"), "[b][/b]");
    EXPECT_EQ(Listed("<p a=1 b=2><P A=1 b='2'><p b=2 a=1></p>", 0), "[p a=1 b=2][p b=2 a=1][/p]");
    EXPECT_EQ(Listed("<p><p>"), "[p][p]");
    EXPECT_EQ(Listed(""), "");
}

TEST(HtmlScan, ListsNamesAndValuesOnce) {
    CHtmlElems elements;
    ExtractHtmlElement("<IMG SRC=b><p><img src=a><img alt=x><img src=b src=c></img>", elements, 1);
    CArrayOfString found;
    elements.GetElemNames(found);
    ASSERT_EQ(found.GetSize(), 2);
    EXPECT_TRUE(found[0] == "img" && found[1] == "p");
    elements.GetAttrVals("img", "src", found);
    ASSERT_EQ(found.GetSize(), 2);
    EXPECT_TRUE(found[0] == "b" && found[1] == "a");
    EXPECT_EQ(found.IsInEntryString("a"), 1);
    EXPECT_EQ(found.IsInEntryString("A"), 0);
    EXPECT_EQ(elements.IsInEntryElement(Element("img src=a")), 1);
    EXPECT_EQ(elements.IsInEntryElement(Element("/p")), 0);
}

TEST(HtmlScan, ReplacesAttributeValues) {
    static constexpr struct {
        char const* html;
        int count;
        char const* result;
    } rows[] = {
        {"<IMG SRC=\"A.GIF\" ALT=\"Pic\">", 1, "<img src=\"cid:X\" alt=\"pic\">"},
        {"x<img src=a.gif>y<Img ALT=1 src='a.gif'>z", 2,
         "x<img src=\"cid:X\">y<img alt=\"1\" src=\"cid:X\">z"},
        {"<img src=b.gif><p src=a.gif>", 0, "<img src=b.gif><p src=a.gif>"},
        {"<img src=b src=a.gif>", 1, "<img src=\"cid:X\" src=\"a.gif\">"},
        {"</img src=a.gif>", 0, "</img src=a.gif>"},
        {"no tag", 0, "no tag"},
    };
    for (auto const& row : rows) {
        CString out;
        EXPECT_EQ(ReplaceHtmlAttrVal(row.html, "IMG", "Src", "a.GIF", "cid:X", out), row.count) << row.html;
        EXPECT_EQ(out.View(), row.result);
    }
    CString out = "kept";
    EXPECT_EQ(ReplaceHtmlAttrVal("", "img", "src", "a", "b", out), 0);
    EXPECT_EQ(out.View(), "kept");
}

TEST(HtmlScan, ReplacesWholeElements) {
    CHtmlElemRepPair pairs;
    pairs.Add({Element("b"), Element("strong")});
    pairs.Add({Element("/b"), Element("/strong")});
    pairs.Add({Element("b"), Element("i")});
    pairs.Add({Element("p a=1"), Element("div class=x")});
    pairs.Add({Element("u"), CHtmlElement()});
    CString out;
    EXPECT_EQ(ReplaceHtmlElement("<B>x</b> <p a=1><p a=1 b=2><u>", pairs, out), 3);
    EXPECT_EQ(out.View(), "<strong>x</strong> <div class=\"x\"><p a=1 b=2><u>");
    EXPECT_EQ(ReplaceHtmlElement("plain", pairs, out), 0);
    EXPECT_EQ(out.View(), "plain");
    CString tag = "kept";
    CHtmlElement nameless_attribute = Element("p a=1");
    nameless_attribute.m_aAttribute[0].m_strName.Empty();
    EXPECT_EQ(nameless_attribute.GetTagString(tag), 0);
    EXPECT_EQ(CHtmlElement().GetTagString(tag), 0);
    EXPECT_EQ(tag.View(), "kept");
}

TEST(HtmlScan, AgreementLooksAtTheAttributesOfThePattern) {
    EXPECT_EQ(Element("p a=1 b=2").IsParticalAgreement(Element("p b=2")), 1);
    EXPECT_EQ(Element("p a=1").IsParticalAgreement(Element("p a=2")), 0);
    EXPECT_EQ(Element("p a=1").IsParticalAgreement(Element("p")), 1);
    EXPECT_EQ(Element("p").IsParticalAgreement(Element("/p")), 1);
    EXPECT_EQ(Element("/p").IsParticalAgreement(Element("p")), 0);
    EXPECT_EQ(Element("/p").IsParticalAgreement(Element("/p")), 1);
    EXPECT_EQ(Element("p").IsParticalAgreement(Element("q")), 0);
}

// Texts are shared among the tags of a page: every name must keep its value, whatever the two are, in a tag
// by itself, in a page of all of them, and rewritten.
TEST(HtmlScan, AnyNameKeepsAnyValue) {
    constexpr int names = 60, values = 300;
    std::string page, listed, rewritten;
    for (int name = 0; name < names; ++name) {
        for (int value = 0; value < values; ++value) {
            std::string const attribute = "n" + std::to_string(name), text = "v" + std::to_string(value);
            std::string const shown = "td " + attribute + "=" + text;
            page += "<TD " + attribute + "=\"" + text + "\">";
            listed += "[" + shown + "]";
            ASSERT_EQ(Shown(Element(shown.c_str())), shown);
            CString out;
            ASSERT_EQ(ReplaceHtmlAttrVal(CString(("<" + shown + ">").c_str()), "td", attribute.c_str(),
                                         text.c_str(), "x", out),
                      1)
                << shown;
            ASSERT_EQ(out.View(), "<td " + attribute + "=\"x\">");
        }
    }
    EXPECT_TRUE(Listed(page) == listed);
}

TEST(HtmlScan, HostilePagesTakeLinearTime) {
    struct Page {
        char const *start, *repeated, *end;
        bool numbered = false;
    };
    static constexpr Page pages[] = {{"", "<", ""},        {"", "<", ">"},          {"", "<a b=\"", ""},
                                     {"<a ", "b=1 ", ">"}, {"<a ", "\r", "=>"},     {"<a b=", "'", ">"},
                                     {"", "<>", ""},       {"", ">", ""},           {"<a ", "b ", "=1>"},
                                     {"<", "\x81", ">"},   {"", "<p id=", "", true}};
    for (Page const& page : pages) {
        auto const text = [&](int size) {
            std::string html = page.start;
            for (int i = 0; i < size; ++i)
                html += page.repeated + (page.numbered ? std::to_string(i) + ">" : "");
            return CString((html + page.end).c_str());
        };
        auto const work = [&](CString const& html) {
            CHtmlElems elements;
            CArrayOfString ids;
            CString out;
            ExtractHtmlElement(html, elements, 0);
            elements.GetAttrVals("p", "id", ids);
            EXPECT_EQ(ids.GetSize(), page.numbered ? elements.GetSize() : 0);
            ReplaceHtmlAttrVal(html, "p", "id", "7", "x", out);
            EXPECT_GE(out.GetLength(), html.GetLength());
        };
        EXPECT_TRUE(TakesLinearTime(100000, text, work)) << page.start << page.repeated;
    }
}
