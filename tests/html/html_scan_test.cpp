#include "mime/html/html_scan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

std::string Repeated(char const* text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) result += text;
    return result;
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

// Each would take hours if any step went back over what it has seen.
TEST(HtmlScan, HostilePagesTakeLinearTime) {
    constexpr int many = 300000;
    std::string distinct;
    for (int i = 0; i < many; ++i) distinct += "<p id=" + std::to_string(i) + ">";
    for (std::string const& html :
         {Repeated("<", 4 * many), Repeated("<", 4 * many) + ">", Repeated("<a b=\"", many), distinct,
          "<a " + Repeated("b=1 ", many) + ">", "<a " + Repeated("\r", 4 * many) + "=>", Repeated("<>", many),
          "<a b=" + Repeated("'", 4 * many) + ">", Repeated(">", 4 * many)}) {
        CHtmlElems elements;
        CArrayOfString names;
        CString out;
        const CString text(html.c_str());
        ExtractHtmlElement(text, elements, 0);
        elements.GetAttrVals("p", "id", names);
        EXPECT_LE(elements.GetSize(), many);
        ReplaceHtmlAttrVal(text, "p", "id", "7", "x", out);
        EXPECT_GE(out.GetLength(), text.GetLength());
    }
}
