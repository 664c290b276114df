#include "environment/backup/db_backup.h"

#include "customers/database_edit.h"
#include "environment/data_key.h"
#include "platform/dialog.h"

CDBBackup::~CDBBackup() = default;

int CDBBackup::SelectBackupPathName() {
    constexpr unsigned ask_before_overwriting = 0x0002;
    constexpr unsigned hide_read_only = 0x0004;
    CFileDialog dialog(false, "dat", nullptr, hide_read_only | ask_before_overwriting,
                       "個人情報(*.dat)|*.dat||");
    if (dialog.DoModal() != IDOK) return 0;
    SetBackupPathName(dialog.GetPathName());
    return 1;
}

int CDBBackup::ActionBackup() {
    if (backup_path_.IsEmpty() || !database_) return not_set;
    EnvManager* const env = database_->GetEnvManager();
    if (!env) return not_written;
    const environment::DataKey key(*env);
    if (!key.IsKnown()) return not_written;
    bool const written =
        database_->WriteFromMemoryToFileAppointFileName(backup_path_, key.Get()) == CDatabaseEdit::ok;
    return written ? ok : not_written;
}
