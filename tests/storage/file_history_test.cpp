#include "storage/file_history.h"

#include <gtest/gtest.h>

#include <map>

#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

namespace {

using Files = std::map<std::string, std::string>;

Files FilesIn(CString const& directory) {
    Files files;
    CFileFind found;
    for (bool more = found.FindFile(directory + "\\*"); more;) {
        more = found.FindNextFile();
        files[std::string(found.GetFileName().View())] = ContentOf(found.GetFilePath());
    }
    return files;
}

TEST(FileHistory, CopiesShiftAndTheOldestGoes) {
    const struct {
        char const* what;
        int number;
        bool target_there;
        Files before, after;
    } rows[] = {
        {"first", 3, true, {}, {{"表.001", "new"}}},
        {"full",
         3,
         true,
         {{"表.001", "1"}, {"表.002", "2"}, {"表.003", "3"}},
         {{"表.001", "new"}, {"表.002", "1"}, {"表.003", "2"}}},
        {"gap", 3, true, {{"表.002", "2"}}, {{"表.001", "new"}, {"表.003", "2"}}},
        {"one", 1, true, {{"表.001", "1"}, {"表.002", "2"}}, {{"表.001", "new"}, {"表.002", "2"}}},
        {"none", 0, true, {{"表.001", "1"}, {"_表.001", "left"}}, {{"表.001", "1"}}},
        {"leftovers and strangers",
         2,
         true,
         {{"_表.777", "left"}, {"_表.a.b", "left"}, {"_表x.001", "x"}, {"_表", "x"}, {"表.dat", "x"}},
         {{"表.001", "new"}, {"_表x.001", "x"}, {"_表", "x"}, {"表.dat", "x"}}},
        {"no target", 2, false, {{"表.001", "1"}, {"表.002", "2"}}, {{"表.002", "1"}}},
        {"huge number",
         2000000000,
         true,
         {{"表.999", "999"}, {"表.998", "998"}, {"表.1000", "x"}},
         {{"表.001", "new"}, {"表.999", "998"}, {"表.1000", "x"}}},
    };
    for (auto const& row : rows) {
        const ScratchFolder folder;
        const CString target = folder.Path("表.dat");
        const CString copies = folder.Path("ソ");  // its last byte is that of a divider
        platform::WriteWholeFile(target, "new");
        platform::MakeDirectory(copies);
        for (auto const& [name, content] : row.before)
            platform::WriteWholeFile(copies + "\\" + name.c_str(), content);
        CFileHistory history;
        EXPECT_EQ(0, history.SetTargetFileName(target));
        EXPECT_EQ(0, history.SetSaveDirPath(row.number == 3 ? copies + "\\" : copies, 0));
        EXPECT_EQ(0, history.SetHistoryNum(row.number));
        if (!row.target_there) platform::RemoveFile(target);
        history.ExecuteCopy();
        EXPECT_EQ(row.after, FilesIn(copies)) << row.what;
    }
}

TEST(FileHistory, WildcardsInANameAreNoPattern) {
    const ScratchFolder folder;
    platform::WriteWholeFile(folder.Path("a*.dat"), "new");
    platform::WriteWholeFile(folder.Path("_ab.001"), "stays");
    CFileHistory history;
    history.SetTargetFileName(folder.Path("a*.dat"));
    history.SetSaveDirPath(folder.Path(), 0);
    history.ExecuteCopy();
    EXPECT_EQ("stays", ContentOf(folder.Path("_ab.001")));
    EXPECT_EQ("new", ContentOf(folder.Path("a*.001")));
}

TEST(FileHistory, SettersKeepTheOldValueWhenTheyFail) {
    const ScratchFolder folder;
    const CString file = folder.Path("f.dat");
    const CString deep = folder.Path("a\\b\\c");
    const CString overlong = CString("C:\\") + CString('x', CFileHistory::longest_path - 2);
    platform::WriteWholeFile(file, "x");
    CFileHistory history;
    history.ExecuteCopy();  // without names: nothing
    EXPECT_EQ(1, history.GetHistoryNum());
    EXPECT_EQ(-1, history.SetHistoryNum(-1));
    EXPECT_EQ(1, history.GetHistoryNum());

    EXPECT_EQ(0, history.SetTargetFileName(file));
    EXPECT_EQ(-1, history.SetTargetFileName(folder.Path("none.dat")));
    EXPECT_EQ(-1, history.SetTargetFileName(folder.Path()));
    EXPECT_EQ(-2, history.SetTargetFileName(overlong));
    EXPECT_EQ(-1, history.SetTargetFileName(overlong.Left(CFileHistory::longest_path)));
    EXPECT_EQ(file, history.GetTargetFileName());

    EXPECT_EQ(-1, history.SetSaveDirPath(deep, 0));
    EXPECT_EQ(0, history.SetSaveDirPath(deep, 1));
    EXPECT_TRUE(platform::IsDirectory(deep));
    EXPECT_EQ(deep, history.GetSaveDirPath());
    EXPECT_EQ(-2, history.SetSaveDirPath(overlong, 1));
    EXPECT_EQ(-3, history.SetSaveDirPath(file + "\\below", 1));
    EXPECT_EQ(-3, history.SetSaveDirPath("", 1));
    EXPECT_EQ(0, history.SetSaveDirPath(file, 0));
    EXPECT_EQ(deep, history.GetSaveDirPath());
}

}  // namespace
