#include "tessaly/platform/path.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/platform/iconv_peer.h"

namespace {

std::string Utf8(char8_t const* text) { return reinterpret_cast<char const*>(text); }

std::vector<std::string> NamesOf(std::string const& host) {
    std::vector<std::string> names;
    std::istringstream rest(host);
    for (std::string name; std::getline(rest, name, '/');)
        if (!name.empty() && name != ".") names.push_back(name);
    return names;
}

// Maps a drive to a host folder as long as the object lives.
class Mapped {
  public:
    Mapped(char letter, std::string const& folder) : letter_(letter) { platform::MapDrive(letter, folder); }
    ~Mapped() { platform::MapDrive(letter_, ""); }
    Mapped(Mapped const&) = delete;
    Mapped& operator=(Mapped const&) = delete;

  private:
    char letter_;
};

}  // namespace

TEST(Path, ToTheHost) {
    Mapped const d('d', "/srv/mail/"), e('E', Utf8(u8"/home/花子"));
    struct {
        char const* library;
        std::string host;
    } const rows[] = {
        {"C:\\dir\\name.dat", "/dir/name.dat"},
        {"c:/dir\\sub/name", "/dir/sub/name"},
        {"C:\\表\\ソ\\能.dat", Utf8(u8"/表/ソ/能.dat")},
        {"\\表示", Utf8(u8"/表示")},
        {"name", "/name"},
        {"C:name", "/name"},
        {"C:", "/"},
        {"C:\\", "/"},
        {"Z:\\x", "/x"},
        {"D:\\1\\mail1.dat", "/srv/mail/1/mail1.dat"},
        {"d:", "/srv/mail/"},
        {"E:\\①.dat", Utf8(u8"/home/花子/①.dat")},
        {"1:\\x", "/1:/x"},
        {"C:\\a\x83", "/a\x83"},             // a lead byte at the end
        {"C:\\\x85\x5C\\b", "/\x85\x5C/b"},  // a double-byte code without a character
        {"C:\\\xFF\\ｱ", "/\xFF/" + Utf8(u8"ｱ")},
        {"", ""},
    };
    for (auto const& row : rows) EXPECT_EQ(platform::HostPath(row.library), row.host) << row.library;
}

TEST(Path, FromTheHost) {
    Mapped const d('D', "/srv/mail"), m('m', "/srv"), x('X', "/srv/mail/deep");
    platform::MapDrive('1', "/");
    struct {
        std::string host;
        char const* library;
        bool exact;
    } const rows[] = {
        {"/dir/name.dat", "C:\\dir\\name.dat", true},
        {Utf8(u8"/表/ソ/髙.dat"), "C:\\表\\ソ\\髙.dat", true},
        {"/", "C:\\", true},
        {"//a/.//./b/", "C:\\a\\b\\", true},
        {"/a/../b", "C:\\a\\..\\b", true},
        {"/srv", "M:\\", true},
        {"/srv/", "M:\\", true},
        {"/srv/mail", "D:\\", true},
        {"/srv/mailing/x", "M:\\mailing\\x", true},
        {"/srv/mail/1/a", "D:\\1\\a", true},
        {"/srv/mail/deep/a", "X:\\a", true},
        {"/a\x83", "C:\\a\x83", true},
        {Utf8(u8"/𠮷野/é"), "C:\\?野\\?", false},
        {Utf8(u8"/〜"), "C:\\～", false},  // shares its code with another sign
        {Utf8(u8"/¥100"), "C:\\\\100", false},
        {"/a\\b", "C:\\a\\b", false},
        {"/x\x83/y", "C:\\x\x83\\y", false},  // the divider would become part of a character
        {"/\xE3\x81", "C:\\\xE3\x81", false},
        {"", "", true},
    };
    for (auto const& row : rows) {
        bool exact = !row.exact;
        EXPECT_STREQ(platform::LibraryPath(row.host, &exact), row.library) << row.host;
        EXPECT_EQ(exact, row.exact) << row.host;
    }
}

TEST(Path, RelativePathsBecomeAbsolute) {
    bool exact = false;
    CString const library = platform::LibraryPath("./shop.tsl", &exact);
    EXPECT_EQ(platform::HostPath(library.View()), (std::filesystem::current_path() / "shop.tsl").string());
    EXPECT_TRUE(exact);
    Mapped const d('D', ".");
    EXPECT_STREQ(platform::LibraryPath("shop.tsl"), "D:\\shop.tsl");
}

TEST(Path, OneDriveStaysForTheRestOfTheHost) {
    Mapped const c('C', "/srv/c"), d('D', "/srv/d");
    bool exact = false;
    EXPECT_STREQ(platform::LibraryPath("/etc/x", &exact), "E:\\etc\\x");
    EXPECT_TRUE(exact);
    for (char letter = 'A'; letter <= 'Z'; ++letter) platform::MapDrive(letter, "/srv/all");
    EXPECT_STREQ(platform::LibraryPath("/etc/x", &exact), "");
    EXPECT_FALSE(exact);
    EXPECT_STREQ(platform::LibraryPath("/srv/all/x", &exact), "A:\\x");
    for (char letter = 'A'; letter <= 'Z'; ++letter) platform::MapDrive(letter, "");
    EXPECT_STREQ(platform::LibraryPath("/etc/x", &exact), "C:\\etc\\x");
}

TEST(Path, EveryNameGoesThereAndBack) {
    for (Codepage932Character const& character : AllCharacters()) {
        if (character.bytes == "\\" || character.bytes == "/") continue;
        std::string const library = "C:\\a" + character.bytes + "\\" + character.bytes + ".dat";
        std::string const host = platform::HostPath(library);
        ASSERT_EQ(std::count(host.begin(), host.end(), '/'), 2) << std::hex << character.code;
        bool exact = false;
        std::string const again = platform::LibraryPath(host, &exact).View().data();
        ASSERT_EQ(platform::HostPath(again), host);
        ASSERT_TRUE(exact) << std::hex << character.code;
    }
}

TEST(Path, WhatCountsAsExactLeadsBack) {
    std::mt19937 random(5);
    int exact_ones = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string host = "/";
        for (std::size_t i = random() % 8; i > 0; --i) host += static_cast<char>(1 + random() % 255);
        bool exact = false;
        CString const library = platform::LibraryPath(host, &exact);
        if (!exact) continue;
        ++exact_ones;
        ASSERT_EQ(NamesOf(platform::HostPath(library.View())), NamesOf(host));
    }
    EXPECT_GT(exact_ones, 5000);
}
