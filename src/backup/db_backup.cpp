#include "tessaly/backup/db_backup.h"

#include "environment/data_key.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/platform/dialog.h"

CDBBackup::~CDBBackup() = default;

int CDBBackup::SelectBackupPathName() {
    CFileDialog dialog(false, "dat", nullptr, OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT,
                       "個人情報(*.dat)|*.dat||");
    if (dialog.DoModal() != IDOK) return 0;
    SetBackupPathName(dialog.GetPathName());
    return 1;
}

int CDBBackup::ActionBackup() {
    if (backup_path_.IsEmpty() || !database_) return not_set;
    EnvManager* const env = database_->GetEnvManager();
    if (!env) return not_written;
    environment::DataKey const key(*env);
    if (!key.IsKnown()) return not_written;
    bool const written =
        database_->WriteFromMemoryToFileAppointFileName(backup_path_, key.Get()) == CDatabaseEdit::ok;
    return written ? ok : not_written;
}
