#include <gtest/gtest.h>

#include <cstring>

#include "tessaly/storage/file_version.h"
#include "tessaly/storage/ini_manager.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

namespace {

TEST(IniManager, StaticAndMemberFormsReadAndWriteTheSameValues) {
    ScratchFolder const folder;
    CString const file = folder.Path("設定.ini");
    EXPECT_EQ(1, CIniManager::WriteProfileStringA(file, "PROXY", "host", "表示"));
    CIniManager ini(file, "proxy");
    EXPECT_EQ(1, ini.WriteProfileInt("port", -8080));
    EXPECT_EQ(static_cast<unsigned>(-8080), CIniManager::GetProfileIntA(file, "PROXY", "port", 1));
    CString value = "before";
    EXPECT_EQ(0, ini.GetProfileStringA("none", value, "") + ini.GetProfileStringA("none", value, nullptr));
    EXPECT_EQ("before", value);
    EXPECT_EQ(1, ini.GetProfileStringA("HOST", value, ""));
    EXPECT_EQ("表示", value);
    EXPECT_EQ(1, ini.GetProfileStringA("none", value, "default"));
    EXPECT_EQ("default", value);
    for (int const length : {4095, 4096, 4097}) {
        EXPECT_EQ(1, ini.WriteProfileStringA("long", CString('x', length)));
        EXPECT_EQ(1, ini.GetProfileStringA("long", value, ""));
        EXPECT_EQ(std::min(length, CIniManager::longest_value), value.GetLength());
    }
    EXPECT_EQ(1, ini.WriteProfileStringA("long", nullptr));
    EXPECT_EQ(0, ini.GetProfileStringA("long", value, ""));
    ini.ClearSectionPosition();
    EXPECT_EQ(9U, ini.GetProfileIntA("port", 9));
    EXPECT_EQ(0, ini.WriteProfileInt("port", 1));
    ini.KeepSectionPosition(folder.Path("no\\x.ini"), "s");
    EXPECT_EQ(0, ini.WriteProfileInt("port", 1));
    ini.KeepSectionPosition(nullptr, nullptr);
    EXPECT_EQ(9U, ini.GetProfileIntA(nullptr, 9));
}

TEST(FileVersion, GivesTheLibrarysOwnItemsAndNothingElse) {
    char out[64] = "before";
    char item[] = "FileVersion";
    ASSERT_EQ(1, GetModuleFileVersion(nullptr, out, sizeof out));
    EXPECT_STREQ(TESSALY_VERSION, out);
    unsigned long const size = std::strlen(out) + 1;
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(0, GetModuleFileVersion(nullptr, out, size - 1));  // its NUL does not fit
    EXPECT_EQ('x', out[0]);
    EXPECT_EQ(1, GetModuleFileVerInfo(nullptr, item, out, size));
    EXPECT_EQ('x', out[size]);
    EXPECT_EQ(1, GetModuleFileInternalName(nullptr, out, sizeof out));
    EXPECT_STREQ("tessaly", out);

    ScratchFolder const folder;
    platform::WriteWholeFile(folder.Path("plain.txt"), "MZ no version here");
    for (char const* name : {"plain.txt", "none.dll", ""})
        EXPECT_EQ(0, GetFileVersion(folder.Path(name), out, sizeof out) +
                         GetFileInternalName(folder.Path(name), out, sizeof out) +
                         GetFileVerInfo(folder.Path(name), item, out, sizeof out));
    EXPECT_EQ(0, GetFileVerInfo(nullptr, item, out, sizeof out));
    EXPECT_EQ(0, GetModuleFileVersion("not-loaded.dll", out, sizeof out));
    EXPECT_STREQ("tessaly", out);
}

}  // namespace
