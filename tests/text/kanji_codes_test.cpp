#include "tessaly/text/kanji_codes.h"

#include <gtest/gtest.h>

#include "tests/text/conversions.h"

namespace {

struct Case {
    std::string_view conversion;
    std::string text, wanted;
};

// The text with its control bytes as names.
std::string Text(std::string text) {
    static std::pair<std::string_view, char> const names[] = {
        {"{ESC}", 0x1B}, {"{SO}", 0x0E}, {"{SI}", 0x0F}};
    for (auto const& [name, byte] : names)
        for (std::size_t at; (at = text.find(name)) != text.npos;) text.replace(at, name.size(), 1, byte);
    return text;
}

}  // namespace

// Rules that no other converter has.
TEST(KanjiCodes, StatesShiftsAndBrokenTexts) {
    Case const cases[] = {
        // To JIS: an escape sequence at each change of set, none in plain ASCII, a proper end.
        {"sjtojis7", "", ""},
        {"sjtojis7", "plain \t~\x7F", "plain \t~\x7F"},
        {"sjtojis7", "a漢字b", "a{ESC}$B4A;z{ESC}(Bb"},
        {"sjtojis7", "ｱ漢ｶﾞ", "{ESC}(I1{ESC}$B4A{ESC}(I6^{ESC}(B"},
        {"sjtojis7 full", "ｱ漢ｶﾞ", "{ESC}$B%\"4A%+!+{ESC}(B"},
        {"sjtojis7", "漢\x8A", "{ESC}$B4A{ESC}(B"},
        {"sjtojis7", "a\x8A", "a"},
        {"sjtojis7", "\x81\nx", "{ESC}$B!\xEB{ESC}(Bx"},
        {"ujtojis7", "a\xB4\xC1z", "a{ESC}$B4A{ESC}(Bz"},
        {"ujtojis7", "\x8E\xB1\x8E\xB6z", "{SO}16{SI}z"},
        {"ujtojis7", "\xB4\xC1\x8E\xB1\xB4\xC1", "{ESC}$B4A{ESC}(J{SO}1{SI}{ESC}$B4A{ESC}(B"},
        {"ujtojis7", "\xB4\xC1\x8E\xB1z", "{ESC}$B4A{ESC}(J{SO}1{SI}z"},
        {"ujtojis7", "\x8F\xB0\xA1\xB4\xC1", "{ESC}$(D0!{ESC}$B4A{ESC}(B"},
        {"ujtojis7", "\x8F\xB0\xA1\x8F\xB0", "{ESC}$(D0!{ESC}(B"},
        {"ujtojis7", "\x8E\xB1\xB4", "{SO}1{SI}"},
        {"ujtojis7 full", "\x8E\xB1\x8E\xDEz", "{ESC}$B%\"!+{ESC}(Bz"},
        {"ujtojis7 full", "\x8E\xE1z", "{SO}a{SI}z"},
        // From JIS: sets, shifts, designations.
        {"jis7tosj", "{ESC}$@4A{ESC}(Ja{ESC}$B;z", "漢a字"},
        {"jis7tosj", "{ESC}(I16{ESC}(Ba", "ｱｶa"},
        {"jis7tosj", "{ESC}(I1{SI}1{SO}1", "ｱ1ｱ"},
        {"jis7tosj", "{ESC}$B4A{ESC}(I1{SI};z", "漢ｱ字"},
        {"jis7tosj", "{SO}ab{SI}c", "c"},
        {"jis7tosj", "{ESC})D0!0\"{SI}c", "c"},
        {"jis7tosj", "{ESC})D0!{SI}{ESC}(I1{SI}{ESC})D{SI}{SO}0!{ESC}(Bc", "ｱc"},
        {"jis7tosj", "a{ESC}$Axy{ESC}(Bz", "az"},
        {"jis7tosj", "{ESC}(I1{ESC}$A2{SI}x{ESC}(Bz", "ｱｲz"},
        {"jis7tosj", "{ESC}$B4A;", "漢"},
        {"jis7tosj", "a{ESC}$", "a"},
        {"jis7tosj", "\xA4z", "\xA4z"},
        // The second byte of a pair may be any byte, ESC too.
        {"jis7tosj", "{ESC}$B!{ESC}(Bz", "\x81:\x84\xC0"},
        {"jis7touj", "{ESC}$B!{ESC}(Bz", "\xA1\x9B\xA8\xC2"},
        {"jis7touj", "{ESC}$B4A{ESC}(I;z{SO}1{SI}4A", "\xB4\xC1\xBB\xFA\x8E\xB1\xB4\xC1"},
        {"jis7touj", "{ESC}(I{SO}1{ESC}$B1{SI}4A{ESC}(Bz", "\x8E\xB1\x8E\xB1\xB4\xC1z"},
        {"jis7touj", "{ESC})D{SO}0!0", "\x8F\xB0\xA1"},
        {"jis7touj", "{SO}ab{SI}z", "z"},
        // Between EUC-JP and Shift-JIS.
        {"ujtosj", "a\x8E\xB1\xB4\xC1\xB4", "aｱ漢"},
        {"sjtouj", "aｱ漢\x8A", "a\x8E\xB1\xB4\xC1"},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(Converted(c.conversion, Text(c.text)), Text(c.wanted)) << c.conversion << " " << c.text;
    }
}

TEST(KanjiCodes, WholeTextsSurviveTheWayThereAndBack) {
    std::mt19937 random(7);
    static std::string const pieces[] = {
        "漢", "字", "カ", "ー", "ｶ", "ﾞ", "表", "a", " ", "\r\n", "long ascii run ", "～", "熙"};
    for (int i = 0; i < 5000; ++i) {
        std::string text;
        for (auto left = random() % 40; left > 0; --left) text += pieces[random() % std::size(pieces)];
        std::string const jis = Converted("sjtojis7", text);
        EXPECT_EQ(Converted("jis7tosj", jis), text);
        EXPECT_EQ(Converted("ujtosj", Converted("sjtouj", text)), text);
        EXPECT_EQ(Converted("utf8tosj", Converted("sjtoutf8", text)), text);
        EXPECT_EQ(Converted("jis7tosj", Converted("header 30", text)), text);
        EXPECT_TRUE(jis.find('\x1B') == jis.npos || jis.rfind("\x1B(B") == jis.rfind('\x1B')) << text;
    }
}

TEST(KanjiCodes, HeaderTextReturnsToAsciiBehindTheLimit) {
    struct {
        int limit;
        std::string text, wanted;
    } const cases[] = {
        {30, "", ""},
        {30, "ab", "{ESC}(Jab{ESC}(B"},
        {6, "漢字漢", "{ESC}$B4A;z{ESC}(B{ESC}$B4A{ESC}(B"},  // 3 + 2 + 2 columns pass the limit
        {7, "漢字漢", "{ESC}$B4A;z4A{ESC}(B"},
        {4, "漢字", "{ESC}$B4A{ESC}(B{ESC}$B;z{ESC}(B"},
        {4, "ab漢", "{ESC}(Jab{ESC}(B{ESC}$B4A{ESC}(B"},
        {8, "abｱ漢", "{ESC}(Jab{ESC}(I1{ESC}(B{ESC}$B4A{ESC}(B"},
        {4, "漢\x8A", "{ESC}$B4A{ESC}(B"},
        {-1, "ｱ", "{ESC}(I1{ESC}(B"},
    };
    for (auto const& c : cases) {
        std::string out(SizeOfSjToJis7ForHeader(c.text.size()), 'x');
        EXPECT_EQ(sjtojis7_for_header(out.data(), c.text.c_str(), 0, c.limit), Text(c.wanted)) << c.text;
    }
    char out[] = "x";
    EXPECT_EQ(sjtojis7_for_header(nullptr, "a", 0, 30), nullptr);
    EXPECT_STREQ(sjtojis7_for_header(out, nullptr, 0, 30), "");
}

TEST(KanjiCodes, NullTextsAreEmpty) {
    for (Conversion const& conversion : conversions) {
        char out[] = "x";
        EXPECT_STREQ(conversion.convert(out, nullptr), "") << conversion.name;
        EXPECT_EQ(conversion.convert(nullptr, "a"), nullptr) << conversion.name;
    }
}
