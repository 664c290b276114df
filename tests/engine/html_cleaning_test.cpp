#include "engine/mails/html_cleaning.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/processor_time.h"

namespace {

using engine::WithoutActiveContent;

TEST(HtmlCleaning, WhatActsByItselfIsRemovedAndNamed) {
    constexpr std::string_view script = "スクリプト 1", handler = "イベント属性 (onclickなど) 1",
                               link = "スクリプトや文書を開くリンク 1", sheet = "外部のスタイルシートなど 1",
                               style = "スクリプトを動かすスタイル 1", raw = "xmpなどの要素 1",
                               drawing = "SVG・MathML 1", conditional = "条件つきコメント 1",
                               unclosed = "閉じていないタグ 1";
    const struct {
        std::string page, kept;
        std::string_view removed;
    } rows[] = {
        // What is left alone, byte for byte.
        {"<!DOCTYPE html>\n<p class=a STYLE='color:red'>a < b<%名前(姓)%> &#106; javascript:</P >", "", ""},
        {"<!-- <script>a</script> --><?xml x?><a href=\"https://x/?onclick=1\" title='javascript: a'>", "",
         ""},
        {"<img src=data:image/png;base64,AAAA><meta name=a "
         "content=1><style>a{scroll-behavior:smooth}</style>",
         "", ""},
        {"<!--[if mso]><table><tr><td><![endif]--><![if !mso]><p><![endif]>", "", ""},
        // Scripts
        {"a<SCRIPT\n>x</script >b", "a\nb", script},
        {"a<script/x>\"</scripta>\n'</script\t>b<script>c", "a\nb", "スクリプト 2"},
        {"<script><!--<script></script>b", "b", script},
        {"<noscript>b</noscript>", "b", script},
        {"<<script>x</script>script>b", "< script>b", script},
        {"<scr<script>ipt>b", "<scr<script>ipt>b", ""},  // one unknown element to a browser
        // Where comments end
        {"<!--><script>x</script>-->", "<!-->-->", script},
        {"<!--->a<script>x</script>-->", "<!--->a-->", script},
        {"<!-- --!><script>x</script>-->", "<!-- --!>-->", script},
        {"<!--!><script>x</script>-->", "", ""},
        {"<!x '><script>x</script>'>", "<!x '>'>", script},
        {"</ a='><script>x</script>'>", "</ a='>'>", script},
        {"<![CDATA[<script>]]>", "", ""},
        // Attributes
        {"<a OnClick = \"x>y\" b>c", "<a  b>c", handler},
        {"<img/onerror='x'/src=a>", "<img//src=a>", handler},
        {"<img src=\"a\"onerror=\"x\"alt=\"b\">", "<img src=\"a\"alt=\"b\">", handler},
        {"<a href onclick=1 =\"javascript:x\">", "<a href / =\"javascript:x\">", handler},
        {"<body onload=x onunload=y>", "<body  >", "イベント属性 (onclickなど) 2"},
        {"<a href=\"javascript:x\">a</a>", "<a >a</a>", link},
        {"<a href=' \x01jAvA\tscr\nipt&#58;x'>", "<a \n>", link},
        {"<a href=&#106;avascript:x>", "<a >", link},
        {"<a href='&#x6A&#0000097vascript&colon;x'>", "<a >", link},
        {"<a href='java&Tab;script&NewLine;:x'>", "<a >", link},
        {"<a href=vbscript:x><a href='data:text/html,x'>", "<a ><a >", "スクリプトや文書を開くリンク 2"},
        {"<img src='DATA:image/svg+xml,x'>", "<img >", link},
        {"<td background=javascript:x>", "<td >", link},
        {"<form action=https://x/ method=post><button formaction=y>", "<form  method=post><button >",
         "フォームの送り先 2"},
        // Elements
        {"a<iframe src=x><b></iframe>c<frame>", "ac", "枠・埋め込み 2"},
        {"<object data=x><param name=a><embed src=y>b</object>c", "bc", "枠・埋め込み 3"},
        {"<meta http-equiv='&#82;efresh' content=1>a<base href=x>", "a",
         "基準アドレス (base) 1、自動で移動する指定 1"},
        {"<link rel=stylesheet href=x>a", "a", sheet},
        {"<svg><style><img onerror=x></style>a</svg>", "<style>< img onerror=x></style>a", drawing},
        {"<xmp><a title=\"</xmp><script>x</script>\"></xmp>", "<a title=\"</xmp><script>x</script>\">", raw},
        {"<plaintext><script>x</script>b", "b", "xmpなどの要素 1、スクリプト 1"},
        {"<select><style></select><script>x</script></style>",
         "<select><style>< /select>< script>x< /script></style>", ""},
        {"<style></stylex><a title='</style><b>'>", "<style>< /stylex>< a title='</style><b>'>", ""},
        {"<title>a <b</title>", "<title>a < b</title>", ""},
        // Styles
        {"<style><!-- a{b:c} --></style>", "<style> a{b:c} --></style>", ""},
        {"<style>@import url(http://x/;y);a{b:c}</style>", "<style>a{b:c}</style>", sheet},
        {"<style>@IMPORT \"x;y\"\n;a{}</style>", "<style>\na{}</style>", sheet},
        {"<style>/* no @import */a{}</style>", "<style>/* no */a{}</style>", sheet},
        {"<style>@\\69mport 'x';</style>", "<style></style>", style},
        {"<p style='width:exp/**/ression(x)'>a", "<p >a", style},
        {"<p style=\"background:url(java\\73 cript:x)\">a", "<p >a", style},
        {"<p style='a:&quot;/*&quot;;behavior:url(x)'>", "<p >", style},
        {"<p style='-moz-binding:url(x)'>", "<p >", style},
        // Conditional comments, and the end of the page
        {"a<!--[if IE]><script>x</script><![endif]-->b", "ab", conditional},
        {"a<a title=\"<b>", "a", unclosed},
        {"a<b ", "a", unclosed},
        {"a</", "", ""},
        {"a<!-- b", "", ""},
    };
    for (auto const& row : rows) {
        engine::CleanPage const clean = WithoutActiveContent(row.page);
        std::string const kept = row.kept.empty() && row.removed.empty() ? row.page : row.kept;
        EXPECT_EQ(clean.page, kept) << row.page;
        EXPECT_EQ(clean.Told(), row.removed) << row.page;
        EXPECT_TRUE(WithoutActiveContent(clean.page).removed.empty()) << row.page;
    }
}

TEST(HtmlCleaning, HostilePagesTakeLinearTime) {
    for (char const* repeated :
         {"<", "<!--", "<!-- --", "<!--[if x]>", "</", "<style>", "<style></stylex", "<a b='",
          "<a onclick=x =", "&#", "&#1", "<p style='@import url(", "<style>@import", "<p style=/*",
          "<p style='\\", "<script></script>", "<a href=&#106;>"}) {
        auto const page = [&](int size) {
            std::string text;
            while (text.size() < static_cast<std::size_t>(size)) text += repeated;
            return text;
        };
        EXPECT_TRUE(TakesLinearTime(100000, page, WithoutActiveContent)) << repeated;
    }
}

}  // namespace
