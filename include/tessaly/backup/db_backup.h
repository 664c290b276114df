#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class CDatabaseEdit;

// Backs up the customer database: writes what is in memory to a file of the form of database.dat, under the
// present key of the environment. A database that was not loaded gives an empty backup.
//
// The database is not owned and must outlive the object. One object belongs to one thread; the database locks
// its own operations.
class TESSALY_API CDBBackup {
  public:
    enum Result : int {
        ok = 0,
        not_set = -1,      // no path, or no database
        not_written = -2,  // the file or the key: the database's error object has the cause of a file
    };

    CDBBackup() = default;
    CDBBackup(CDBBackup const&) = default;
    CDBBackup& operator=(CDBBackup const&) = default;
    virtual ~CDBBackup();

    void SetDatabaseEditPtr(CDatabaseEdit* database) { database_ = database; }
    void SetBackupPathName(CString path) { backup_path_ = path; }
    CString GetBackupPathName() { return backup_path_; }
    // Asks for the path in a dialog. 1 with the path stored; 0 when the user gave up.
    int SelectBackupPathName();

    // Writes all customers in memory, saved or not, to the backup path, over a file that is there. In an
    // environment of type 3 the file has no key. The database's own file and its unsaved changes stay as they
    // are. ok, not_set; not_written also when the database has no environment or the environment does not
    // give its key.
    int ActionBackup();

  private:
    CString backup_path_;
    CDatabaseEdit* database_ = nullptr;
};
