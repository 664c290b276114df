#include "engine/base/crossing.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "engine/base/failure.h"

namespace {

std::string Utf8(unsigned point) {
    if (point < 0x80) return {static_cast<char>(point)};
    if (point < 0x800)
        return {static_cast<char>(0xC0 | point >> 6), static_cast<char>(0x80 | (point & 0x3F))};
    return {static_cast<char>(0xE0 | point >> 12), static_cast<char>(0x80 | (point >> 6 & 0x3F)),
            static_cast<char>(0x80 | (point & 0x3F))};
}

// Signs that come back as their equal, never as a backslash or a tilde.
std::map<unsigned, std::string> const same_signs = {
    {0xA0, " "},    {0xA2, "￠"},  {0xA3, "￡"},     {0xA5, "￥"},  {0xA6, "￤"},  {0xAC, "￢"},
    {0xAF, "￣"},   {0xB5, "μ"},   {0xC5, "\u212B"}, {0x2011, "-"}, {0x2014, "―"}, {0x2016, "∥"},
    {0x203E, "￣"}, {0x2126, "Ω"}, {0x2212, "－"},   {0x301C, "～"}};

TEST(Crossing, WhatTheLibraryCanKeepComesBackUnchanged) {
    int kept = 0;
    for (unsigned point = 1; point <= 0xFFFF; ++point) {
        if (point >= 0xD800 && point <= 0xDFFF) continue;
        engine::Crossed const crossed = engine::IntoLibrary(Utf8(point));
        if (crossed.no_form) {
            EXPECT_EQ(crossed.no_form->character, Utf8(point));
            continue;
        }
        ++kept;
        auto const equal = same_signs.find(point);
        EXPECT_EQ(engine::Out(crossed.text), equal == same_signs.end() ? Utf8(point) : equal->second)
            << std::hex << point;
    }
    EXPECT_GT(kept, 9000);  // the two levels of kanji, IBM's characters and the user-defined ones
    for (std::string_view const text : {"~\\|表示ソ能", "①Ⅷ㈱", "髙﨑纊", "ｱｲｳﾞ", "〜−‖—¥‾"})
        EXPECT_FALSE(engine::IntoLibrary(text).no_form) << text;
}

TEST(Crossing, NamesTheFirstCharacterThatTheLibraryCannotKeep) {
    using namespace std::string_view_literals;
    struct Row {
        std::string_view text;
        std::size_t line, column;
        std::string_view character;
    };
    Row const rows[] = {
        {"💌"sv, 1, 1, "💌"},
        {"表ａb💌💌"sv, 1, 4, "💌"},
        {"一\r\n二\nさん한글"sv, 3, 3, "한"},
        {"あ\xFF"sv, 1, 2, "\\xFF"},
        {"\xE3\x81"sv, 1, 1, "\\xE3"},          // cut off
        {"a\xC0\x80"sv, 1, 2, "\\xC0"},         // an overlong NUL
        {"\xED\xA0\x80"sv, 1, 1, "\\xED"},      // half a pair
        {"\xF4\x90\x80\x80"sv, 1, 1, "\\xF4"},  // beyond the last plane
        {"a\0b"sv, 1, 2, "\0"sv},
        {"あ\u3099"sv, 1, 2, "\u3099"},  // a mark that joins no such kana
    };
    for (Row const& row : rows) {
        auto const place = engine::IntoLibrary(row.text).no_form;
        ASSERT_TRUE(place) << row.text;
        EXPECT_EQ(place->line, row.line) << row.text;
        EXPECT_EQ(place->column, row.column) << row.text;
        EXPECT_EQ(place->character, row.character) << row.text;
    }
    try {
        engine::Into("山\n田💌", "件名");
        FAIL();
    } catch (engine::Failure const& failure) {
        EXPECT_NE(std::string(failure.what()).find("件名に使えない文字があります: 2行2文字目の「💌」"),
                  std::string::npos);
        EXPECT_EQ("text_without_form", engine::NameOf(failure.GetKind()));
        EXPECT_EQ(2U, failure.Place().line);
        EXPECT_EQ(2U, failure.Place().column);
    }
    EXPECT_NE(engine::Describe({1, 2, std::string(1, '\0')}).find("NUL"), std::string::npos);
    EXPECT_EQ(engine::Out(engine::IntoSecret("¥a¥¥‾表", "パスワード")), "\\a\\\\~表");
}

TEST(Crossing, StrangersTextLosesNothingButWhatHasNoForm) {
    using namespace std::string_view_literals;
    std::pair<std::string_view, std::string_view> const rows[] = {
        {"春💐の𠮷野家한"sv, "春〓の〓野家〓"sv},
        {"¥1,980‾か\u3099"sv, "￥1,980￣が"sv},
        {"\uFEFF葛\U000E0100城❤\uFE0F\u200D!"sv, "葛城〓!"sv},
        {"a\0b\x1B$\x0E\x7F\t\r\n"sv, "a b $  \t\r\n"sv},
        {"\xE3\x81\r\n<a>\xF0\x9F\x92\xE3\x81\x82\xFF\x82\xA0x"sv, "〓\r\n<a>〓あ〓x"sv},
        {""sv, ""sv},
    };
    for (auto const& [utf8, shown] : rows) EXPECT_EQ(engine::Out(engine::IntoWithGeta(utf8)), shown);
}

TEST(Crossing, JoinsKanaAndTheMarksBehindThem) {
    EXPECT_EQ(engine::Out(engine::IntoLibrary("か\u3099は\u309Aウ\u3099と\u3099").text), "がぱヴど");
}

TEST(Crossing, DamagedLibraryTextSwallowsNothing) {
    EXPECT_EQ(engine::Out(std::string_view("\x82")), "\uFFFD");
    EXPECT_EQ(engine::Out(std::string_view("\x82\n\x82\xA0")), "\uFFFD\nあ");
    EXPECT_EQ(engine::Out(std::string_view("\xFD\xA0\xFF")), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(engine::OnOneLine("550 a\r\n550 b\r\n\r\n"), "550 a 550 b");
    EXPECT_EQ(engine::OnOneLine("\x1B[2Jあ\tい\x7F\n\n!"), " [2Jあ い   !");
    EXPECT_EQ(engine::OnOneLine("\r\n"), "");
    EXPECT_THROW(engine::IntoPath("/tmp/💌.tsl"), engine::Failure);
}

}  // namespace
