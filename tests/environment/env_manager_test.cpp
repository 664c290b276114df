#include "tessaly/environment/env_manager.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/environment/test_environment.h"
#include "tests/platform/time_zone.h"

namespace {

constexpr char some_date[] = "2004/01/03 12:34:56";

int CodeOf(EnvManager& env) { return env.GetErrMsg().GetLastCode(); }

std::string CompoundOf(char const* flag, char const* md5, char const* key) {
    CCompoundKeyManager keys;
    keys.SetKeyForSelectTable(app_key);
    return std::string(keys.MakeCompoundKey(flag, md5, key).View());
}

TEST(EnvManager, ANewEnvironmentOpensWithoutPassword) {
    TimeZone const zone("JST-9");
    platform::FrozenClock const clock({1073055600 + 86399, 0});
    TestEnvironment const test;
    EnvManager env;
    EXPECT_EQ(0, env.GetEnvType());
    ASSERT_EQ(0, env.InitEnvFileInfo(test.file, app_key, 0));
    EXPECT_EQ(5, env.GetEnvType());
    EXPECT_EQ(test.folder.Path(""), env.GetEnvRoot());
    EXPECT_EQ("店", env.GetEnvName());
    EXPECT_EQ(test.file, env.GetEnvPath());
    EXPECT_EQ(test.folder.Path("店\\DB\\dbseq.dat"), env.DataPath("DB\\dbseq.dat"));
    CString flag = "x", md5 = "x", entry, renewal;
    EXPECT_EQ(0, env.GetUseEnvPasswordFlag(flag));
    EXPECT_EQ(0, env.GetEnvPasswordMD5(md5));
    EXPECT_EQ("", flag + md5);
    EXPECT_EQ(64, env.GetDBKey().GetLength());
    EXPECT_EQ(0, env.GetEntryDate(entry));
    EXPECT_EQ(0, env.GetRenewalDate(renewal));
    EXPECT_EQ("2004/01/03 23:59:59", entry);
    EXPECT_EQ(entry, renewal);
    EXPECT_EQ(0, CodeOf(env));

    EXPECT_EQ(-1, EnvManager::MakeDefaultEnvFile(test.folder.Path("no\\e.tsl"), app_key));
    platform::FailWritesAfter(0);
    EXPECT_EQ(-2, EnvManager::MakeDefaultEnvFile(test.folder.Path("e.tsl"), app_key));
    platform::FailWritesAfter(-1);
    EXPECT_EQ(0, EnvManager::MakeDefaultEnvFile(test.folder.Path("e.tsl"), nullptr));
    EXPECT_EQ("\"\",\"2004/01/03 23:59:59\",\"2004/01/03 23:59:59\"\r\n",
              TableContentOf(test.folder.Path("e.tsl")));
}

TEST(EnvManager, InitTellsWhatIsMissing) {
    TestEnvironment const test;
    auto const& folder = test.folder;
    platform::WriteWholeFile(folder.Path("empty.tsl"), "");
    platform::MakeDirectory(folder.Path("empty"));
    EnvManager::MakeDefaultEnvFile(folder.Path("alone.tsl"), app_key);
    WriteTable(folder.Path("blank.tsl"), "\r\n", app_key);
    WriteTable(folder.Path("narrow.tsl"), "\"a\",\"b\"\r\n", app_key);
    WriteTable(folder.Path("cut.tsl"), "\"a\",\"b\",\"c\"", app_key);
    const struct {
        CString path;
        char const* key;
        int new_env, result, type, code;
    } rows[] = {
        {folder.Path("no\\e.tsl"), app_key, 0, -1, 0, 9003},
        {folder.Path("no\\e.tsl"), app_key, 1, -1, 0, 9003},
        {"e.tsl", app_key, 0, -1, 0, 9003},
        {folder.Path("none.tsl"), app_key, 0, -2, 0, 9005},
        {folder.Path("empty"), app_key, 0, -2, 0, 9005},
        {folder.Path("none.tsl"), app_key, 1, 0, 5, 0},
        {folder.Path("none.tsl"), nullptr, 1, 0, 3, 0},
        {test.file, nullptr, 0, 0, 3, 0},
        {folder.Path("empty.tsl"), app_key, 0, 0, 3, 0},
        {folder.Path("alone.tsl"), app_key, 0, -3, 5, 9005},
        {folder.Path("alone.tsl"), nullptr, 0, -3, 3, 9005},
        {folder.Path("blank.tsl"), app_key, 0, -18, 5, 0},
        {folder.Path("narrow.tsl"), app_key, 0, -17, 5, 0},
        {folder.Path("cut.tsl"), app_key, 0, -15, 5, 0},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        EnvManager env;
        EXPECT_EQ(row.result, env.InitEnvFileInfo(row.path, row.key, row.new_env));
        EXPECT_EQ(row.type, env.GetEnvType());
        EXPECT_EQ(row.code, CodeOf(env));
        EXPECT_EQ(row.path, env.GetEnvPath());
    }
}

TEST(EnvManager, GettersReadTheFileAnewAndTellItsFaults) {
    TestEnvironment const test;
    std::string const row =
        '"' + CompoundOf("Y", "m", "k") + "\",\"" + some_date + "\",\"" + some_date + "\"\r\n";
    using Failure = std::pair<int, int>;  // result and code
    const struct {
        std::string plain;
        Failure compound, entry, renewal;
    } rows[] = {
        {row, {0, 0}, {0, 0}, {0, 0}},
        {"", {-3, 9008}, {-3, 9008}, {-3, 9008}},
        {"\r\n" + row, {-4, 9008}, {-4, 9008}, {-4, 9008}},
        {"\"a\",\"b\"\r\n", {-2, 9010}, {-2, 9010}, {-2, 9010}},
        {row + row, {-6, 9011}, {-6, 9011}, {-6, 9011}},
        {"c,2004/01/03 12:34,2004/01/03 12:34:56\r\n", {-9, 9023}, {-8, 9023}, {0, 0}},
        {"c,2004/01/03 12:34:56,2004/02/30 12:34:56\r\n", {-11, 9024}, {0, 0}, {-8, 9024}},
        {"c,,\r\n", {-9, 9023}, {-8, 9023}, {-8, 9024}},
    };
    EnvManager env;
    ASSERT_EQ(0, env.InitEnvFileInfo(test.file, app_key, 0));
    for (auto const& r : rows) {
        SCOPED_TRACE(r.plain);
        WriteTable(test.file, r.plain, app_key);
        auto const check = [&](Failure const& expected, int (EnvManager::*getter)(CString&)) {
            env.GetErrMsg().Clear();
            CString out = "before";
            EXPECT_EQ(expected.first, (env.*getter)(out));
            EXPECT_EQ(expected.second, CodeOf(env));
            EXPECT_EQ(expected.first != 0, out == "before");
        };
        check(r.compound, &EnvManager::GetCompoundKey);
        check(r.entry, &EnvManager::GetEntryDate);
        check(r.renewal, &EnvManager::GetRenewalDate);
        CString out;
        EXPECT_EQ(r.compound.first ? -1 : 0, env.GetDBKey(out));
        EXPECT_EQ(r.compound.first ? "" : "k", env.GetDBKey());
    }

    CString out;
    EnvManager fresh;
    EXPECT_EQ(-1, fresh.GetCompoundKey(out));
    EXPECT_EQ(9016, CodeOf(fresh));
    EXPECT_EQ(-2, fresh.GetDBKey(out));
    EXPECT_EQ(0, fresh.InitEnvFileInfo(test.file, nullptr, 1));
    EXPECT_EQ(-5, fresh.GetEntryDate(out));
    EXPECT_EQ(9017, CodeOf(fresh));
    EXPECT_EQ(0, fresh.InitEnvFileInfo(test.folder.Path("none.tsl"), app_key, 1));
    EXPECT_EQ(-3, fresh.GetCompoundKey(out));
    EXPECT_EQ(9008, CodeOf(fresh));
    EXPECT_EQ(0, fresh.InitEnvFileInfo(test.folder.Path("none.tsl"), "", 1));
    EXPECT_EQ(5, fresh.GetEnvType());
    EXPECT_EQ(-2, fresh.GetUseEnvPasswordFlag(out));
}

TEST(EnvManager, FlagAndPasswordChangeAloneAndAtOnce) {
    TestEnvironment const test;
    EnvManager env, reader;
    ASSERT_EQ(0, env.InitEnvFileInfo(test.file, app_key, 0));
    ASSERT_EQ(0, reader.InitEnvFileInfo(test.file, app_key, 0));
    CString const key = env.GetDBKey();
    CString flag, entry_before, entry_after;
    env.GetEntryDate(entry_before);
    EXPECT_EQ(1, env.IsEnvPasswordOK(""));  // none is set
    EXPECT_EQ(0, env.SetEnvPassword("パスワード"));
    EXPECT_EQ(0, env.SetUseEnvPasswordFlag("Y"));
    EXPECT_EQ(0, reader.IsEnvPasswordOK("パスワード"));
    EXPECT_EQ(1, reader.IsEnvPasswordOK("パスワート"));
    EXPECT_EQ(0, env.SetEnvPasswordMD5("795f3202b17cb6bc3d4b771d8c6c9eaf"));  // of "other"
    EXPECT_EQ(0, reader.IsEnvPasswordOK("other"));
    EXPECT_EQ(0, reader.GetUseEnvPasswordFlag(flag));
    EXPECT_EQ("Y", flag);
    EXPECT_EQ(0, env.SetUseEnvPasswordFlag(""));
    EXPECT_EQ(0, reader.IsEnvPasswordOK("other"));
    EXPECT_EQ(key, reader.GetDBKey());
    reader.GetEntryDate(entry_after);
    EXPECT_EQ(entry_before, entry_after);
}

TEST(EnvManager, SettersThatFailLeaveTheFile) {
    TestEnvironment const test;
    EnvManager env;
    ASSERT_EQ(0, env.InitEnvFileInfo(test.file, app_key, 0));
    auto const expect_failure = [&](int flag_result, int password_result) {
        std::string const content = ContentOf(test.file);
        EXPECT_EQ(flag_result, env.SetUseEnvPasswordFlag("Y"));
        EXPECT_EQ(9011, CodeOf(env));
        EXPECT_EQ(password_result, env.SetEnvPassword("p"));
        EXPECT_EQ(password_result, env.SetEnvPasswordMD5("m"));
        EXPECT_EQ(9011, CodeOf(env));
        EXPECT_EQ(content, ContentOf(test.file));
    };
    std::string const before = ContentOf(test.file);
    for (char const* flag : {"y", "YES", " ", "表"}) EXPECT_EQ(-1, env.SetUseEnvPasswordFlag(flag));
    EXPECT_EQ(9011, CodeOf(env));
    EXPECT_EQ(before, ContentOf(test.file));

    std::string const sound = CompoundOf("N", "m", "k"), keyless = CompoundOf("N", "m", "");
    std::string damaged = sound;
    damaged[10] = damaged[10] == 'A' ? 'B' : 'A';
    for (std::string const& compound : {damaged, keyless, std::string()}) {
        test.WriteRow(compound, some_date, some_date);
        expect_failure(-5, -5);
        CString flag = "x";
        EXPECT_EQ(0, env.GetUseEnvPasswordFlag(flag));
        EXPECT_EQ(compound == keyless ? "N" : "", flag);
        EXPECT_EQ("", env.GetDBKey());
    }
    test.WriteRow(sound, "", some_date);  // cannot be read: a date is missing
    expect_failure(-1, -2);
    EXPECT_EQ(-2, env.IsEnvPasswordOK("p"));
    EXPECT_EQ(9008, CodeOf(env));
    env.RemoveAll(0);
    test.WriteRow(sound, some_date, some_date);
    expect_failure(-1, -2);  // no row in memory

    CString text;
    ASSERT_EQ(0, env.GetCompoundKey(text));
    platform::FailWritesAfter(0);
    EXPECT_EQ(-2, env.SetEnvPassword("p"));
    EXPECT_EQ(-1, env.WriteFromMemoryToFile());
    EXPECT_EQ(9009, CodeOf(env));
    platform::FailWritesAfter(-1);
    EXPECT_EQ(0, env.WriteFromMemoryToFile());  // the row was kept
    EXPECT_EQ(0, env.IsEnvPasswordOK("p"));
    EXPECT_EQ("k", env.GetDBKey());
    EnvManager fresh;
    EXPECT_EQ(-1, fresh.SetUseEnvPasswordFlag("Y"));
    EXPECT_EQ(9011, CodeOf(fresh));
}

TEST(EnvManager, CellsChangeInMemoryUntilTheyAreWritten) {
    TestEnvironment const test;
    CString const file = test.folder.Path("new.tsl");
    EnvManager env;
    EXPECT_EQ(-1, env.WriteFromMemoryToFile());
    EXPECT_EQ(9009, CodeOf(env));
    ASSERT_EQ(0, env.InitEnvFileInfo(file, app_key, 1));
    EXPECT_EQ(0, env.SetRenewalDate(some_date));
    EXPECT_EQ(0, env.SetEntryDate(some_date));
    EXPECT_EQ(0, env.SetCompoundKey("c"));
    EXPECT_EQ(1, env.GetLineNumber());
    EXPECT_FALSE(platform::Exists(file));
    EXPECT_EQ(0, env.WriteFromMemoryToFile());
    EXPECT_EQ("\"c\",\"2004/01/03 12:34:56\",\"2004/01/03 12:34:56\"\r\n", TableContentOf(file, app_key));
    CString out;
    env.SetEntryDate("2000/01/01 00:00:00");
    EXPECT_EQ(0, env.GetEntryDate(out));
    EXPECT_EQ(some_date, out);  // the file's, not what was in memory

    env.Init();  // a table without columns takes no cell
    EXPECT_EQ(-1, env.SetCompoundKey("c"));
    EXPECT_EQ(9018, CodeOf(env));
    EXPECT_EQ(-1, env.SetEntryDate("c"));
    EXPECT_EQ(9019, CodeOf(env));
    EXPECT_EQ(-1, env.SetRenewalDate("c"));
    EXPECT_EQ(9020, CodeOf(env));
}

}  // namespace
