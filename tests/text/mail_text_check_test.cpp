#include "tessaly/text/mail_text_check.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(MailTextCheck, OneLineOfShiftJis) {
    struct {
        std::string text;
        int clean;
        std::string out;
    } const cases[] = {
        {"", 1, ""},
        {"表 ｱ\tA~", 1, "表 ｱ\tA~"},
        {"①", 1, "①"},
        {"\xF0\x40\xFC\x01", 1, "\xF0\x40\xFC\x01"},
        {"\x80\x40", 1, "\x80\x40"},
        {"\x9F\x7E\xE0\x80\xEF\xFC", 1, "\x9F\x7E\xE0\x80\xEF\xFC"},
        {"ab\r\n", 0, "ab"},
        {"a\x7F", 0, "a"},
        {"a\xA0z", 0, "a"},
        {"a\xFDz", 0, "a"},
        {"漢\x8A", 0, "漢"},
        {"漢\x8A\x20z", 0, "漢"},
        {"漢\xF0", 0, "漢"},
    };
    for (auto const& c : cases) {
        std::vector<char> out(c.text.size() + 1);
        EXPECT_EQ(CheckCharacterCodeForWinSJIS(c.text.c_str(), out.data()), c.clean) << c.text;
        EXPECT_EQ(std::string(out.data()), c.out) << c.text;
        EXPECT_EQ(CheckCharacterCodeForWinSJIS(c.text.c_str(), nullptr), c.clean);
    }
    // Both bytes of a broken pair are skipped; every forbidden character is marked.
    char out[8];
    EXPECT_EQ(CheckCharacterCodeForWinSJIS("\x8A\nb\nc", out), 0);
    EXPECT_EQ(std::string(out, 5), std::string("\0\nb\0c", 5));
}

TEST(MailTextCheck, BodyOfAMail) {
    struct {
        std::string text;
        int kana, machine, broken;
        std::vector<std::string> found;
    } const cases[] = {
        {"", 1, 1, 1, {}},
        {"表\r\n\x01漢字\x80\x40", 1, 1, 1, {}},
        {"①ｱ", 0, 0, 1, {"①", "ｱ"}},
        {"ｱaｱ", 0, 1, 1, {"ｱ", "ｱ"}},
        {"\x87\x9C\x87\x9D", 1, 0, 1, {"\x87\x9C"}},
        {"\xF0\x40", 1, 0, 1, {"\xF0\x40"}},
        {"\xF0", 1, 0, 0, {"\xF0"}},
        {"a\x8A\x20\x8A", 1, 1, 0, {"\x8A\x20", "\x8A"}},
        {"\x87\x7F", 1, 1, 0, {"\x87\x7F"}},
        {"\x7F\xA0\xFD\xFF", 1, 1, 0, {"\x7F", "\xA0", "\xFD", "\xFF"}},
    };
    for (auto const& c : cases) {
        int kana = 7, machine = 7, broken = 7;
        int const clean = c.kana && c.machine && c.broken;
        EXPECT_EQ(CheckMailBodyCharacterCode(c.text.c_str(), kana, machine, broken), clean) << c.text;
        CStringArray found;
        found.Add("old");
        EXPECT_EQ(CheckMailBodyCharacterCode(c.text.c_str(), kana, machine, broken, found), clean);
        EXPECT_EQ((std::vector<int>{kana, machine, broken}), (std::vector<int>{c.kana, c.machine, c.broken}))
            << c.text;
        EXPECT_EQ(std::vector<std::string>(found.begin(), found.end()), c.found);
    }
}

TEST(MailTextCheck, FormatReplacesRowAfterRow) {
    CodeConvertStruct table[] = {{"㈱", "(株)"}, {"㈲", "(有)"}, {"\r", ""},
                                 {"\n", ""},     {"\\", "!"},    {nullptr, nullptr}};
    CString out = "old";
    xc_format_string4mail("㈱ｶﾞ\r\nABC表㈲㈱", out, table);
    EXPECT_EQ(out, CString("(株)ガABC表(有)(株)"));
    xc_format_string4mail(out, out, nullptr);
    EXPECT_EQ(out, CString("(株)ガABC表(有)(株)"));
    xc_format_string4mail("", out, table);
    EXPECT_TRUE(out.IsEmpty());
}
