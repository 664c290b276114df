#include "tessaly/text/width.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tessaly/text/kana_convert_tbl.h"
#include "tessaly/text/sjis_kana_converter.h"
#include "tests/text/conversions.h"

namespace {

using Function = void (*)(char* out, char const* text);

// In a block of exactly `size` bytes.
std::string Through(Function function, std::string const& text, std::size_t size) {
    auto const out = std::make_unique<char[]>(size);
    function(out.get(), text.c_str());
    return out.get();
}
std::string Zen(std::string const& text) { return Through(xc_han2zen_sjis_all, text, 2 * text.size() + 1); }
std::string ZenKana(std::string const& text) {
    return Through(xc_han2zen_sjis_kana, text, 2 * text.size() + 1);
}
std::string Han(std::string const& text) { return Through(xc_zen2han_sjis_all, text, text.size() + 1); }

}  // namespace

TEST(Width, ToFullWidth) {
    struct {
        std::string text, all, kana;
    } const cases[] = {
        {"", "", ""},
        {"ｶﾞ", "ガ", "ガ"},
        {"ｱﾞ", "ア゛", "ア゛"},
        {"ﾊﾟﾊﾞﾜﾞｳﾞﾊﾊﾟ", "パバワ゛ヴハパ", "パバワ゛ヴハパ"},
        {"ﾞﾟ", "゛゜", "゛゜"},
        {"A~\t1", "Ａ~\t１", "A~\t1"},
        {" \"'`\\-", "　”’‘￥－", " \"'`\\-"},
        {"表ﾎﾟ漢", "表ポ漢", "表ポ漢"},
        {"ｶ\x8A", "カ", "カ"},
        {"\xF0z\xA0\xFF\x80", "\xF0ｚ\xA0\xFF\x80", "\xF0z\xA0\xFF\x80"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(Zen(c.text), c.all) << c.text;
        EXPECT_EQ(ZenKana(c.text), c.kana) << c.text;
    }
}

TEST(Width, ToHalfWidth) {
    struct {
        std::string text, half;
    } const cases[] = {
        {"ガパヴ", "ｶﾞﾊﾟｳﾞ"},
        {"ァィッャヮワ", "ｧｨｯｬﾜﾜ"},
        {"ヰヱヵヶ", "ヰヱヵヶ"},
        {"、。・゛゜ー「」", "､｡･ﾞﾟｰ｢｣"},
        {"０９ＡＺａｚ", "09AZaz"},
        {"～×ひ漢①", "～×ひ漢①"},
        {"a\x83\x7Fz", "az"},
        {"ア\x83", "ｱ\x83"},
        {"\x82\x01\x81", "\x82\x01\x81"},
    };
    for (auto const& c : cases) EXPECT_EQ(Han(c.text), c.half) << c.text;
}

TEST(Width, ThereAndBackGivesTheText) {
    std::string ascii, kana;
    for (char c = ' '; c <= '}'; ++c) ascii += c;
    for (int c = 0xA1; c <= 0xDF; ++c) kana += static_cast<char>(c);
    EXPECT_EQ(Zen(ascii).size(), 2 * ascii.size());
    EXPECT_EQ(Han(Zen(ascii)), ascii);
    EXPECT_EQ(Han(ZenKana(kana)), kana);
}

// No text writes past the promised size (the address sanitizer checks), and both forms of the kana conversion
// agree.
TEST(Width, BrokenTextsFit) {
    BrokenTexts texts(3);
    for (int i = 0; i < 20000; ++i) {
        std::string const text = texts.Next();
        EXPECT_LE(Zen(text).size(), 2 * text.size());
        EXPECT_LE(Han(text).size(), text.size());
        unsigned long size = 0;
        if (!CSjisKanaConverter::GetSizeAfterConvertKana(text.c_str(), size)) continue;
        auto const out = std::make_unique<char[]>(size + 1);
        EXPECT_EQ(CSjisKanaConverter::ConvertKana(text.c_str(), out.get()), CSjisKanaConverter::converted);
        EXPECT_EQ(std::string(out.get()).size(), size);
    }
}

TEST(SjisKanaConverter, ConvertsKanaAndTellsTheSize) {
    struct {
        std::string text, wanted;
    } const cases[] = {
        {"", ""},
        {"ｶﾞ", "ガ"},
        {"ｶ", "カ"},
        {"ABC~ｱﾞﾊﾟ", "ABC~ア゛パ"},
        {"ﾞ漢ﾎﾟ", "゛漢ポ"},
        {"\x80ｶ", "\x80ｶ"},
        {"\xF0@ｱ", "\xF0@ア"},
        {"\xA0", "\xA0"},
    };
    unsigned long size = 0;
    for (auto const& c : cases) {
        char out[64];
        EXPECT_EQ(CSjisKanaConverter::ConvertKana(c.text.c_str(), out), 1);
        EXPECT_EQ(out, c.wanted);
        EXPECT_EQ(CSjisKanaConverter::GetSizeAfterConvertKana(c.text.c_str(), size), 1);
        EXPECT_EQ(size, c.wanted.size()) << c.text;
    }
    for (char const* cut : {"\x8A", "ｱ\x8A", "a\x80", "a\xFF"}) {
        char out[8] = "xxxxxxx";
        size = 77;
        EXPECT_EQ(CSjisKanaConverter::ConvertKana(cut, out), 0) << cut;
        EXPECT_EQ(CSjisKanaConverter::GetSizeAfterConvertKana(cut, size), 0) << cut;
        EXPECT_EQ(size, 77u);
    }
}

// The order of JIS X 0208 gives the forms: from ア to ン they ascend, a small kana stands in front of its
// large one, a voiced form behind its plain one, a semi-voiced form behind that.
TEST(KanaConvertTbl, FormsOfAllKana) {
    CKanaConvertTbl const& table = itsKanaConvertTbl;
    auto const cell = [&table](char kana, int voiced = 0, int semi_voiced = 0) {
        char const* const form = table.ConvHalfKanaToJisX208Kana(kana, voiced, semi_voiced);
        return form ? static_cast<unsigned char>(form[0]) << 8 | static_cast<unsigned char>(form[1]) : 0;
    };
    int last = 0x2521, voiced = 0, semi_voiced = 0;
    for (int byte = 0; byte < 256; ++byte) {
        char const kana = static_cast<char>(byte);
        ASSERT_EQ(cell(kana) != 0, byte >= 0xA1 && byte <= 0xDF) << byte;
        if (byte >= 0xB1 && byte <= 0xDD) {
            EXPECT_GT(cell(kana), last);
            last = cell(kana);
        }
        for (int const mark : {1, 2}) {
            int const marked = cell(kana, mark == 1, mark == 2);
            int const allowed = mark == 1 ? table.IsAllowedDakuten(kana) : table.IsAllowedHanDakuten(kana);
            EXPECT_EQ(marked != 0, allowed != 0) << byte;
            if (!allowed) continue;
            EXPECT_EQ(marked, kana == "ｳ"[0] ? 0x2574 : cell(kana) + mark);
            ++(mark == 1 ? voiced : semi_voiced);
        }
        for (char const* form :
             {table.Conv1byteKanaTo2byteKana(kana, 0, 0), table.Conv1byteKanaTo2byteKana(kana, 1, 1),
              table.Conv1byteKanaTo2byteKana(kana, 0, 1)}) {
            if (!form) continue;
            EXPECT_EQ(Han(form)[0], kana) << byte;
        }
    }
    EXPECT_EQ(last, 0x2573);
    EXPECT_EQ(voiced, 21);
    EXPECT_EQ(semi_voiced, 5);
    std::string const small = "ｧｨｩｪｫｬｭｮｯ", large = "ｱｲｳｴｵﾔﾕﾖﾂ";
    for (std::size_t i = 0; i < small.size(); ++i) EXPECT_EQ(cell(small[i]), cell(large[i]) - 1);
    EXPECT_EQ(table.GetLenOfJisX208OneKana(), 2);
}

TEST(Width, SearchWithoutRegardToWidth) {
    struct {
        std::string text, word;
        int same_case, any_case;
    } const cases[] = {
        {"ＡＢＣ商事", "ABC", 1, 1},
        {"abc商事", "ＡＢＣ", 0, 1},
        {"ｶﾞﾗｽ", "ガラ", 1, 1},
        {"ガラス", "ｶﾗ", 0, 0},
        {"商事", "", 1, 1},
        {"", "商", 0, 0},
        {"", "", 1, 1},
        {"表示", "\x5C", 0, 0},
        {std::string(3000, 'x') + "END", "Ｅnd", 0, 1},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(xcstrhzstr(c.text.c_str(), c.word.c_str()), c.same_case) << c.text;
        EXPECT_EQ(xcstrhzistr(c.text.c_str(), c.word.c_str()), c.any_case) << c.text;
    }
    EXPECT_EQ(xcstrhzstr(nullptr, "a"), 0);
    EXPECT_EQ(xcstrhzistr("a", nullptr), 1);
}
