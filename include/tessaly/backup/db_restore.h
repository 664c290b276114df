#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class CDatabaseEdit;

// Restores customers from a backup (CDBBackup): those that the present database lacks are added, and a report
// beside the backup file lists them, and those that were left out because another customer has their mail
// address.
//
// The report is Shift-JIS text with CR LF:
//
//     <backup path>
//     【復旧した個人情報ID】
//     <IDs, divided by commas>
//     【同じメールアドレスが存在したため復旧しなかった個人情報ID】
//     <IDs, divided by commas>, without a line end
//
// The database is not owned and must outlive the object. One object belongs to one thread; while it restores,
// nothing else may use the database.
class TESSALY_API CDBRestore {
  public:
    enum Result : int {
        nothing_to_do = 0,  // no customer added, none left out; no report
        restored = 1,
        left_out = 2,
        restored_and_left_out = 3,
        unreadable = -1,  // the backup cannot be read, or the database has no environment or lacks its key
        not_set = -2,     // no backup path, no database, or no repair path
    };

    CDBRestore() = default;
    CDBRestore(CDBRestore const&) = default;
    CDBRestore& operator=(CDBRestore const&) = default;
    virtual ~CDBRestore();

    void SetDatabaseEditPtr(CDatabaseEdit* database) { database_ = database; }
    // The backup file, and the name of the report without a directory. The repair path is made again once
    // both are set; while either is empty it stays as it was.
    void SetBackupPathName(CString path);
    void SetRepairFileName(CString name);
    CString GetBackupPathName() { return backup_path_; }
    CString GetRepairFileName() { return repair_file_name_; }
    // The full path of the report: the directory of the backup file and the repair file name.
    CString GetRepairPathName() { return repair_path_; }
    // Asks for the backup file in a dialog. 1 with its path stored as SetBackupPathName does; 0 when the user
    // gave up.
    int SelectBackupPathName();
    // Name and extension of the backup file, the latter without its dot.
    CString GetBackupFileNameWithoutExt() { return backup_file_name_; }
    CString GetBackupFileNameExt() { return backup_extension_; }

    // Adds the customers that the database lacks by ID and by mail address, sorts it by ID if there were any,
    // and writes the report over an older one. The database changes in memory only; the caller saves it. A
    // report that cannot be written, or would lie over the backup, is left out. A negative result leaves the
    // database as it was.
    int ActionRestore();

  private:
    int MakeRepairPathName();
    void WriteReport(CArray<int, int> const& restored_ids, CArray<int, int> const& left_out_ids) const;

    CString backup_path_;
    CString repair_file_name_;
    CDatabaseEdit* database_ = nullptr;
    CString backup_file_name_;
    CString backup_extension_;
    CString repair_path_;
};
