#include "tessaly/storage/file_history.h"

#include <gtest/gtest.h>

#include "tessaly/storage/split_string.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

namespace {

// The files of a directory: "name=content name=content".
std::string FilesIn(CString const& directory) {
    std::string files;
    CFileFind found;
    for (bool more = found.FindFile(directory + "\\*"); more;) {
        more = found.FindNextFile();
        files.append(files.empty() ? "" : " ").append(found.GetFileName().View()).append("=");
        files += ContentOf(found.GetFilePath());
    }
    return files;
}

TEST(FileHistory, CopiesShiftAndTheOldestGoes) {
    const struct {
        int number;
        bool target_there;
        char const* before;
        char const* after;
    } rows[] = {
        {3, true, "", "表.001=new"},
        {3, true, "表.001=1 表.002=2 表.003=3", "表.001=new 表.002=1 表.003=2"},
        {3, true, "表.002=2", "表.001=new 表.003=2"},
        {1, true, "表.001=1 表.002=2", "表.001=new 表.002=2"},
        {0, true, "_表.001=left 表.001=1", "表.001=1"},
        {2, true, "_表.777=left _表.a.b=left _表=x _表x.001=x 表.dat=x",
         "_表=x _表x.001=x 表.001=new 表.dat=x"},
        {2, false, "表.001=1 表.002=2", "表.002=1"},
        {2000000000, true, "表.1000=x 表.998=998 表.999=999", "表.001=new 表.1000=x 表.999=998"},
    };
    for (auto const& row : rows) {
        ScratchFolder const folder;
        CString const target = folder.Path("表.dat");
        CString const copies = folder.Path("ソ");  // its last byte is that of a divider
        platform::WriteWholeFile(target, "new");
        platform::MakeDirectory(copies);
        CArray<CString, CString> before;
        SplitString(row.before, before, "= ", 0);
        for (int i = 0; i + 1 < before.GetSize(); i += 2)
            platform::WriteWholeFile(copies + "\\" + before[i], before[i + 1].View());
        CFileHistory history;
        EXPECT_EQ(0, history.SetTargetFileName(target));
        EXPECT_EQ(0, history.SetSaveDirPath(row.number == 3 ? copies + "\\" : copies, 0));
        EXPECT_EQ(0, history.SetHistoryNum(row.number));
        if (!row.target_there) platform::RemoveFile(target);
        history.ExecuteCopy();
        EXPECT_EQ(row.after, FilesIn(copies)) << &row - rows;
    }
}

TEST(FileHistory, SettersKeepTheOldValueWhenTheyFail) {
    ScratchFolder const folder;
    CString const file = folder.Path("f.dat"), deep = folder.Path("a\\b\\c");
    CString const overlong = CString("C:\\") + CString('x', CFileHistory::longest_path - 2);
    platform::WriteWholeFile(file, "x");
    CFileHistory history;
    history.ExecuteCopy();  // without names: nothing
    EXPECT_EQ(-1, history.SetHistoryNum(-1));
    EXPECT_EQ(1, history.GetHistoryNum());
    EXPECT_EQ(0, history.SetTargetFileName(file));
    EXPECT_EQ(-1, history.SetTargetFileName(folder.Path("none.dat")));
    EXPECT_EQ(-2, history.SetTargetFileName(overlong));
    EXPECT_EQ(-1, history.SetTargetFileName(overlong.Left(CFileHistory::longest_path)));
    EXPECT_EQ(file, history.GetTargetFileName());

    EXPECT_EQ(-1, history.SetSaveDirPath(deep, 0));
    EXPECT_EQ(0, history.SetSaveDirPath(deep, 1));
    EXPECT_TRUE(platform::IsDirectory(deep));
    EXPECT_EQ(-2, history.SetSaveDirPath(overlong, 1));
    EXPECT_EQ(-3, history.SetSaveDirPath(file + "\\below", 1));
    EXPECT_EQ(-3, history.SetSaveDirPath("", 1));
    EXPECT_EQ(0, history.SetSaveDirPath(file, 0));
    EXPECT_EQ(deep, history.GetSaveDirPath());
}

}  // namespace
