#include "tessaly/platform/mbcs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/platform/iconv_peer.h"

namespace {

constexpr std::size_t npos = std::string_view::npos;

bool IsBetween(char16_t unit, char16_t first, char16_t last) { return unit >= first && unit <= last; }

// The same letter in the other case, by its Unicode value: ASCII and full-width Latin only.
char16_t LowerUnit(char16_t unit) {
    return IsBetween(unit, u'A', u'Z') || IsBetween(unit, u'Ａ', u'Ｚ') ? unit + 0x20 : unit;
}
char16_t UpperUnit(char16_t unit) {
    return IsBetween(unit, u'a', u'z') || IsBetween(unit, u'ａ', u'ｚ') ? unit - 0x20 : unit;
}

// `character` with another Unicode value only.
std::string Recased(Codepage932Character const& character, char16_t unit, IconvPeer& from_utf16) {
    if (unit == character.unit) return character.bytes;
    std::string bytes;
    from_utf16.Convert({static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)}, bytes);
    return bytes;
}

// The plainest search there is: character by character from the start.
std::vector<std::size_t> PlacesOf(std::string_view text, std::string_view word, std::size_t start = 0) {
    std::vector<std::size_t> places;
    for (std::size_t at = start; at < text.size(); at += platform::CharacterSize(text, at))
        if (text.substr(at).starts_with(word)) places.push_back(at);
    return places;
}

int Sign(int value) { return (value > 0) - (value < 0); }

}  // namespace

TEST(Mbcs, CaseOfEveryCharacterFollowsItsUnicodeValue) {
    IconvPeer from_utf16("CP932", "UTF-16LE");
    int letters = 0;
    std::vector<Codepage932Character> const all = AllCharacters();
    ASSERT_GT(all.size(), 9000U);
    for (Codepage932Character const& character : all) {
        std::string const lower = Recased(character, LowerUnit(character.unit), from_utf16);
        std::string const upper = Recased(character, UpperUnit(character.unit), from_utf16);
        std::string text = character.bytes;
        ASSERT_EQ(platform::mbslwr(text.data()), lower) << std::hex << character.code;
        text = character.bytes;
        platform::Upper(text.data(), text.size());
        ASSERT_EQ(text, upper) << std::hex << character.code;
        for (std::string const& other : {lower, upper}) {
            ASSERT_EQ(platform::mbsicmp(character.bytes.c_str(), other.c_str()), 0);
            ASSERT_TRUE(platform::EqualNoCase(character.bytes, other));
            ASSERT_EQ(platform::mbscmp(character.bytes.c_str(), other.c_str()) == 0,
                      character.bytes == other);
            letters += character.bytes != other;
        }
    }
    EXPECT_EQ(letters, 4 * 26);
}

TEST(Mbcs, OrderOfEveryCharacterIsThatOfItsCode) {
    std::vector<Codepage932Character> const all = AllCharacters();
    std::vector<Codepage932Character> shuffled = all;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(932));
    std::sort(shuffled.begin(), shuffled.end(), [](auto const& a, auto const& b) {
        return platform::mbscmp(a.bytes.c_str(), b.bytes.c_str()) < 0;
    });
    for (std::size_t i = 0; i < all.size(); ++i) ASSERT_EQ(shuffled[i].code, all[i].code);

    auto const before = [](std::string const& a, std::string const& b) {
        return platform::mbsicmp(a.c_str(), b.c_str()) < 0;
    };
    std::set<std::string, decltype(before)> without_case(before);
    for (Codepage932Character const& character : all) without_case.insert(character.bytes);
    EXPECT_EQ(without_case.size(), all.size() - 2 * 26);
}

TEST(Mbcs, ComparesWholeTexts) {
    struct {
        char const *a, *b;
        int exact, no_case;
    } const rows[] = {
        {nullptr, nullptr, 0, 0},
        {nullptr, "", 0, 0},
        {"", "a", -1, -1},
        {"abc", "abd", -1, -1},
        {"abc", "ab", 1, 1},
        {"Z", "a", -1, 1},
        {"Taro@Example.JP", "taro@example.jp", -1, 0},
        {"ＡＢｃ", "ａｂＣ", -1, 0},
        {"Ａ", "A", 1, 1},
        {"ｱ", "ア", -1, -1},  // a single byte, though its value is above the lead byte's
        {"Ω", "ω", -1, -1},
        {"Я", "я", -1, -1},
        {"\x83\x41", "\x83\x61", -1, -1},  // ア and チ differ only in what would be the case of an ASCII byte
        {"表A", "表a", -1, 0},
        {"\x82\x5F", "\x82\x80", -1, -1},  // in front of the full-width letters, and behind them
        {"\x82\x7A", "\x82\x9B", -1, -1},
        {"\x83", "\x83", 0, 0},
        {"\x83", "\x83\x41", -1, -1},
        {"a\x83", "b", -1, -1},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(Sign(platform::mbscmp(row.a, row.b)), row.exact);
        EXPECT_EQ(Sign(platform::mbscmp(row.b, row.a)), -row.exact);
        EXPECT_EQ(Sign(platform::mbsicmp(row.a, row.b)), row.no_case);
        EXPECT_EQ(Sign(platform::mbsicmp(row.b, row.a)), -row.no_case);
        if (row.a && row.b) {
            EXPECT_EQ(platform::EqualNoCase(row.a, row.b), row.no_case == 0);
        }
    }
    char lone[] = "A\x82";
    EXPECT_STREQ(platform::mbslwr(lone), "a\x82");
    EXPECT_EQ(platform::mbslwr(nullptr), nullptr);
}

TEST(Mbcs, FindsNoCharacterInsideOrAcrossOthers) {
    for (Codepage932Character const& character : AllCharacters()) {
        if (character.code <= 0xFF) continue;
        SCOPED_TRACE(character.code);
        std::string const& word = character.bytes;
        char const trail = word[1];
        std::string const doubled = "ア" + word + word;
        if (!platform::IsLeadByte(trail)) {
            ASSERT_EQ(platform::Find(doubled, trail), npos);
            ASSERT_EQ(platform::ReverseFind(doubled, trail), npos);
            ASSERT_EQ(platform::mbsstr(doubled.c_str(), BytesOf(word[1] & 0xFF).c_str()), nullptr);
            ASSERT_EQ(platform::Find(doubled + trail, trail), doubled.size());
            ASSERT_EQ(platform::ReverseFind(trail + doubled, trail), 0U);
        }
        // The two bytes of the word stand side by side, but belong to two characters.
        std::string const across =
            (word[0] == '\x84' ? "\x83" : "\x84") + word + (platform::IsLeadByte(trail) ? "A" : "");
        ASSERT_EQ(platform::Find(across, word), npos);
        ASSERT_EQ(platform::Find(across + word, word), across.size());
        std::string const text = across + word;
        ASSERT_EQ(platform::mbsstr(text.c_str(), word.c_str()), text.c_str() + across.size());
    }
}

TEST(Mbcs, SearchAgreesWithAWalkOverTheText) {
    std::mt19937 random(1);
    std::string_view const alphabet = "aA\\\x81\x82\x83\xE0\x41\x5C\xB1";
    for (int round = 0; round < 5000; ++round) {
        std::string text, word;
        for (std::size_t i = random() % 24; i > 0; --i) text += alphabet[random() % alphabet.size()];
        for (std::size_t i = 1 + random() % 3; i > 0; --i) word += alphabet[random() % alphabet.size()];
        std::vector<std::size_t> const places = PlacesOf(text, word);
        ASSERT_EQ(platform::Find(text, word), places.empty() ? npos : places.front());
        std::vector<std::size_t> const singles = PlacesOf(text, word.substr(0, 1));
        ASSERT_EQ(platform::Find(text, word[0]), singles.empty() ? npos : singles.front());
        ASSERT_EQ(platform::ReverseFind(text, word[0]), singles.empty() ? npos : singles.back());
        for (std::size_t start = 0; start < text.size(); start += platform::CharacterSize(text, start)) {
            std::vector<std::size_t> const later = PlacesOf(text, word, start);
            ASSERT_EQ(platform::Find(text, word, start), later.empty() ? npos : later.front());
        }
    }
    EXPECT_EQ(platform::Find("abc", "", 3), 3U);
    EXPECT_EQ(platform::Find("abc", "", 4), npos);
    EXPECT_EQ(platform::Find("abc", "c", 9), npos);
    EXPECT_STREQ(platform::mbsstr("abc", nullptr), "abc");
    EXPECT_STREQ(platform::mbsstr(nullptr, ""), "");
    EXPECT_EQ(platform::mbsstr(nullptr, "a"), nullptr);
}

// A search that went back over the same lead bytes for every hit would take a minute.
TEST(Mbcs, SearchStaysLinearInRunsOfLeadBytes) {
    std::string text;
    for (int i = 0; i < 150'000; ++i) text += "\x81\x82";
    std::clock_t const start = std::clock();
    EXPECT_EQ(platform::Find(text, '\x82'), npos);
    EXPECT_EQ(platform::Find(text, "\x82\x81"), npos);
    EXPECT_EQ(platform::ReverseFind(text, '\x82'), npos);
    EXPECT_EQ(platform::ReverseFind(text, '\x81'), text.size() - 2);
    EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);
}

TEST(Mbcs, SplitsPaths) {
    struct {
        char const *path, *drive, *directory, *name, *extension;
    } const rows[] = {
        {"C:\\表\\ソース\\能.dat", "C:", "\\表\\ソース\\", "能", ".dat"},
        {"C:\\a.b\\c", "C:", "\\a.b\\", "c", ""},
        {"d:c.tar.gz", "d:", "", "c.tar", ".gz"},
        {"\\mail/list.dat", "", "\\mail/", "list", ".dat"},
        {"/a/", "", "/a/", "", ""},
        {".profile", "", "", "", ".profile"},
        {"十.ー", "", "", "十", ".ー"},
        {"\x81:", "", "", "\x81:", ""},
        {"C:", "C:", "", "", ""},
        {"", "", "", "", ""},
        {nullptr, "", "", "", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        CString drive("x"), directory("x"), name("x"), extension("x");
        platform::splitpath(row.path, &drive, &directory, &name, &extension);
        EXPECT_STREQ(drive, row.drive);
        EXPECT_STREQ(directory, row.directory);
        EXPECT_STREQ(name, row.name);
        EXPECT_STREQ(extension, row.extension);
    }
    CString path("C:\\dir\\name.dat");
    platform::splitpath(path, nullptr, &path, nullptr, nullptr);
    EXPECT_STREQ(path, "\\dir\\");
}
