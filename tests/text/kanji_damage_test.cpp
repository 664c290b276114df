#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "tests/text/conversions.h"

namespace {

// Runs every text of `length` bytes through one conversion, in blocks of exactly the sizes, and gives the
// largest number of bytes, NUL included, of any of them.
std::size_t LargestResult(Conversion const& conversion, std::size_t length) {
    auto const in = std::make_unique<char[]>(length + 1);
    auto const out = std::make_unique<char[]>(conversion.size(length));
    std::size_t largest = 0;
    std::memset(in.get(), 1, length);
    for (bool more = true; more;) {
        largest = std::max(largest, std::strlen(conversion.convert(out.get(), in.get())) + 1);
        more = false;
        for (std::size_t at = 0; at < length && !more; ++at) {
            more = in[at] != '\xFF';
            in[at] = more ? static_cast<char>(in[at] + 1) : '\1';
        }
    }
    return largest;
}

}  // namespace

class KanjiDamage : public testing::TestWithParam<Conversion> {};

TEST_P(KanjiDamage, EveryShortTextFitsTheSizeAndSomeNeedsAllOfIt) {
    for (std::size_t length = 1; length <= 3; ++length) {
        std::size_t const largest = LargestResult(GetParam(), length);
        EXPECT_LE(largest, GetParam().size(length));
        if (length == GetParam().full_length) {
            EXPECT_EQ(largest, GetParam().size(length));
        }
    }
}

TEST_P(KanjiDamage, BrokenTextsFitTheSize) {
    BrokenTexts texts(20251122);
    for (int i = 0; i < 20000; ++i) {
        std::string const text = texts.Next();
        EXPECT_LT(Converted(GetParam(), text).size(), GetParam().size(text.size()));
    }
}

// Instead of the bytes of the object, which change from run to run.
void PrintTo(Conversion const& conversion, std::ostream* out) { *out << conversion.name; }

INSTANTIATE_TEST_SUITE_P(All, KanjiDamage, testing::ValuesIn(conversions));

// The largest results of longer texts.
TEST(KanjiSizes, TheWorstTextsOfAnyLengthFitExactly) {
    struct Case {
        std::string_view name;
        std::string head, piece, tail;
    } const cases[] = {
        {"sjtojis7 full", "", "ｱa", "ｱ"},    {"ujtojis7", "", "\xB0\xA1z", "\xB0\xA1"},
        {"jis7touj", "\x1B(I\x0E", "1", ""}, {"header", "", "ｱ", ""},
        {"sjtoutf8", "", "ｱ", ""},           {"sjtouj", "", "ｱ", ""},
    };
    for (Case const& c : cases) {
        for (int repeat : {4, 5, 100}) {
            std::string text = c.head;
            for (int i = 0; i < repeat; ++i) text += c.piece;
            text += c.tail;
            for (Conversion const& conversion : conversions) {
                if (conversion.name != c.name) continue;
                EXPECT_EQ(Converted(conversion, text).size() + 1, conversion.size(text.size())) << c.name;
            }
        }
    }
}
