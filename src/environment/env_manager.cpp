#include "tessaly/environment/env_manager.h"

#include "platform/file.h"
#include "tessaly/environment/compound_key_manager.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/md5.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/substitution.h"
#include "tessaly/storage/xcsv_write.h"
#include "tessaly/text/check_directory.h"
#include "tessaly/text/date_data.h"

using enum storage::ErrorCode;
using enum text::CheckDirectoryResult;

namespace {

constexpr char date_format[] = "%Y/%m/%d %H:%M:%S";
constexpr int latest_defaults = 1;  // how ReFormat_DateData fills what a date lacks

// Results of the common part of the three setters; they turn them into their own.
enum SetKeyResult : int {
    set_key_bad_data = -1,            // not one row in memory, or an unknown flag
    set_key_flag_not_read = -2,       // the present flag cannot be read
    set_key_bad_password = -3,        // the password has no MD5
    set_key_md5_not_read = -4,        // the present MD5 cannot be read
    set_key_database_key = -5,        // the present compound key has no database key
    set_key_cell = -6,                // the cell cannot be set
    set_key_not_written = -7,         // the file cannot be written
    set_key_no_application_key = -8,  // the application key is empty
};

bool IsPasswordFlag(CString const& flag) { return flag.IsEmpty() || flag == "Y" || flag == "N"; }

bool IsFullDate(CString const& text) {
    char complete[text::date_data_size];
    return ReFormat_DateData(text, complete, latest_defaults) == text::date_data_parts;
}

// The MD5 digits of a text, empty on failure.
CString DigitsOf(CString const& text) {
    char digits[md5_hex_digits + 1] = {};
    return XCMD5Encoder(text, digits) ? CString(digits) : CString();
}

bool IsReadableFile(CString const& path) {
    return platform::Stream(platform::OpenStream(path, "rb")) != nullptr;
}

}  // namespace

struct EnvManager::DateCell {
    Column column;
    int bad_date_code;
    ReadResult compound_no_cell;
    ReadResult compound_bad_date;
};
constexpr EnvManager::DateCell EnvManager::entry_date = {column_entry_date, env_got_bad_entry_date,
                                                         compound_no_entry_date, compound_bad_entry_date};
constexpr EnvManager::DateCell EnvManager::renewal_date = {
    column_renewal_date, env_got_bad_renewal_date, compound_no_renewal_date, compound_bad_renewal_date};

EnvManager::EnvManager() : CMyDB(column_count) { SetElementNumber_Y2(column_count); }

int EnvManager::Fail(int code, int result) {
    error_.SetErr(code);
    return result;
}

int EnvManager::MakeDefaultEnvFile(CString path, char const* key) {
    unsigned char database_key[storage::random_string_length + 1] = {};
    MakeRandomString(database_key);
    CCompoundKeyManager keys;
    keys.SetKeyForSelectTable(key);
    CString const compound = keys.MakeCompoundKey("", "", database_key);
    CString const now = COleDateTime::GetCurrentTime().Format(date_format);

    XCsvWrite writer;
    if (key) writer.SetUseKey(key);
    if (writer.OpenFile(path) != 1) return make_cannot_open;
    for (char const* cell :
         {static_cast<char const*>(compound), static_cast<char const*>(now), static_cast<char const*>(now)})
        writer.SetData(cell);
    bool const written = writer.WriteLine() > 0;
    return writer.CloseChecked() && written ? ok : make_cannot_write;
}

int EnvManager::InitEnvFileInfo(CString path, char const* key, int new_env) {
    CString drive;
    CString directory;
    platform::splitpath(path, &drive, &directory, &name_, nullptr);
    path_ = path;
    root_ = drive + directory;
    if (CheckDirectory(root_) != directory_exists) return Fail(env_directory_missing, init_no_root);

    if (!new_env && !IsReadableFile(path)) return Fail(env_data_directory_missing, init_no_file);
    bool const keyed = key && (new_env || platform::FileSize(path) > 0);
    type_ = keyed ? type_keyed : type_plain;
    if (keyed) {
        key_ = key;
        SetDBFilePath(path);
    }
    if (new_env) return ok;
    if (keyed) {
        int const result = ReadDBFile(key);
        if (result != db_success) return init_read_base + result;
    }
    if (CheckDirectory(root_ + name_) != directory_exists)
        return Fail(env_data_directory_missing, init_no_data_directory);
    return ok;
}

CString EnvManager::DataPath(char const* below) const {
    CString path = root_ + name_ + "\\" + below;
    path.Replace("\\\\", "\\");
    return path;
}

int EnvManager::ReadRow() {
    if (!IsInitEnvFileInfo()) return Fail(env_not_initialised, read_not_initialised);
    if (type_ != type_keyed) return Fail(env_version_mismatch, read_wrong_type);
    switch (ReadDBFile(key_)) {
        case db_success: break;
        case db_no_path:
        case db_file_not_found:
        case db_open_failed:
        case db_file_empty:
        case db_no_directory: return Fail(env_file_read_failed, read_no_file);
        case db_no_element_number:
        case db_bad_cell_count: return Fail(env_file_bad_data, read_bad_data);
        default: return Fail(env_file_read_failed, read_failed);
    }
    return GetLineNumber() == 1 ? ok : Fail(env_no_data_in_memory, read_row_count);
}

int EnvManager::TakeDate(DateCell const& date, int no_cell, int bad_date, CString& out) {
    if (GetAtElement(0, date.column, out) != db_success) return Fail(env_no_data_in_memory, no_cell);
    return IsFullDate(out) ? ok : Fail(date.bad_date_code, bad_date);
}

int EnvManager::ReadDate(DateCell const& date, CString& out) {
    CString cell;
    int result = ReadRow();
    if (result == ok) result = TakeDate(date, read_no_cell, read_bad_date, cell);
    if (result == ok) out = cell;
    return result;
}

int EnvManager::GetCompoundKey(CString& out) {
    if (int const result = ReadRow(); result != ok) return result;
    CString compound;
    if (GetAtElement(0, column_compound_key, compound) != db_success)
        return Fail(env_no_data_in_memory, read_no_cell);
    for (DateCell const* date : {&entry_date, &renewal_date}) {
        CString cell;
        int const result = TakeDate(*date, date->compound_no_cell, date->compound_bad_date, cell);
        if (result != ok) return result;
    }
    out = compound;
    return ok;
}

int EnvManager::GetEntryDate(CString& out) { return ReadDate(entry_date, out); }

int EnvManager::GetRenewalDate(CString& out) { return ReadDate(renewal_date, out); }

int EnvManager::SetCell(Column column, CString const& value, int code) {
    if (GetLineNumber() == 0) AddLine(XCStringArrayEx(column_count));
    return SetAtElement(0, column, value) == db_success ? ok : Fail(code, set_cell_failed);
}

int EnvManager::SetCompoundKey(CString value) {
    return SetCell(column_compound_key, value, env_set_bad_compound_key);
}

int EnvManager::SetEntryDate(CString value) {
    return SetCell(column_entry_date, value, env_set_bad_entry_date);
}

int EnvManager::SetRenewalDate(CString value) {
    return SetCell(column_renewal_date, value, env_set_bad_renewal_date);
}

int EnvManager::WriteFromMemoryToFile() {
    return WriteDBFile(1, key_) == db_success ? ok : Fail(env_file_write_failed, write_failed);
}

int EnvManager::OpenCompoundKey(CCompoundKeyManager& keys) {
    if (key_.IsEmpty()) return key_no_application;
    CString compound;
    if (GetCompoundKey(compound) != ok) return key_not_read;
    keys.SetKeyForSelectTable(key_);
    keys.SetCompoundKey(compound);
    return ok;
}

int EnvManager::GetUseEnvPasswordFlag(CString& out) {
    CCompoundKeyManager keys;
    int const result = OpenCompoundKey(keys);
    if (result == ok) out = keys.GetUseEnvPasswordFlag();
    return result;
}

int EnvManager::GetEnvPasswordMD5(CString& out) {
    CCompoundKeyManager keys;
    int const result = OpenCompoundKey(keys);
    if (result == ok) out = keys.GetEnvPasswordMD5();
    return result;
}

int EnvManager::GetDBKey(CString& out) {
    CCompoundKeyManager keys;
    int const result = OpenCompoundKey(keys);
    if (result == ok) out = keys.GetDBKey();
    return result;
}

CString EnvManager::GetDBKey() {
    CString key;
    GetDBKey(key);
    return key;
}

int EnvManager::SetCompoundKey(int set_flag, CString flag, int set_password, CString password,
                               int password_is_md5) {
    if (key_.IsEmpty()) return Fail(env_bad_installation, set_key_no_application_key);
    if (GetLineNumber() != 1) return Fail(env_file_bad_data, set_key_bad_data);

    if (!set_flag) {
        if (GetUseEnvPasswordFlag(flag) != ok) return set_key_flag_not_read;
    } else if (!IsPasswordFlag(flag)) {
        return Fail(env_bad_password_flag, set_key_bad_data);
    }

    CString md5 = password;
    if (!set_password) {
        if (GetEnvPasswordMD5(md5) != ok) return set_key_md5_not_read;
    } else if (!password_is_md5) {
        md5 = DigitsOf(password);
        if (md5.IsEmpty()) return Fail(env_bad_password, set_key_bad_password);
    }

    // Without its database key the compound key is damaged, or made with another application key: a new one
    // in its place would make every data file unreadable for ever.
    CString database_key;
    if (GetDBKey(database_key) != ok || database_key.IsEmpty()) return set_key_database_key;

    CCompoundKeyManager keys;
    keys.SetKeyForSelectTable(key_);
    if (SetAtElement(0, column_compound_key, keys.MakeCompoundKey(flag, md5, database_key)) != db_success)
        return Fail(env_file_write_failed, set_key_cell);
    if (WriteDBFile(1, key_) != db_success) return Fail(env_file_write_failed, set_key_not_written);
    return ok;
}

int EnvManager::EndOfSetter(int worker_result, int failure) {
    if (worker_result == ok) return ok;
    return Fail(env_no_data_in_memory,
                worker_result == set_key_database_key ? set_compound_undecodable : failure);
}

int EnvManager::SetUseEnvPasswordFlag(CString flag) {
    return EndOfSetter(SetCompoundKey(1, flag, 0, "", 0), set_flag_failed);
}

int EnvManager::SetEnvPassword(CString password) {
    return EndOfSetter(SetCompoundKey(0, "", 1, password, 0), set_password_failed);
}

int EnvManager::SetEnvPasswordMD5(CString md5) {
    return EndOfSetter(SetCompoundKey(0, "", 1, md5, 1), set_password_failed);
}

int EnvManager::IsEnvPasswordOK(CString password) {
    CString const digits = DigitsOf(password);
    if (digits.IsEmpty()) return Fail(env_password_check_failed, password_no_md5);
    CString stored;
    if (GetEnvPasswordMD5(stored) != ok) return Fail(env_file_read_failed, password_not_read);
    return platform::mbscmp(digits, stored) == 0 ? password_right : password_wrong;
}
