#include "tessaly/backup/db_restore.h"

#include <string>

#include "environment/data_key.h"
#include "platform/file.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/platform/mbcs.h"

namespace {

std::string Joined(CArray<int, int> const& ids) {
    std::string text;
    for (int const id : ids) {
        if (!text.empty()) text += ',';
        text += std::to_string(id);
    }
    return text;
}

}  // namespace

CDBRestore::~CDBRestore() = default;

void CDBRestore::SetBackupPathName(CString path) {
    backup_path_ = path;
    platform::splitpath(backup_path_, nullptr, nullptr, &backup_file_name_, &backup_extension_);
    backup_extension_ = backup_extension_.Mid(1);
    MakeRepairPathName();
}

void CDBRestore::SetRepairFileName(CString name) {
    repair_file_name_ = name;
    MakeRepairPathName();
}

int CDBRestore::MakeRepairPathName() {
    if (backup_path_.IsEmpty() || repair_file_name_.IsEmpty()) return 0;
    CString drive;
    CString directory;
    platform::splitpath(backup_path_, &drive, &directory, nullptr, nullptr);
    repair_path_ = drive + directory + repair_file_name_;
    return 1;
}

int CDBRestore::SelectBackupPathName() {
    CFileDialog dialog(true, "dat", nullptr, OFN_FILEMUSTEXIST | OFN_HIDEREADONLY,
                       "個人情報(*.dat)|*.dat|全て(*.*)|*.*||");
    if (dialog.DoModal() != IDOK) return 0;
    SetBackupPathName(dialog.GetPathName());
    return 1;
}

int CDBRestore::ActionRestore() {
    if (backup_path_.IsEmpty() || !database_ || repair_path_.IsEmpty()) return not_set;
    EnvManager* const env = database_->GetEnvManager();
    if (!env) return unreadable;
    environment::DataKey const key(*env);
    CDatabaseEdit backup(env);
    if (!key.IsKnown() || backup.ReadFromFileToMemoryAppointFileName(backup_path_, key.Get()) < 0)
        return unreadable;
    backup.MakeIndex();
    CArray<int, int> restored_ids;
    CArray<int, int> left_out_ids;
    database_->RestoreFromOtherDBE(backup, restored_ids, left_out_ids);
    if (!restored_ids.IsEmpty()) {
        database_->SortByCustomerID();
        database_->MakeIndex();
    }
    if (restored_ids.IsEmpty() && left_out_ids.IsEmpty()) return nothing_to_do;
    WriteReport(restored_ids, left_out_ids);
    if (left_out_ids.IsEmpty()) return restored;
    return restored_ids.IsEmpty() ? left_out : restored_and_left_out;
}

void CDBRestore::WriteReport(CArray<int, int> const& restored_ids,
                             CArray<int, int> const& left_out_ids) const {
    if (repair_path_.CompareNoCase(backup_path_) == 0) return;
    std::string report(backup_path_.View());
    report += "\r\n【復旧した個人情報ID】\r\n" + Joined(restored_ids);
    report += "\r\n【同じメールアドレスが存在したため復旧しなかった個人情報ID】\r\n" + Joined(left_out_ids);
    platform::WriteWholeFile(repair_path_, report);
}
