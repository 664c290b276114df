#include <gtest/gtest.h>

#include <functional>

#include "tests/platform/iconv_peer.h"
#include "tests/text/conversions.h"

// The conversions compared with the system's own, over all texts of one and two bytes that the system
// accepts.
namespace {

enum Way { sj_to_uj, uj_to_sj, sj_to_jis, uj_to_jis };
enum Where { whole_text, one_byte };

// Texts for which the two differ, and the reason: the number of the whole text, its first byte higher, or one
// of its bytes, lies in the range.
struct ExpectedDifference {
    Way way;
    Where where;
    unsigned first, last;
    char const* why;
};
constexpr ExpectedDifference expected_differences[] = {
    {sj_to_uj, one_byte, 0x7F, 0x7F, "only bytes below 0x7F are copied"},
    {sj_to_uj, whole_text, 0x8790, 0x879C, "NEC row 13; the system gives signs of row 2 as such"},
    {sj_to_uj, whole_text, 0xED40, 0xEEFC, "IBM's kanji in NEC's rows; the system gives JIS X 0212"},
    {sj_to_uj, whole_text, 0xF040, 0xF9FC, "user-defined; the system has rows of its own for them"},
    {sj_to_uj, whole_text, 0xFA40, 0xFC4B, "IBM's kanji; the system gives JIS X 0212"},
    {uj_to_sj, one_byte, 0x7F, 0x7F, "only bytes below 0x7F are copied"},
    {uj_to_sj, one_byte, 0x80, 0x8D, "opens a character, and is no control byte"},
    {uj_to_sj, one_byte, 0x90, 0x9F, "opens a character, and is no control byte"},
    {uj_to_sj, whole_text, 0xADF0, 0xADFC, "NEC row 13; the system gives signs of row 2 as such"},
    {uj_to_sj, whole_text, 0xF5A1, 0xFEFE, "user-defined; the system has rows of its own for them"},
    {sj_to_jis, one_byte, 0x1B, 0x1B, "opens an escape sequence"},
    {sj_to_jis, whole_text, 0x8740, 0x879C, "NEC row 13 is no part of JIS X 0208"},
    {sj_to_jis, whole_text, 0xED40, 0xFC4B, "IBM's and user-defined characters are no part of JIS X 0208"},
    {uj_to_jis, one_byte, 0x1B, 0x1B, "opens an escape sequence"},
    {uj_to_jis, one_byte, 0x80, 0x8D, "opens a character, and is no control byte"},
    {uj_to_jis, one_byte, 0x90, 0x9F, "opens a character, and is no control byte"},
    {uj_to_jis, whole_text, 0x8EA1, 0x8EDF, "kana between SO and SI; the system knows them in ESC ( I only"},
    {uj_to_jis, whole_text, 0xADA1, 0xADFC, "NEC row 13 is no part of JIS X 0208"},
    {uj_to_jis, whole_text, 0xF5A1, 0xFEFE, "user-defined characters are no part of JIS X 0208"},
};

bool IsIn(ExpectedDifference const& row, unsigned text) {
    auto const inside = [&row](unsigned value) { return value >= row.first && value <= row.last; };
    return row.where == whole_text ? inside(text) : inside(text & 0xFF) || inside(text >> 8);
}

// Goes through all texts of one and two bytes that are valid in `code`. `same` compares the result with the
// system's. A row of the table without a difference fails as well.
void CompareAll(Way way, char const* code, std::function<bool(std::string const&)> same) {
    IconvPeer valid("UTF-16LE", code);
    std::string result;
    int seen[std::size(expected_differences)] = {};
    for (unsigned text = 1; text <= 0xFFFF; ++text) {
        bool const holds_nul = text > 0xFF && (text & 0xFF) == 0;
        if (holds_nul || !valid.Convert(BytesOf(text), result) || same(BytesOf(text))) continue;
        bool expected = false;
        for (std::size_t i = 0; i < std::size(expected_differences); ++i) {
            if (expected_differences[i].way != way || !IsIn(expected_differences[i], text)) continue;
            ++seen[i];
            expected = true;
        }
        EXPECT_TRUE(expected) << std::hex << text;
    }
    for (std::size_t i = 0; i < std::size(expected_differences); ++i)
        if (expected_differences[i].way == way) {
            EXPECT_GT(seen[i], 0) << "row " << i;
        }
}

}  // namespace

TEST(KanjiPeer, ShiftJisToEuc) {
    IconvPeer peer("EUC-JP-MS", "CP932");
    std::string result;
    CompareAll(sj_to_uj, "CP932", [&](std::string const& text) {
        return peer.Convert(text, result) && result == Converted("sjtouj", text);
    });
}

TEST(KanjiPeer, EucToShiftJis) {
    IconvPeer peer("CP932", "EUC-JP-MS");
    std::string result;
    CompareAll(uj_to_sj, "EUC-JP-MS", [&](std::string const& text) {
        return peer.Convert(text, result) && result == Converted("ujtosj", text);
    });
}

// What is written as JIS is read back by the system's decoder.
TEST(KanjiPeer, ShiftJisToJis) {
    IconvPeer decoder("CP932", "ISO-2022-JP-3");
    std::string result;
    CompareAll(sj_to_jis, "CP932", [&](std::string const& text) {
        return decoder.Convert(Converted("sjtojis7", text), result) && result == text;
    });
}

TEST(KanjiPeer, EucToJis) {
    IconvPeer decoder("EUC-JP-MS", "ISO-2022-JP-3");
    std::string result;
    CompareAll(uj_to_jis, "EUC-JP-MS", [&](std::string const& text) {
        return decoder.Convert(Converted("ujtojis7", text), result) && result == text;
    });
}

// Every cell of JIS X 0208 that the system knows, and of JIS X 0212, out of JIS.
TEST(KanjiPeer, JisToTheOthers) {
    IconvPeer shift_jis("CP932", "EUC-JP-MS"), supplement("EUC-JP", "ISO-2022-JP-2");
    int cells = 0;
    for (unsigned row = 0x21; row <= 0x7E; ++row)
        for (unsigned column = 0x21; column <= 0x7E; ++column) {
            std::string const cell = BytesOf(row << 8 | column), euc = BytesOf((row << 8 | column) | 0x8080);
            std::string const jis = "\x1B$B" + cell + "\x1B(B";
            EXPECT_EQ(Converted("jis7touj", jis), euc);
            EXPECT_EQ(Converted("ujtojis7", euc), jis);
            std::string result;
            bool const user_defined = row >= 0x75;
            bool const twice = row == 0x2D && column >= 0x70;
            if (!user_defined && !twice && shift_jis.Convert(euc, result)) {
                EXPECT_EQ(Converted("jis7tosj", jis), result) << std::hex << row << column;
                ++cells;
            }
            EXPECT_EQ(Converted("jis7touj", "\x1B)D\x0E" + cell), "\x8F" + euc);
            if (supplement.Convert("\x1B$(D" + cell + "\x1B(B", result)) {
                EXPECT_EQ(Converted("ujtojis7", result), "\x1B$(D" + cell + "\x1B(B");
            }
        }
    EXPECT_GT(cells, 6879);  // as many as JIS X 0208 has, and the rest of NEC row 13
}
