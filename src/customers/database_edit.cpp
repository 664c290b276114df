#include "tessaly/customers/database_edit.h"

#include "customers/address_index.h"
#include "customers/customer_index.h"
#include "customers/database_lock.h"
#include "environment/data_key.h"
#include "storage/construction_failure.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/system_option.h"

using enum storage::ErrorCode;

using customers::DatabaseLock;
using customers::element_count;

namespace customers {

CMutex& DatabaseMutex() {
    static CMutex mutex(false, "DATABASE_EDIT_MUTEX");
    return mutex;
}

}  // namespace customers

CDatabaseEdit::CDatabaseEdit() { InitMember(); }

CDatabaseEdit::CDatabaseEdit(CDatabaseEdit const& other) = default;
CDatabaseEdit& CDatabaseEdit::operator=(CDatabaseEdit const& other) = default;
CDatabaseEdit::~CDatabaseEdit() = default;

CDatabaseEdit::CDatabaseEdit(EnvManager* env) {
    InitMember();
    if (SetEnvManager(env)) return;
    storage::FailConstruction(error_, customer_environment_set_failed);
}

CDatabaseEdit::CDatabaseEdit(EnvManager* env, SystemOption* option) {
    InitMember();
    if (!SetEnvManager(env))
        error_.SetErr(customer_environment_set_failed);
    else if (!SetSystemOption(option))
        error_.SetErr(customer_system_option_set_failed);
    else
        return;
    storage::FailConstruction(error_, "設定失敗");
}

void CDatabaseEdit::InitMember() {
    SetElementNumber(element_count);
    SetElementNumber_Y2(element_count);
    OneCustomerTemp.SetSize(element_count);
}

int CDatabaseEdit::Fail(int code, CustomerResult result) {
    error_.SetErr(code);
    return result;
}

int CDatabaseEdit::SetEnvManager(EnvManager* env) {
    DatabaseLock const lock;
    if (!env || env_) return 0;
    env_ = env;
    if (option_) option_->SetEnvManager(env_);
    return 1;
}

int CDatabaseEdit::SetSystemOption(SystemOption* option) {
    DatabaseLock const lock;
    if (!option || option_) return 0;
    option_ = option;
    if (env_) option_->SetEnvManager(env_);
    return 1;
}

EnvManager* CDatabaseEdit::GetEnvManager() {
    DatabaseLock const lock;
    return env_;
}

CErrMsg& CDatabaseEdit::GetErrMsg() {
    DatabaseLock const lock;
    return error_;
}

int CDatabaseEdit::GetMaxDBID() {
    DatabaseLock const lock;
    return max_id_;
}

int CDatabaseEdit::ReadCustomerList() {
    DatabaseLock const lock;
    if (!env_) return not_bound;
    RemoveAll(0);
    SetDBFilePath(env_->DataPath("DB\\database.dat"));
    int result = ReadWithEnvironmentKey();
    if (result == db_file_empty) result = db_success;
    MakeIndex();
    if (result != db_success) return result;
    return GetElementNumber() == element_count ? GetLineNumber() : bad_width;
}

int CDatabaseEdit::ReadWithEnvironmentKey() {
    environment::DataKey const key(*env_);
    return key.IsKnown() ? ReadDBFile(key.Get()) : key_missing;
}

int CDatabaseEdit::WriteWithEnvironmentKey() {
    if (!IsChanged()) return WriteDBFile(0, nullptr);
    environment::DataKey const key(*env_);
    return key.IsKnown() ? WriteDBFile(0, key.Get()) : db_write_failed;
}

int CDatabaseEdit::ReadFromFileToMemoryAppointFileName(CString path, char const* key) {
    DatabaseLock const lock;
    int const result = ReadFrom(path, key);
    if (result == db_file_empty) {
        RemoveAll(1);
        return 0;
    }
    if (result != db_success) return result;
    if (GetElementNumber() != element_count) return bad_width;
    if (GetLineNumber() > 0) ChangeRow(0);  // the rows are not those of the own file
    return GetLineNumber();
}

int CDatabaseEdit::WriteFromMemoryToFile() {
    DatabaseLock const lock;
    if (!env_) return Fail(customer_environment_not_set, no_environment);
    if (WriteWithEnvironmentKey() == db_success) return ok;
    return Fail(customer_file_write_failed, not_written);
}

int CDatabaseEdit::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    DatabaseLock const lock;
    return WriteTo(path, key) == db_success ? ok : Fail(customer_file_write_failed, not_written);
}
