#include "tessaly/environment/system_option.h"

#include <cstdlib>

#include "environment/data_key.h"
#include "storage/construction_failure.h"
#include "tessaly/environment/env_manager.h"

using enum storage::ErrorCode;

namespace {

// The sizes of records in all versions.
bool IsRecordSize(int cells) {
    constexpr int oldest_size = 90;
    constexpr int older_size = 120;
    return cells == SystemOption::cell_count || cells == oldest_size || cells == older_size;
}

}  // namespace

SystemOption::SystemOption(EnvManager* env) {
    if (SetEnvManager(env)) return;
    storage::FailConstruction(error_, option_environment_set_failed);
}

int SystemOption::SetEnvManager(EnvManager* env) {
    if (!env || env_) return 0;
    env_ = env;
    return 1;
}

int SystemOption::Fail(int code, Result result) const {
    error_.SetErr(code);
    return result;
}

int SystemOption::CheckRecord() const {
    if (IsRecordSize(GetElementNumber()) && GetRecordNumber() == 1) return ok;
    return Fail(option_no_data_in_memory, no_valid_record);
}

CString SystemOption::FilePath() const { return env_->DataPath("systemoption.dat"); }

int SystemOption::GetSODataFromFileToMemory() {
    if (!env_) return Fail(option_environment_not_set, no_environment);
    DeleteAllString();
    changed_ = 0;
    environment::DataKey const key(*env_);
    if (!key.IsKnown()) return Fail(option_bad_installation, no_database_key);
    switch (LoadCSVFile(FilePath(), key.Get())) {
        case load_ok: return CheckRecord();
        case load_missing: return Fail(option_file_missing, file_missing);
        case load_empty: return Fail(option_file_empty, file_empty);
        case load_wrong_width: return Fail(option_file_format, file_format);
        default: return Fail(option_file_unexpected, file_unexpected);
    }
}

int SystemOption::Write() {
    if (int const result = CheckRecord(); result != ok) return result;
    environment::DataKey const key(*env_);
    if (!key.IsKnown()) return Fail(option_bad_installation, no_database_key);
    if (!SaveCSVFileCompel(FilePath(), key.Get())) return Fail(option_file_write_failed, file_not_written);
    changed_ = 0;
    return ok;
}

int SystemOption::WriteSODataFromMemoryToFile() {
    if (!env_) return Fail(option_environment_not_set, no_environment);
    return changed_ ? Write() : ok;
}

int SystemOption::WriteSODataFromMemoryToFileCompel() {
    if (!env_) return Fail(option_environment_not_set, no_environment);
    return Write();
}

int SystemOption::GetSODataFromMemoryToAllData(CArray<CString, CString>& data) const {
    if (int const result = CheckRecord(); result != ok) return result;
    data.SetSize(cell_count);
    for (int i = 0; i < cell_count; ++i) data[i] = GetStringElement(i, 0);
    return ok;
}

int SystemOption::SetSODataFromAllDataToMemory(CArray<CString, CString>& data) {
    if (!IsRecordSize(data.GetSize())) return Fail(option_bad_data, bad_data_length);
    XCStringArrayEx row(GetElementNumber());
    for (int i = 0; i < row.GetSize(); ++i) row[i] = data.GetAt(i);
    if (!(GetRecordNumber() > 0 ? CorrectString(0, row) : InsertString(row)))
        return Fail(option_unexpected, not_changed);
    changed_ = 1;
    return ok;
}

int SystemOption::GetSODataFromMemoryPinPoint(int index, CString& value) const {
    if (int const result = CheckRecord(); result != ok) return result;
    if (index < 0 || index >= cell_count) return Fail(option_bad_element_count, bad_index);
    value = GetStringElement(index, 0);
    return ok;
}

int SystemOption::SetSODataToMemoryPinPoint(int index, CString& value) {
    if (int const result = CheckRecord(); result != ok) return result;
    if (index < 0 || index >= cell_count) return Fail(option_bad_element_count, bad_index);
    XCStringArrayEx row;
    GetString(0, row);
    row.SetAt(index, value);  // cells behind the end of a shorter record are not kept
    if (!CorrectString(0, row)) return Fail(option_unexpected, not_changed);
    changed_ = 1;
    return ok;
}

int SystemOption::GetSOExtractDataFromMemory(CArray<CString, CString>& names) const {
    if (int const result = CheckRecord(); result != ok) return result;
    names.SetSize(extra_attribute_count);
    for (int i = 0; i < extra_attribute_count; ++i) names[i] = GetStringElement(cell_extra_names + i, 0);
    return ok;
}

int SystemOption::GetSOExtractTypeFromMemory(CArray<int, int>& types) const {
    if (int const result = CheckRecord(); result != ok) return result;
    types.SetSize(extra_attribute_count);
    for (int i = 0; i < extra_attribute_count; ++i)
        types[i] = std::atoi(GetStringElement(cell_extra_types + i, 0));
    return ok;
}
