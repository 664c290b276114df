#include "tessaly/delivery/test_mailing_info.h"

#include "customers/customer_row.h"
#include "customers/table_cells.h"
#include "environment/data_key.h"
#include "platform/file.h"
#include "storage/construction_failure.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/system_option.h"
#include "tessaly/text/directories.h"

using enum storage::ErrorCode;

using customers::element_count;

namespace {

constexpr char constructor_title[] = "設定失敗";
constexpr int no_row = -1;

}  // namespace

CTestMailingInfo::CTestMailingInfo() { InitMember(); }

CTestMailingInfo::CTestMailingInfo(EnvManager* env) {
    InitMember();
    if (SetEnvManager(env)) return;
    error_.SetErr(customer_environment_set_failed);
    storage::FailConstruction(error_, constructor_title);
}

CTestMailingInfo::CTestMailingInfo(EnvManager* env, SystemOption* options) : CTestMailingInfo(env) {
    if (SetSystemOption(options)) return;
    error_.SetErr(customer_system_option_set_failed);
    storage::FailConstruction(error_, constructor_title);
}

void CTestMailingInfo::InitMember() {
    Init();
    SetElementNumber(element_count);
    SetElementNumber_Y2(element_count);
    InitOneCustomerTemp();
    env_ = nullptr;
    options_ = nullptr;
}

int CTestMailingInfo::Fail(int code, TestMailingResult result) {
    error_.SetErr(code);
    return result;
}

int CTestMailingInfo::SetEnvManager(EnvManager* env) {
    if (!env || env_) return 0;
    env_ = env;
    if (ReadFromFileToMemory(nullptr, 0, nullptr) < 0) {
        env_ = nullptr;
        return 0;
    }
    if (options_) options_->SetEnvManager(env_);
    return 1;
}

int CTestMailingInfo::SetSystemOption(SystemOption* options) {
    if (!options || options_) return 0;
    options_ = options;
    if (env_) options_->SetEnvManager(env_);
    return 1;
}

int CTestMailingInfo::ReadFromFileToMemory(char const* path, int useKey, char const* key) {
    if (!path && !env_) return no_environment;
    CString file = path ? CString(path) : env_->DataPath("DB\\testmailinginfo.dat");
    PathFix(file);
    RemoveAll(0);
    SetDBFilePath(file);
    int result = ReadFile(useKey, key);
    if (result == db_file_not_found) {
        CFile empty;
        if (!empty.Open(file, CFile::modeCreate | CFile::modeWrite)) return not_created;
        result = db_file_empty;
    }
    if (result == db_file_empty) return 0;
    if (result < 0) return result;
    return GetElementNumber() == element_count ? GetLineNumber() : bad_width;
}

int CTestMailingInfo::ReadFile(int use_key, char const* key) {
    if (!env_) return ReadDBFile(use_key ? key : nullptr);
    environment::DataKey const file_key(*env_, use_key, key);
    return file_key.IsKnown() ? ReadDBFile(file_key.Get()) : db_bad_format;
}

int CTestMailingInfo::WriteFromMemoryToFile() {
    if (WriteHome() == db_success) return ok;
    return Fail(customer_file_write_failed, not_written);
}

int CTestMailingInfo::WriteHome() {
    if (!env_ || !IsChanged()) return WriteDBFile(0, nullptr);
    environment::DataKey const key(*env_);
    return key.IsKnown() ? WriteDBFile(0, key.Get()) : db_write_failed;
}

int CTestMailingInfo::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    return WriteTo(path, key) == db_success ? ok : not_written_to;
}

// The first row of a key, or no_row.
int CTestMailingInfo::RowOf(int id) const {
    for (int row = 0; row < GetLineNumber(); ++row)
        if (customers::IDOf(*this, row) == id) return row;
    return no_row;
}

int CTestMailingInfo::GetTestMailingInfo(OneCustomer& c, int id) {
    InitOneCustomer(c, id);
    int const row = RowOf(id);
    if (row == no_row) return 0;
    customers::SetFromRow(c, Row(row));
    return 1;
}

int CTestMailingInfo::SetTestMailingInfo(OneCustomer& c, int id) {
    int const row = RowOf(id);
    bool const is_new = row == no_row;
    CString const now = customers::PresentTime();
    customers::FillRow(work_row_, c);
    work_row_[customers::element_id].Format("%d", id);
    work_row_[customers::element_zip_code_1] = customers::WithoutHyphens(c.ZipCode1);
    work_row_[customers::element_delete_flag].Empty();
    if (is_new) work_row_[customers::element_entry_date] = now;
    work_row_[customers::element_renewal_date] = now;
    int const stored = is_new ? AddLine(work_row_) : SetAtLine(row, work_row_);
    return stored == db_success ? ok : Fail(customer_update_in_memory_failed, row_refused);
}

void CTestMailingInfo::InitOneCustomer(OneCustomer& c, int id) {
    customers::SetDefaults(c);
    c.CustomerID = id;
}

void CTestMailingInfo::InitOneCustomerTemp() {
    work_row_.RemoveAll();
    work_row_.SetSize(element_count);
}

int CTestMailingInfo::SetElementTestMailingInfoTemp(char const* value, int element) {
    if (!customers::IsElement(element)) return Fail(customer_bad_element_number, bad_element);
    work_row_[element] = value;
    return ok;
}
