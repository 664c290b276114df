#include "platform/profile.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/file.h"
#include "scratch_folder.h"

namespace {

using namespace platform;

class Profile : public testing::Test {
  protected:
    std::string Get(char const* section, char const* key, char const* standard = "-", unsigned size = 5000) {
        std::string out(size, '#');
        unsigned const length = GetPrivateProfileString(section, key, standard, out.data(), size, path);
        EXPECT_LT(length, size);
        EXPECT_EQ(0, out[length]);
        EXPECT_EQ(std::string::npos, out.find_first_not_of('#', length + 1)) << "written behind the NUL";
        return out.substr(0, length);
    }
    std::string Content() {
        std::string content;
        EXPECT_TRUE(ReadWholeFile(path, content));
        return content;
    }
    ScratchFolder scratch;
    CString const path = scratch.Path("表示.ini");
};

TEST_F(Profile, Reading) {
    ASSERT_TRUE(
        WriteWholeFile(path,
                       "Host=none\r\n[PROXY] ; first\r\n; Host=comment\r\n  Host \t=  proxy.example.jp \t\r\n"
                       "HOST=second\nPort=\"8080\"\rquote='it''s'\nhalf=\"open\none=\"\n"
                       "ソ=表ソ\\\nempty=\nno equals\n=nameless\nurl=a=b;c\n"
                       "[ソース]\nname=値\n[proxy]\nother=unseen\n[ last ]\nkey=\xE0"));
    static constexpr struct {
        char const* section;
        char const* key;
        char const* value;
    } rows[] = {
        {"PROXY", "host", "proxy.example.jp"},
        {" proxy ", "HOST ", "proxy.example.jp"},
        {"PROXY", "Port", "8080"},
        {"PROXY", "quote", "it''s"},
        {"PROXY", "half", "\"open"},
        {"PROXY", "one", "\""},
        {"PROXY", "ソ", "表ソ\\"},
        {"PROXY", "empty", ""},
        {"PROXY", "no equals", "-"},
        {"PROXY", "url", "a=b;c"},
        {"PROXY", "; Host", "-"},
        {"PROXY", "name", "-"},
        {"PROXY", "other", "-"},
        {"ソース", "NAME", "値"},
        {"last", "key", "\xE0"},
        {"", "Host", "-"},
        {"none", "Host", "-"},
        {nullptr, "Host", "-"},
        {"PROXY", nullptr, "-"},
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.value, Get(row.section, row.key))
            << (row.section ? row.section : "null") << " " << (row.key ? row.key : "null");
    EXPECT_EQ(" default", Get("none", "key", " default  "));
    EXPECT_EQ("", Get("none", "key", nullptr));
}

TEST_F(Profile, LongValuesAreCutBetweenCharacters) {
    std::string const value = std::string(4095, 'x') + "表示";
    ASSERT_TRUE(WriteWholeFile(path, "[s]\nk=" + value + "\nz=a\0b" + std::string(1, '\0')));
    EXPECT_EQ(value, Get("s", "k"));
    EXPECT_EQ(value.substr(0, 4095), Get("s", "k", "", 4096));
    EXPECT_EQ(value.substr(0, 4095), Get("s", "k", "", 4097));
    EXPECT_EQ(value.substr(0, 4097), Get("s", "k", "", 4098));
    EXPECT_EQ("", Get("s", "k", "", 1));
    EXPECT_EQ("a", Get("s", "z"));
    char out[] = "##";
    EXPECT_EQ(0U, GetPrivateProfileString("s", "k", "", out, 0, path));
    EXPECT_STREQ("##", out);
    EXPECT_EQ(0U, GetPrivateProfileString("s", "k", "", nullptr, 10, path));
}

TEST_F(Profile, Numbers) {
    static constexpr struct {
        char const* value;
        unsigned number;
    } rows[] = {
        {"8080", 8080},     {"\"25\"", 25},
        {"-1", 0xFFFFFFFF}, {"+7", 7},
        {"12ab", 12},       {"0x1fZ", 0x1F},
        {"0b102", 2},       {"0o17", 15},
        {"010", 10},        {"", 0},
        {"abc", 0},         {"- 1", 0},
        {"0x", 0},          {"4294967295", 0xFFFFFFFF},
        {"4294967296", 0},  {"１２", 0},
    };
    for (auto const& row : rows) {
        ASSERT_TRUE(WriteWholeFile(path, std::string("[s]\nk=") + row.value));
        EXPECT_EQ(row.number, GetPrivateProfileInt("S", "K", 99, path)) << row.value;
    }
    EXPECT_EQ(99U, GetPrivateProfileInt("s", "none", 99, path));
    EXPECT_EQ(0xFFFFFFFE, GetPrivateProfileInt("s", "k", -2, scratch.Path("missing.ini")));
    EXPECT_EQ(5U, GetPrivateProfileInt("s", "k", 5, nullptr));
}

TEST_F(Profile, Writing) {
    static constexpr struct {
        char const* before;
        char const* section;
        char const* key;
        char const* value;
        char const* after;
    } rows[] = {
        {"", "s", "k", "v", "[s]\r\nk=v\r\n"},
        {"[s]\r\nk = old ; no comment \r\n\r\n", "S", "K", "new", "[s]\r\nk = new \r\n\r\n"},
        {"[s]\nk=\"old\"\nk=second\n", "s", "k", "表\\", "[s]\nk=表\\\nk=second\n"},
        {"[s]\nk=", "s", "k", "v", "[s]\nk=v"},
        {"[s]\na=1\n;end\n\n\n[t]\nlast", "s", "k", "v", "[s]\na=1\n;end\nk=v\n\n\n[t]\nlast"},
        {"[s]\na=1", "s", "k", "v", "[s]\na=1\nk=v\n"},
        {"; x\r[s]", "s", "k", "", "; x\r[s]\rk=\r"},
        {"x", "ソ", "k", "v", "x\r\n[ソ]\r\nk=v\r\n"},
        {"[ソ]\na=1\n[s]\n", "ソ", "a", "2", "[ソ]\na=2\n[s]\n"},
        {"[s]\na=1\n[t]\nb=2\n[S]\nk=3\n", "s", "k", "v", "[s]\na=1\nk=v\n[t]\nb=2\n[S]\nk=3\n"},
        {"[s]\nk=1\na=2\nK=3\n[t]\nk=4\n[s]\nk=5", "s", "k", nullptr, "[s]\na=2\n[t]\nk=4\n[s]\n"},
        {"x=0\n[s]\nk=1\n;c\n[t]\nk=4\n[S ]\nk=5", "s", nullptr, nullptr, "x=0\n[t]\nk=4\n"},
        {"[s]\nk=1", "t", "k", nullptr, "[s]\nk=1"},
        {"[s]\nk=1 \x1a", " s ", " k ", "1 \x1a", "[s]\nk=1 \x1a"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.before);
        ASSERT_TRUE(WriteWholeFile(path, row.before));
        EXPECT_TRUE(WritePrivateProfileString(row.section, row.key, row.value, path));
        EXPECT_EQ(row.after, Content());
        if (row.key) {
            EXPECT_EQ(row.value ? row.value : "-", Get(row.section, row.key));
        }
    }
    RemoveFile(path);
    EXPECT_TRUE(WritePrivateProfileString("s", nullptr, nullptr, path));
    EXPECT_FALSE(Exists(path));
    EXPECT_TRUE(WritePrivateProfileString("s", "k", "v", path));
    EXPECT_EQ("[s]\r\nk=v\r\n", Content());
}

TEST_F(Profile, RefusedWritesLeaveTheFile) {
    std::string const before = "[s]\r\nk=v\r\n";
    ASSERT_TRUE(WriteWholeFile(path, before));
    static constexpr struct {
        char const* section;
        char const* key;
        char const* value;
    } rows[] = {
        {nullptr, "k", "v"}, {" ", "k", "v"},    {"a]b", "k", "v"},  {"a\n[b", "k", "v"},
        {"s", "", "v"},      {"s", "a=b", "v"},  {"s", "[k", "v"},   {"s", ";k", "v"},
        {"s", "k\r", "v"},   {"s", "k", "a\nb"}, {"s", "k", "a\rb"},
    };
    for (auto const& row : rows)
        EXPECT_FALSE(WritePrivateProfileString(row.section, row.key, row.value, path));
    FailWritesAfter(0);
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "new", path));
    FailWritesAfter(-1);
    EXPECT_EQ(before, Content());
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", scratch.Path()));
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", scratch.Path("none\\file.ini")));
    EXPECT_FALSE(WritePrivateProfileString("s", "k", "v", nullptr));
}

}  // namespace
