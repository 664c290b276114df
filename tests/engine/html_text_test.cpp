#include <gtest/gtest.h>

#include <string>

#include "engine/base/crossing.h"
#include "engine/mails/html_source.h"

namespace {

TEST(HtmlText, WhatAReaderWithoutHtmlSees) {
    const struct {
        std::string page, text;
    } rows[] = {
        {"a \t\r\n\fb", "a b"},
        {"a\tb", "a b"},
        {"a\rb", "a b"},
        {"a\nb", "a b"},
        {"a\fb", "a b"},
        {" \n a&nbsp;&nbsp;b", "a b"},
        {"<tr><td>表</td><td>能</td></tr><tr><th>a</th><th>b", "表 能\r\na b"},
        {"a<br>b<br><br><br>c</br>d", "a\r\nb\r\n\r\ncd"},
        {"<p>a</p><p>b</p>c", "a\r\n\r\nb\r\n\r\nc"},
        {"<img alt='表'><img src=x>", "表"},
        {"a<!-- <p> -->b<!x>c<!-- d", "abc"},
        {"<title>t</title><style>s</style><script>c</script>x<textarea>y</textarea>", "xy"},
        {"<a href=http://a/>b</a>, <a href=mailto:a@b>a</a>, <a href=#x>c</a>, <a "
         "href=http://a/>http://a/</a>",
         "b <http://a/>, a <mailto:a@b>, c, http://a/"},
        {"&lt;&gt;&amp;&quot;&apos;&copy;&reg;&hellip;&ndash;&mdash;", "<>&\"'(c)(R)...---"},
        {"&#34920;&#x8868;&#X8868;&#x1F338;&yen;", "表表表〓￥"},
        {"&none; &; &#; &#x; &#12a; &lt &abcdefghijk;", "&none; &; &#; &#x; &#12a; &lt &abcdefghijk;"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(engine::Out(engine::TextOfHtml(engine::Into(row.page, "test"))), row.text + "\r\n")
            << row.page;
    for (char const* block :
         {"p",  "div", "tr", "table", "ul", "ol", "li", "h1",         "h2",      "h3",
          "h4", "h5",  "h6", "hr",    "dl", "dt", "dd", "blockquote", "section", "center"})
        EXPECT_TRUE(engine::TextOfHtml(CString(("a<" + std::string(block) + ">b").c_str()))
                        .View()
                        .starts_with("a\r\n"))
            << block;
    for (char const* spaced : {"p", "table", "ul", "ol", "h1", "h2", "h3", "h4", "h5", "h6"})
        EXPECT_EQ(engine::TextOfHtml(CString(("a<" + std::string(spaced) + ">b").c_str())).View(),
                  "a\r\n\r\nb\r\n")
            << spaced;
}

}  // namespace
