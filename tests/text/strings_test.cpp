#include "tessaly/text/strings.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tessaly/text/dividers.h"

TEST(Strings, SearchWithoutRegardToCase) {
    struct {
        std::string text, word;
        int place;  // -1: none
    } const cases[] = {
        {"Hello World", "WORLD", 6},
        {"ＡｂＣ", "ａＢ", 0},
        {"x", "", 0},
        {"", "", 0},
        {"表示\\x", "\\X", 4},
        {"ア\x83\x41", "a", -1},
        {"abc", "abcd", -1},
        {std::string(2000, '-') + "KEY", "key", 2000},
    };
    for (auto const& c : cases) {
        char const* const found = xcstristr(c.text.c_str(), c.word.c_str());
        EXPECT_EQ(found ? found - c.text.c_str() : -1, c.place) << c.word;
    }
    EXPECT_EQ(xcstristr(nullptr, "a"), nullptr);
}

TEST(Strings, BytesInMemory) {
    char const data[] = "ab\0cab\0d";
    EXPECT_EQ(xcmemmem(data, 8, "b\0d", 3), data + 5);
    EXPECT_EQ(xcmemmem(data, 8, data, 8), data);
    EXPECT_EQ(xcmemmem(data, 7, "b\0d", 3), nullptr);
    EXPECT_EQ(xcmemmem(data, 2, "abc", 3), nullptr);
    EXPECT_EQ(xcmemmem(data, 0, "", 0), data);
    EXPECT_EQ(CheckCharInString('b', "abc"), 1);
    EXPECT_EQ(CheckCharInString('\0', "abc"), 0);
    EXPECT_EQ(CheckCharInString('\x5C', "表"), 1);  // byte by byte
    EXPECT_EQ(IsStrAscii("a\x7F"), 1);
    EXPECT_EQ(IsStrAscii("aｱ"), 0);
}

TEST(Strings, CopyCutsNoCharacter) {
    struct {
        std::string text;
        unsigned limit;
        std::string wanted;
    } const cases[] = {
        {"漢字", 3, "漢"},
        {"漢字", 4, "漢字"},
        {"漢字", 1, ""},
        {"漢字", 0, ""},
        {"aｱ漢", 2, "aｱ"},
        {"a\x8A", 9, "a"},
        {"a\x8A\x20z", 9, "a"},
        {"a\xF0\x40z", 9, "a"},
        {"a\xA0z", 9, "a"},
        {"a\x80\x40", 9, "a"},
        {"a\r\n\x7F", 9, "a\r\n\x7F"},
    };
    for (auto const& c : cases) {
        auto const out = std::make_unique<char[]>(c.limit + 1);
        EXPECT_EQ(strncpy_mb(out.get(), c.text.c_str(), c.limit), out.get());
        EXPECT_EQ(out.get(), c.wanted) << c.text;
    }
}

TEST(Strings, LineEndsAndBlanks) {
    struct {
        char const *text, *crlf, *packed;
    } const cases[] = {
        {"", "", ""},
        {"a b\tc", "a b\tc", "abc"},
        {"a\r\nb\n\rc\rd\ne", "a\r\nb\r\nc\r\nd\r\ne", "ab\n\rc\rd\ne"},
        {"\r\r\n\n", "\r\n\r\n\r\n", "\r\n"},
        {"\n\r\n", "\r\n\r\n", "\n"},
        {"漢 字\r\n", "漢 字\r\n", "漢字"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(CrLfConverter(c.text), CString(c.crlf)) << c.text;
        std::string packed = c.text;
        DeleteBlankAndBreakLine(packed.c_str(), packed.data());
        EXPECT_STREQ(packed.c_str(), c.packed) << c.text;
    }
    EXPECT_EQ(ViolationRemoveForDomain("a-b.表Ｃ9ｱ_\x80x\xF0y\x8A"), CString("ab9"));
}

TEST(Dividers, Addresses) {
    struct {
        char const *address, *prefecture, *rest;
    } const cases[] = {
        {"", "", ""},
        {"東京都新宿区", "東京都", "新宿区"},
        {"東京都府中市", "東京都", "府中市"},
        {"北海道札幌市", "北海道", "札幌市"},
        {"京都府京都市", "京都府", "京都市"},
        {"京都市", "", "京都市"},
        {"大阪府", "大阪府", ""},
        {"鹿児島県道道市", "鹿児島県", "道道市"},
        {" 東京都新宿区", "", " 東京都新宿区"},
        {"県", "", "県"},
        {"東京県", "", "東京県"},
    };
    for (auto const& c : cases) {
        CString prefecture = "old", rest = "old";
        xc_divide_address(c.address, prefecture, rest);
        EXPECT_EQ(prefecture, CString(c.prefecture)) << c.address;
        EXPECT_EQ(rest, CString(c.rest)) << c.address;
    }
}

TEST(Dividers, NumbersAndCodes) {
    using Divide = void (*)(CString, CString&, CString&);
    struct {
        Divide divide;
        char const *text, *first, *second;
    } const cases[] = {
        {xc_divide_zipcode, "123-4567", "123", "4567"},
        {xc_divide_zipcode, "1234567", "123", "4567"},
        {xc_divide_zipcode, "123", "123", ""},
        {xc_divide_zipcode, "1-2-3", "1-2-3", ""},
        {xc_divide_zipcode, "1-2-34", "123", "4"},
        {xc_divide_zipcode, "１２３４５", "１２３", "４５"},
        {xc_divide_zipcode, "", "", ""},
        {xc_divide_telephone, "03-1234-5678", "03", "1234-5678"},
        {xc_divide_telephone, "0312345678", "", "0312345678"},
        {xc_divide_telephone, "03-", "03", ""},
        {xc_divide_telephone, "-", "", ""},
        {xc_divide_telephone, "", "", ""},
    };
    for (auto const& c : cases) {
        CString first = "old", second = "old";
        c.divide(c.text, first, second);
        EXPECT_EQ(first, CString(c.first)) << c.text;
        EXPECT_EQ(second, CString(c.second)) << c.text;
    }
    struct {
        char const *text, *code;
    } const codes[] = {{"03--1234-(5678)-", "03-1234-5678"},
                       {"-1", "-1"},
                       {"---", ""},
                       {"１a漢", ""},
                       {"", ""},
                       {"1-a-2", "1-2"}};
    for (auto const& c : codes) {
        CString out = "old";
        xc_format_codenumber(c.text, out);
        EXPECT_EQ(out, CString(c.code)) << c.text;
    }
}
