#include "tessaly/text/directories.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "platform/file.h"
#include "tests/platform/scratch_folder.h"

using enum text::MakeDirectoryResult;
using enum text::RemoveDirectoryResult;

TEST(Directories, Names) {
    for (char const* good :
         {"C:\\", "C:", "C:\\dir", "c:\\dir\\sub\\", "C:/dir/sub", "C:\\表\\dir", "C:\\a\\\\b", "C:\\.dir"})
        EXPECT_EQ(CheckDirectoryName(good), 1) << good;
    for (char const* bad : {"", "dir", "\\dir", "C:\\a//b", "C:\\dir ", "C:\\dir \\sub", "C:\\a*",
                            "C:\\a?\\b", "C:\\a<", "C:\\a>", "C:\\a|b", "C:\\a:b", " "})
        EXPECT_EQ(CheckDirectoryName(bad), 0) << bad;
    EXPECT_EQ(CheckDirectoryName(nullptr), 0);
}

TEST(Directories, MakesAllLevels) {
    ScratchFolder const folder;
    CString const deep = folder.Path("a\\表\\c");
    EXPECT_EQ(MakeDirectoryCompel(deep), make_directory_ok);
    EXPECT_TRUE(platform::IsDirectory(deep));
    EXPECT_EQ(MakeDirectoryCompel(deep + "\\"), make_directory_ok);
    ASSERT_TRUE(platform::WriteWholeFile(folder.Path("file"), "x"));
    EXPECT_EQ(MakeDirectoryCompel(folder.Path("file\\sub")), make_directory_failed);
    EXPECT_EQ(MakeDirectoryCompel(folder.Path("file")), make_directory_failed);
    EXPECT_EQ(MakeDirectoryCompel(folder.Path("new\\a*b")), make_directory_bad_name);
    EXPECT_FALSE(platform::Exists(folder.Path("new")));
}

TEST(Directories, RemovesEverythingBelow) {
    ScratchFolder const folder;
    auto const fill = [&folder] {
        EXPECT_EQ(MakeDirectoryCompel(folder.Path("top\\sub\\表")), make_directory_ok);
        for (char const* name : {"top\\a", "top\\.hidden", "top\\sub\\b", "top\\sub\\表\\c"})
            EXPECT_TRUE(platform::WriteWholeFile(folder.Path(name), "x"));
    };
    fill();
    EXPECT_EQ(ClearDirectoryCompel(folder.Path("top")), remove_directory_ok);
    EXPECT_TRUE(platform::IsDirectory(folder.Path("top")));
    EXPECT_FALSE(CFileFind().FindFile(folder.Path("top\\*")));
    EXPECT_EQ(ClearDirectoryCompel(folder.Path("top")), remove_directory_ok);
    fill();
    EXPECT_EQ(RemoveDirectoryCompel(folder.Path("top\\"), 1), remove_directory_ok);
    EXPECT_FALSE(platform::Exists(folder.Path("top")));
    EXPECT_EQ(RemoveDirectoryCompel(folder.Path("top"), 1), remove_directory_no_entry);

    // A directory named with a dot stays, and with it the one that holds it.
    fill();
    EXPECT_EQ(MakeDirectoryCompel(folder.Path("top\\.keep\\d")), make_directory_ok);
    EXPECT_EQ(RemoveDirectoryCompel(folder.Path("top"), 1), remove_directory_failed);
    EXPECT_TRUE(platform::IsDirectory(folder.Path("top\\.keep\\d")));
    EXPECT_FALSE(platform::Exists(folder.Path("top\\sub")));
}

TEST(Directories, RemovesNothingElse) {
    ScratchFolder const folder;
    EXPECT_EQ(MakeDirectoryCompel(folder.Path("outside")), make_directory_ok);
    EXPECT_EQ(MakeDirectoryCompel(folder.Path("top")), make_directory_ok);
    ASSERT_TRUE(platform::WriteWholeFile(folder.Path("outside\\kept"), "x"));
    ASSERT_EQ(symlink(folder.Host("outside").c_str(), folder.Host("top/link").c_str()), 0);
    EXPECT_EQ(RemoveDirectoryCompel(folder.Path("top"), 1), remove_directory_ok);
    EXPECT_TRUE(platform::Exists(folder.Path("outside\\kept")));

    // A lead byte at the end would take the appended divider as its second byte.
    ASSERT_TRUE(platform::WriteWholeFile(folder.Path("表x"), "x"));
    ASSERT_EQ(mkdir(folder.Host("\x95").c_str(), 0700), 0);
    ASSERT_TRUE(platform::IsDirectory(folder.Path("\x95")));
    EXPECT_EQ(RemoveDirectoryCompel(folder.Path("\x95"), 0), remove_directory_no_entry);
    EXPECT_TRUE(platform::Exists(folder.Path("表x")));
    EXPECT_EQ(RemoveDirectoryCompel(folder.Path("outside\\kept"), 1), remove_directory_no_entry);
    EXPECT_EQ(RemoveDirectoryCompel("", 0), remove_directory_no_entry);
    EXPECT_EQ(RemoveDirectoryCompel(nullptr, 0), remove_directory_no_entry);
    EXPECT_TRUE(platform::Exists(folder.Path("outside\\kept")));
}

TEST(Directories, PathFixLeavesSingleDividers) {
    struct {
        char const *path, *wanted;
    } const cases[] = {
        {"C:\\\\\\a\\\\b", "C:\\a\\b"},
        {"C://a///b", "C:/a/b"},
        {"C:\\/a", "C:\\/a"},
        {"表\\\\表", "表\\表"},
        {"", ""},
        {"\\\\server", "\\server"},
        {"a\\", "a\\"},
    };
    for (auto const& c : cases) {
        CString path = c.path;
        PathFix(path);
        EXPECT_EQ(path, CString(c.wanted));
    }
}
