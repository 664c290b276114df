#include "tessaly/text/kcodec.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/platform/iconv_peer.h"
#include "tests/text/conversions.h"

// The single steps behind the conversions with UTF-8.
class KCodeCSteps {
  public:
    static std::string Utf8ToSj(char const* text, int host_order = 1) {
        KCodeC codec;
        Block<unsigned short> const units(codec.utf8toutf16be(text, host_order));
        return Block<char>(codec.utf16betosj(units.get())).get();
    }
    static std::string SjToUtf8(char const* text) {
        KCodeC codec;
        Block<unsigned short> const units(codec.sjtoutf16be(text));
        return Block<char>(codec.utf16betoutf8(units.get())).get();
    }
    static bool NullGivesNull() {
        KCodeC codec;
        return !codec.utf8toutf16be(nullptr, 1) && !codec.utf16betosj(nullptr) &&
               !codec.sjtoutf16be(nullptr) && !codec.utf16betoutf8(nullptr);
    }

  private:
    struct Free {
        void operator()(void* block) const { std::free(block); }
    };
    template <class Item>
    using Block = std::unique_ptr<Item, Free>;
};

namespace {

int Checked(std::string const& text) {
    return KCodeC().CheckCode(reinterpret_cast<unsigned char const*>(text.c_str()));
}

std::string Utf8OfUnit(unsigned unit) {
    if (unit < 0x80) return {static_cast<char>(unit)};
    std::string bytes = {static_cast<char>(0x80 | (unit & 0x3F))};
    if (unit < 0x800) return static_cast<char>(0xC0 | unit >> 6) + bytes;
    bytes.insert(bytes.begin(), static_cast<char>(0x80 | (unit >> 6 & 0x3F)));
    return static_cast<char>(0xE0 | unit >> 12) + bytes;
}

}  // namespace

TEST(KCodeC, CheckCodeTellsTheCode) {
    struct {
        std::string text;
        int code;
    } const cases[] = {
        {"", 0},
        {"plain\t\r\n\x07 text~", 0},
        {"\x06", 1},
        {"a\x7F", 1},
        {"漢\xFF", 1},
        {"\x1B$B4A", 2},
        {"\x1B$@4A", 2},
        {"\x1B(B", 2},
        {"\x1B(J", 2},
        {"\x1B(I1", 2},
        {"a\x0E", 2},
        {"a\x0F", 2},
        {"\x01\x1B(B", 1},
        {"\x1B(B\x01", 2},
        {"\x1B$A4A", 0},
        {"\x1B$", 0},
        {"漢字", 3},
        {"ｱ", 3},
        {"ｱｲ", 4},
        {"ｱｲｳ", 3},
        {"ｱ a ｲ", 3},
        {"\xB4\xC1\xBB\xFA", 4},
        {"\x8E\xB1", 0},  // both count 2
        {"\x8F\xFA\xFE", 4},
        {"\x8F\xB0\xA1", 3},
        {"\xE9\x80", 3},
    };
    for (auto const& c : cases) EXPECT_EQ(Checked(c.text), c.code) << c.text;
    EXPECT_EQ(KCodeC().CheckCode(nullptr), KCodeC::code_ascii);
}

TEST(KCodeC, GuessedTextsAreConvertedAndAllOthersCopied) {
    KCodeC codec;
    std::string const sj = "漢字", uj = "\xB4\xC1\xBB\xFA", jis = "\x1B$B4A;z\x1B(B", binary = "漢\x01";
    for (std::string const& text : {sj, uj, jis}) {
        EXPECT_EQ(codec.ToSJIS(text.c_str()), sj);
        EXPECT_EQ(codec.ToEUC(text.c_str()), uj);
        EXPECT_EQ(codec.ToJIS(text.c_str(), 0), jis);
    }
    EXPECT_EQ(codec.ToSJIS(binary.c_str()), binary);
    EXPECT_EQ(codec.ToEUC("plain"), std::string("plain"));
    EXPECT_EQ(codec.ToJIS("plain", 0), std::string("plain"));
    EXPECT_EQ(codec.ToJIS("ｱ", 1), std::string("\x1B$B%\"\x1B(B"));
    EXPECT_STREQ(codec.ToSJIS(nullptr), "");
}

TEST(KCodeC, ResultsLiveInTheObjectAndMayBeTheNextSource) {
    KCodeC codec;
    char const* const jis = codec.sjtojis7("漢字ｱ", 0);
    EXPECT_STREQ(codec.jis7tosj(jis), "漢字ｱ");
    char const* const kept = codec.sjtouj("漢");
    KCodeC copy(codec);
    copy = codec;
    EXPECT_STREQ(copy.ujtosj(kept), "漢");
    EXPECT_STREQ(kept, "\xB4\xC1");
    EXPECT_STREQ(codec.ujtojis7(codec.jis7touj("\x1B$B4A"), 0), "\x1B$B4A\x1B(B");
}

TEST(KCodeC, OutMayBeTheText) {
    KCodeC codec;
    char text[64] = "漢字";
    EXPECT_EQ(codec.sjtojis7(text, text, 0), text);
    EXPECT_STREQ(codec.jis7touj(text, text), "\xB4\xC1\xBB\xFA");
    std::strcpy(text, "aｱ漢");
    EXPECT_STREQ(codec.sjtouj(text, text), "a\x8E\xB1\xB4\xC1");
    EXPECT_STREQ(codec.ujtojis7(text, text, 1), "a\x1B$B%\"4A\x1B(B");
    EXPECT_STREQ(codec.jis7tosj(text, text), "aア漢");
    EXPECT_STREQ(codec.sjtoutf8(text, text), "a\xE3\x82\xA2\xE6\xBC\xA2");
    EXPECT_STREQ(codec.utf8tosj(text + 1, text), "aア漢");
    EXPECT_STREQ(codec.ujtosj(text, "\xB4\xC1"), "漢");
}

// Every character of code page 932 and every unit of Unicode, by iconv.
TEST(KCodeC, Utf8IsTheSystems) {
    IconvPeer to_utf8("UTF-8", "CP932"), from_utf8("CP932", "UTF-8");
    std::string sj, utf8, result;
    for (Codepage932Character const& character : AllCharacters()) sj += character.bytes;
    ASSERT_TRUE(to_utf8.Convert(sj, utf8));
    EXPECT_EQ(Converted("sjtoutf8", sj), utf8);

    std::string all = "x";  // a byte order mark counts at the start only
    std::string wanted = "x";
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        all += Utf8OfUnit(unit);
        wanted += from_utf8.Convert(Utf8OfUnit(unit), result) ? result : " ";
    }
    EXPECT_EQ(Converted("utf8tosj", all), wanted);
    EXPECT_EQ(KCodeCSteps::Utf8ToSj(all.c_str()), wanted);
}

TEST(KCodeC, BrokenUtf8AndShiftJis) {
    struct {
        std::string utf8, sj;
    } const from_utf8[] = {
        {"\xEF\xBB\xBF"
         "a",
         "a"},
        {"\xEF\xBF\xBE"
         "a",
         "a"},
        {"\xEF\xBB\xBF\xEF\xBB\xBF", " "},
        {"a\xE6\xBC", "a"},
        {"a\xC3", "a"},
        {"a\xC0\x80z", "a"},
        {"a\xE0\x80\x80z", "a"},
        {"\xC1\x81", "A"},
        {"\xF0\x9F\x98\x80z", " "},
        {"\xE6\xBC\xA2\xE2\x98\x83", "漢 "},
        {"\x96\xBC\xA2", "漢"},
    };
    for (auto const& c : from_utf8) EXPECT_EQ(Converted("utf8tosj", c.utf8), c.sj) << c.utf8;
    struct {
        std::string sj, utf8;
    } const from_sj[] = {
        {"a\x8A", "a"}, {"\x8A\nz", " \nz"}, {"\x81\xADz", " z"},
        {"\x81", ""},   {"\xFC\x4C", " "},   {"ｱ\x8A", "\xEF\xBD\xB1"},
    };
    for (auto const& c : from_sj) EXPECT_EQ(Converted("sjtoutf8", c.sj), c.utf8) << c.sj;

    KCodeC codec;
    EXPECT_EQ(codec.utf8tosj(nullptr), nullptr);
    EXPECT_EQ(codec.sjtoutf8(nullptr), nullptr);
    EXPECT_TRUE(KCodeCSteps::NullGivesNull());
    EXPECT_EQ(KCodeCSteps::Utf8ToSj("ab", 0), "愀戀");  // 0x6100 and 0x6200
}

// The object's own buffers hold every result, and the copies of them are the same.
TEST(KCodeC, MembersGiveWhatTheWorkersGive) {
    using Member = char const* (KCodeC::*)(char const*);
    using CopyingMember = char const* (KCodeC::*)(char*, char const*);
    std::tuple<std::string_view, Member, CopyingMember> const members[] = {
        {"jis7touj", &KCodeC::jis7touj, &KCodeC::jis7touj},
        {"ujtosj", &KCodeC::ujtosj, &KCodeC::ujtosj},
        {"sjtouj", &KCodeC::sjtouj, &KCodeC::sjtouj},
        {"jis7tosj", &KCodeC::jis7tosj, &KCodeC::jis7tosj},
    };
    BrokenTexts texts(9);
    KCodeC codec;
    for (int i = 0; i < 10000; ++i) {
        std::string const text = i ? texts.Next() : "ｱaｱ";
        std::vector<char> out(SizeOfSjToJis7(text.size()));
        for (auto const& [name, member, copying] : members) {
            EXPECT_EQ((codec.*member)(text.c_str()), Converted(name, text));
            EXPECT_EQ((codec.*copying)(out.data(), text.c_str()), Converted(name, text));
        }
        for (int full : {0, 1}) {
            std::string const sj = Converted(full ? "sjtojis7 full" : "sjtojis7", text);
            std::string const uj = Converted(full ? "ujtojis7 full" : "ujtojis7", text);
            EXPECT_EQ(codec.sjtojis7(text.c_str(), full), sj);
            EXPECT_EQ(codec.ujtojis7(text.c_str(), full), uj);
            EXPECT_EQ(codec.sjtojis7(out.data(), text.c_str(), full), sj);
            EXPECT_EQ(codec.ujtojis7(out.data(), text.c_str(), full), uj);
        }
    }
}

// One pass gives the result of the steps, and the block that of the copy, also where the block is shrunk.
TEST(KCodeC, OnePassGivesWhatTheStepsGive) {
    BrokenTexts texts(5);
    KCodeC codec;
    for (int i = 0; i < 20000; ++i) {
        std::string const text = texts.Next();
        EXPECT_EQ(Converted("utf8tosj", text), KCodeCSteps::Utf8ToSj(text.c_str()));
        EXPECT_EQ(Converted("sjtoutf8", text), KCodeCSteps::SjToUtf8(text.c_str()));
    }
    std::string large;
    for (int i = 0; i < 5000; ++i) large += "漢a";
    auto* const utf8 = const_cast<char*>(codec.sjtoutf8(large.c_str()));
    auto* const sj = const_cast<char*>(codec.utf8tosj(utf8));
    EXPECT_EQ(sj, large);
    EXPECT_EQ(Converted("sjtoutf8", large), utf8);
    std::free(sj);
    std::free(utf8);
}
