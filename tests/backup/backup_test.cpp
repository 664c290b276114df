#include <gtest/gtest.h>

#include "environment/backup/db_backup.h"
#include "environment/backup/db_restore.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"

namespace {

struct Dialog {
    Dialog() { SetFileDialogHandler(Answer, this); }
    ~Dialog() { SetFileDialogHandler(nullptr, nullptr); }
    static bool Answer(void* self, bool open, char const*, char const* filter, CString& path) {
        auto& dialog = *static_cast<Dialog*>(self);
        dialog.opened = open;
        dialog.filter = filter;
        path = dialog.path;
        return !path.IsEmpty();
    }
    CString path, filter;
    bool opened = false;
};

class BackupTest : public CustomerTest {
  protected:
    BackupTest() {
        backup.SetDatabaseEditPtr(&db);
        backup.SetBackupPathName(path);
        restore.SetDatabaseEditPtr(&db);
        restore.SetRepairFileName("表.txt");
        restore.SetBackupPathName(path);
    }
    void LoseKey() const {
        WriteTable(env_path, "\"broken\",\"2004/01/03 00:00:00\",\"2004/01/03 00:00:00\"\r\n", "application");
    }
    const CString path = folder.Path("控え.dat");
    const CString report = folder.Path("表.txt");
    CDBBackup backup;
    CDBRestore restore;
};

TEST_F(BackupTest, WritesTheRowsInMemoryAndLeavesTheOwnFileUnsaved) {
    db.ReadCustomerList();
    Add("a@example.jp");
    EXPECT_EQ(0, backup.ActionBackup());
    EXPECT_FALSE(platform::Exists(DatabasePath()));
    EXPECT_EQ(0, db.WriteFromMemoryToFile());
    EXPECT_EQ(ContentOf(DatabasePath()), ContentOf(path));

    backup.SetBackupPathName(folder.Path("none\\b.dat"));
    EXPECT_EQ(-2, backup.ActionBackup());
    EXPECT_EQ(10204, LastError());
    backup.SetBackupPathName("");
    EXPECT_EQ(-1, backup.ActionBackup());
    CDBBackup no_database;
    no_database.SetBackupPathName(path);
    EXPECT_EQ(-1, no_database.ActionBackup());
    CDatabaseEdit unbound;
    no_database.SetDatabaseEditPtr(&unbound);
    EXPECT_EQ(-2, no_database.ActionBackup());

    const std::string before = ContentOf(path);
    LoseKey();
    backup.SetBackupPathName(path);
    EXPECT_EQ(-2, backup.ActionBackup());
    EXPECT_EQ(-1, restore.ActionRestore());
    EXPECT_EQ(before, ContentOf(path));
}

TEST_F(BackupTest, PlainEnvironmentHasNoKey) {
    EnvManager plain;
    ASSERT_EQ(0, plain.InitEnvFileInfo(env_path, nullptr, 0));
    CDatabaseEdit table(&plain);
    OneCustomer customer;
    customer.CustomerID = 4;
    table.SetOneCustomerInfoForRepair(customer);
    backup.SetDatabaseEditPtr(&table);
    EXPECT_EQ(0, backup.ActionBackup());
    EXPECT_EQ(0U, TableContentOf(path).find("\"4\",\"\","));
    restore.SetDatabaseEditPtr(&table);
    EXPECT_EQ(0, restore.ActionRestore());
}

TEST_F(BackupTest, RestoreTakesOverWhomTheDatabaseLostAndReports) {
    for (char const* address : {"a@example.jp", "b@example.jp", "c@example.jp", "d@example.jp"}) Add(address);
    ASSERT_EQ(0, backup.ActionBackup());
    const std::string heading(path.View());
    const std::string none = heading + "\r\n【復旧した個人情報ID】\r\n";
    const std::string conflicts = "\r\n【同じメールアドレスが存在したため復旧しなかった個人情報ID】\r\n";
    const struct {
        std::vector<std::pair<int, char const*>> present;
        int result;
        std::string report;
        std::vector<int> ids;
    } rows[] = {
        {{{3, "d@example.jp"}, {2, "C@EXAMPLE.JP"}, {1, "b@example.jp"}, {0, "a@example.jp"}},
         0,
         "(no file)",
         {3, 2, 1, 0}},
        {{{3, "d@example.jp"}, {1, "b@example.jp"}, {0, "a@example.jp"}},
         1,
         none + "2" + conflicts,
         {0, 1, 2, 3}},
        {{{9, "A@example.jp"}, {3, "d@example.jp"}, {2, "c@example.jp"}, {1, "b@example.jp"}},
         2,
         none + conflicts + "0",
         {9, 3, 2, 1}},
        {{{9, "a@example.jp"}, {8, "b@example.jp"}}, 3, none + "2,3" + conflicts + "0,1", {2, 3, 8, 9}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(&row - rows);
        platform::RemoveFile(report);
        db.RemoveAll(1);
        for (auto const& [id, address] : row.present) {
            OneCustomer customer;
            customer.CustomerID = id;
            customer.Email = address;
            db.SetOneCustomerInfoForRepair(customer);
        }
        db.MakeIndex();
        EXPECT_EQ(row.result, restore.ActionRestore());
        EXPECT_EQ(row.report, ContentOf(report));
        CArray<int, int> ids;
        db.GetDBIDALL(ids);
        EXPECT_EQ(row.ids, Items(ids));
        for (int const id : row.ids) EXPECT_EQ(1, db.FindCustomerID(id, 1));
    }
}

TEST_F(BackupTest, RestoreWithoutReportOrBackup) {
    Add("a@example.jp");
    ASSERT_EQ(0, backup.ActionBackup());
    const std::string content = ContentOf(path);
    db.RemoveAll(1);
    db.MakeIndex();
    restore.SetRepairFileName("控え.DAT");  // never over the backup
    EXPECT_EQ(1, restore.ActionRestore());
    EXPECT_EQ(content, ContentOf(path));
    EXPECT_FALSE(platform::Exists(restore.GetRepairPathName()));

    db.RemoveAll(1);
    db.MakeIndex();
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
    Dialog dialog;
    EXPECT_EQ(0, fresh.SelectBackupPathName());
    EXPECT_EQ(0, backup.SelectBackupPathName());
    EXPECT_EQ(path, backup.GetBackupPathName());
    dialog.path = "D:\\表\\b.tar.gz";
    EXPECT_EQ(1, fresh.SelectBackupPathName());
    EXPECT_TRUE(dialog.opened);
    EXPECT_EQ("個人情報(*.dat)|*.dat|全て(*.*)|*.*||", dialog.filter);
    EXPECT_EQ("D:\\表\\r.txt", fresh.GetRepairPathName());
    EXPECT_EQ("b.tar", fresh.GetBackupFileNameWithoutExt());
    EXPECT_EQ("gz", fresh.GetBackupFileNameExt());
    dialog.path = "D:\\表\\b";
    EXPECT_EQ(1, backup.SelectBackupPathName());
    EXPECT_FALSE(dialog.opened);
    EXPECT_EQ("個人情報(*.dat)|*.dat||", dialog.filter);
    EXPECT_EQ("D:\\表\\b.dat", backup.GetBackupPathName());
}

}  // namespace
