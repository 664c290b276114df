#include <gtest/gtest.h>

#include "tessaly/backup/db_backup.h"
#include "tessaly/backup/db_restore.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"

namespace {

class BackupTest : public CustomerTest {
  protected:
    BackupTest() {
        backup.SetDatabaseEditPtr(&db);
        backup.SetBackupPathName(path);
        restore.SetDatabaseEditPtr(&db);
        restore.SetRepairFileName("表.txt");
        restore.SetBackupPathName(path);
    }
    static void Put(CDatabaseEdit& table, int id, char const* address) {
        OneCustomer customer;
        customer.CustomerID = id;
        customer.Email = address;
        table.SetOneCustomerInfoForRepair(customer);
    }
    CString const path = folder.Path("控え.dat");
    CString const report = folder.Path("表.txt");
    CDBBackup backup;
    CDBRestore restore;
};

TEST_F(BackupTest, WritesTheRowsInMemoryAndLeavesTheOwnFileUnsaved) {
    db.ReadCustomerList();
    Add("a@x");
    EXPECT_EQ(0, backup.ActionBackup());
    EXPECT_FALSE(platform::Exists(DatabasePath()));
    EXPECT_EQ(0, db.WriteFromMemoryToFile());
    EXPECT_EQ(ContentOf(DatabasePath()), ContentOf(path));

    CDBBackup unset;
    EXPECT_EQ(-1, unset.ActionBackup());
    unset.SetBackupPathName(folder.Path("none\\b.dat"));
    EXPECT_EQ(-1, unset.ActionBackup());
    unset.SetDatabaseEditPtr(&db);
    EXPECT_EQ(-2, unset.ActionBackup());
    EXPECT_EQ(10204, LastError());
    CDatabaseEdit unbound;
    unset.SetDatabaseEditPtr(&unbound);
    EXPECT_EQ(-2, unset.ActionBackup());

    std::string const before = ContentOf(path);
    WriteTable(env_path, "\"broken\",\"2004/01/03 00:00:00\",\"2004/01/03 00:00:00\"\r\n", "application");
    EXPECT_EQ(-2, backup.ActionBackup());
    EXPECT_EQ(-1, restore.ActionRestore());
    EXPECT_EQ(before, ContentOf(path));
}

TEST_F(BackupTest, PlainEnvironmentHasNoKey) {
    EnvManager plain;
    ASSERT_EQ(0, plain.InitEnvFileInfo(env_path, nullptr, 0));
    CDatabaseEdit table(&plain);
    Put(table, 4, "a@x");
    backup.SetDatabaseEditPtr(&table);
    EXPECT_EQ(0, backup.ActionBackup());
    EXPECT_EQ(0U, TableContentOf(path).find("\"4\",\"a@x\","));
    restore.SetDatabaseEditPtr(&table);
    EXPECT_EQ(0, restore.ActionRestore());
}

TEST_F(BackupTest, RestoreTakesOverWhomTheDatabaseLostAndReports) {
    for (char const* address : {"a@x", "b@x", "c@x", "d@x"}) Add(address);
    ASSERT_EQ(0, backup.ActionBackup());
    std::string const names[] = {std::string(path.View()) + "\r\n【復旧した個人情報ID】\r\n",
                                 "\r\n【同じメールアドレスが存在したため復旧しなかった個人情報ID】\r\n"};
    std::tuple<std::vector<std::pair<int, char const*>>, int, std::string, std::vector<int>> const rows[] = {
        {{{3, "d@x"}, {2, "C@X"}, {1, "b@x"}, {0, "a@x"}}, 0, "(no file)", {3, 2, 1, 0}},
        {{{3, "d@x"}, {1, "b@x"}, {0, "a@x"}}, 1, names[0] + "2" + names[1], {0, 1, 2, 3}},
        {{{9, "A@x"}, {3, "d@x"}, {2, "c@x"}, {1, "b@x"}}, 2, names[0] + names[1] + "0", {9, 3, 2, 1}},
        {{{9, "a@x"}, {8, "b@x"}}, 3, names[0] + "2,3" + names[1] + "0,1", {2, 3, 8, 9}},
    };
    for (auto const& [present, result, text, left] : rows) {
        SCOPED_TRACE(result);
        platform::RemoveFile(report);
        db.RemoveAll(1);
        for (auto const& [id, address] : present) Put(db, id, address);
        db.MakeIndex();
        EXPECT_EQ(result, restore.ActionRestore());
        EXPECT_EQ(text, ContentOf(report));
        CArray<int, int> ids;
        db.GetDBIDALL(ids);
        EXPECT_EQ(left, Items(ids));
        EXPECT_EQ(db.GetLineNumber() - 1, db.DBID2RowNumber(left.back()));
    }
}

TEST_F(BackupTest, RestoreWithoutReportOrBackup) {
    Add("a@x");
    ASSERT_EQ(0, backup.ActionBackup());
    std::string const content = ContentOf(path);
    db.RemoveAll(1);
    restore.SetRepairFileName("控え.DAT");  // never over the backup
    EXPECT_EQ(1, restore.ActionRestore());
    EXPECT_EQ(content, ContentOf(path));
    EXPECT_FALSE(platform::Exists(restore.GetRepairPathName()));

    db.RemoveAll(1);
    restore.SetRepairFileName("none\\report.txt");
    EXPECT_EQ(1, restore.ActionRestore());

    WriteFile("控え.dat", content.substr(0, 40) + "\r\n" + content);
    EXPECT_EQ(-1, restore.ActionRestore());
    restore.SetBackupPathName(folder.Path("missing.dat"));
    EXPECT_EQ(-1, restore.ActionRestore());
    restore.SetBackupPathName("");
    EXPECT_EQ(-2, restore.ActionRestore());
    CDBRestore no_report;
    no_report.SetDatabaseEditPtr(&db);
    no_report.SetBackupPathName(path);
    EXPECT_EQ(-2, no_report.ActionRestore());
    EXPECT_EQ(1, db.GetLineNumber());
}

TEST_F(BackupTest, PathsAndDialogs) {
    CDBRestore fresh;
    fresh.SetRepairFileName("r.txt");
    EXPECT_TRUE(fresh.GetRepairPathName().IsEmpty());
    CString chosen;
    SetFileDialogHandler(
        [](void* answer, FileQuestion const& asked, CString& out) {
            out = *static_cast<CString*>(answer);
            return !out.IsEmpty() && asked.flags == (asked.open ? OFN_HIDEREADONLY | OFN_FILEMUSTEXIST
                                                                : OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT);
        },
        &chosen);
    EXPECT_EQ(0, fresh.SelectBackupPathName());
    EXPECT_EQ(0, backup.SelectBackupPathName());
    EXPECT_EQ(path, backup.GetBackupPathName());
    chosen = "D:\\表\\b.tar.gz";
    EXPECT_EQ(1, fresh.SelectBackupPathName());
    EXPECT_EQ("D:\\表\\r.txt", fresh.GetRepairPathName());
    EXPECT_EQ("b.tar", fresh.GetBackupFileNameWithoutExt());
    EXPECT_EQ("gz", fresh.GetBackupFileNameExt());
    chosen = "D:\\表\\b";
    EXPECT_EQ(1, backup.SelectBackupPathName());
    EXPECT_EQ("D:\\表\\b.dat", backup.GetBackupPathName());
    SetFileDialogHandler(nullptr, nullptr);
}

}  // namespace
