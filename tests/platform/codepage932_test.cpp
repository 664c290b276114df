#include "tessaly/platform/codepage932.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/iconv_peer.h"

namespace {

std::string Utf8(char8_t const* text) { return reinterpret_cast<char const*>(text); }

std::string UnitBytes(unsigned unit) {
    return {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
}

}  // namespace

// The first use comes from many threads at once.
TEST(Codepage932, ThreadsShareOneTable) {
    std::vector<std::thread> threads;
    std::vector<int> sums(8);
    for (int& sum : sums)
        threads.emplace_back([&sum] {
            for (unsigned code = 0; code <= 0xFFFF; ++code)
                sum += platform::UnicodeOf(static_cast<std::uint16_t>(code)) != 0;
        });
    for (std::thread& thread : threads) thread.join();
    for (int const sum : sums) EXPECT_EQ(sum, static_cast<int>(AllCharacters().size()));
}

TEST(Codepage932, EveryCodeAndEveryUnitIsTheSystems) {
    IconvPeer to_utf16("UTF-16LE", "CP932"), from_utf16("CP932", "UTF-16LE");
    std::string codes, units, result;
    for (unsigned code = 1; code <= 0xFFFF; ++code) {
        unsigned const unit = platform::UnicodeOf(static_cast<std::uint16_t>(code));
        if (unit) {
            codes += BytesOf(code);
            units += UnitBytes(unit);
        } else if (code <= 0xFF || code >= 0x8100) {
            ASSERT_FALSE(to_utf16.Convert(BytesOf(code), result) && result.size() == 2) << std::hex << code;
        }
    }
    EXPECT_TRUE(to_utf16.Convert(codes, result));
    EXPECT_EQ(result, units);

    codes.clear();
    units.clear();
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        unsigned const code = platform::Cp932Of(static_cast<std::uint16_t>(unit));
        if (code) {
            units += UnitBytes(unit);
            codes += BytesOf(code);
        } else {
            ASSERT_FALSE(from_utf16.Convert(UnitBytes(unit), result)) << std::hex << unit;
        }
    }
    EXPECT_TRUE(from_utf16.Convert(units, result));
    EXPECT_EQ(result, codes);
    EXPECT_EQ(platform::UnicodeOf(0), 0);
    EXPECT_EQ(platform::Cp932Of(0), 0);
}

TEST(Codepage932, WholeTexts) {
    struct {
        std::string_view cp932;
        std::string utf8;
        bool exact;
    } const rows[] = {
        {"", "", true},
        {"表計算ソフト\r\n", Utf8(u8"表計算ソフト\r\n"), true},
        {"①㈱髙﨑～－∥ｱﾞ", Utf8(u8"①㈱髙﨑～－∥ｱﾞ"), true},
        {"\x83", "?", false},
        {"a\x83\nb", "a?\nb", false},  // the line end is not eaten by the broken character before it
        {"\x85\x40z", "?z", false},    // a character that has no meaning
        {"\x80\xA0\xFD\xFF", "????", false},
        {std::string_view("a\0b", 3), std::string("a\0b", 3), true},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        bool exact = !row.exact;
        EXPECT_EQ(platform::Utf8FromCp932(row.cp932, &exact), row.utf8);
        EXPECT_EQ(exact, row.exact);
        if (row.exact) {
            EXPECT_EQ(platform::Cp932FromUtf8(row.utf8, &exact), row.cp932);
            EXPECT_TRUE(exact);
        }
    }
}

TEST(Codepage932, Utf8ThatHasNoFormOrIsNone) {
    struct {
        std::string utf8;
        char const* cp932;
        bool exact;
    } const rows[] = {
        {Utf8(u8"〜−—‖¢£¬"), "～－―∥￠￡￢", true},  // the same signs by other systems
        {Utf8(u8"𠮷野家"), "?野家", false},
        {Utf8(u8"é한😀"), "???", false},
        {"\xC0\xAF", "??", false},            // overlong
        {"\xE0\x80\xAF", "???", false},       // overlong
        {"\xED\xA0\x80", "???", false},       // surrogate
        {"\xF4\x90\x80\x80", "????", false},  // beyond Unicode
        {"\xE3\x81", "??", false},            // cut
        {"\xE3\x81"
         "a",
         "??a", false},
        {"\x80", "?", false},
        {"\xFF\xFE", "??", false},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        bool exact = !row.exact;
        EXPECT_EQ(platform::Cp932FromUtf8(row.utf8, &exact), row.cp932);
        EXPECT_EQ(exact, row.exact);
    }
}

TEST(Codepage932, LongTextsEqualIconvAtEveryAlignment) {
    IconvPeer to_utf8("UTF-8", "CP932"), from_utf8("CP932", "UTF-8");
    std::string all;
    for (Codepage932Character const& character : AllCharacters()) all += character.bytes;
    for (std::string start; start.size() < 5; start += 'x') {
        std::string utf8, back;
        ASSERT_TRUE(to_utf8.Convert(start + all, utf8));
        EXPECT_EQ(platform::Utf8FromCp932(start + all), utf8);
        ASSERT_TRUE(from_utf8.Convert(utf8, back));
        EXPECT_EQ(platform::Cp932FromUtf8(utf8), back);
    }
}

TEST(Codepage932, DamagedTextsKeepTheirAscii) {
    std::mt19937 random(932);
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        for (std::size_t i = random() % 3000; i > 0; --i) text += static_cast<char>(random());
        std::string const utf8 = platform::Utf8FromCp932(text);
        bool exact = false;
        std::string const again = platform::Utf8FromCp932(platform::Cp932FromUtf8(utf8, &exact));
        ASSERT_TRUE(exact);
        ASSERT_EQ(again, utf8);
        ASSERT_EQ(std::count(utf8.begin(), utf8.end(), '\n'), std::count(text.begin(), text.end(), '\n'));
        ASSERT_LE(platform::Cp932FromUtf8(text).size(), text.size());
    }
}
