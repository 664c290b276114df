#include "tessaly/delivery/history_list_viewer.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "environment/data_key.h"
#include "platform/mutex.h"
#include "storage/construction_failure.h"
#include "storage/decimal.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/system_option.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/text/dates.h"

using enum storage::ErrorCode;

using storage::Decimal;

namespace {

CMutex& HistoryMutex() {
    static CMutex mutex(false, "HISTORY_LIST_VIEWER_MUTEX");
    return mutex;
}

CString DateText(COleDateTime const& date) {
    char text[text::date_data_size];
    Convert_COleDateTime2DateData(date, text);
    return CString(text);
}

}  // namespace

HistoryListViewer::HistoryListViewer(EnvManager* env) {
    if (!SetEnvManager(env)) storage::FailConstruction(error_, history_environment_set_failed);
}

HistoryListViewer::HistoryListViewer(EnvManager* env, SystemOption* option, CDatabaseEdit* database,
                                     CMailListViewer* mails)
    : HistoryListViewer(env) {
    if (!SetSystemOption(option)) storage::FailConstruction(error_, history_system_option_set_failed);
    if (!SetDatabaseEdit(database)) storage::FailConstruction(error_, history_database_set_failed);
    if (!SetMailListViewer(mails)) storage::FailConstruction(error_, history_mail_list_set_failed);
}

HistoryListViewer::HistoryListViewer(EnvManager* env, SystemOption* option, CDatabaseEdit* database,
                                     CMailListViewer* mails, int mailID)
    : HistoryListViewer(env, option, database, mails) {
    if (SetMailID(mailID, 0) < 0) storage::FailConstruction(error_);
}

int HistoryListViewer::SetEnvManager(EnvManager* env) {
    if (!env || env_) return 0;
    env_ = env;
    if (option_) option_->SetEnvManager(env);
    if (database_) database_->SetEnvManager(env);
    if (mails_) mails_->SetEnvManager(env);
    return 1;
}

int HistoryListViewer::SetSystemOption(SystemOption* option) {
    if (!option || option_) return 0;
    option_ = option;
    if (env_) option_->SetEnvManager(env_);
    return 1;
}

int HistoryListViewer::SetDatabaseEdit(CDatabaseEdit* database) {
    if (!database || database_) return 0;
    database_ = database;
    if (env_) database_->SetEnvManager(env_);
    return 1;
}

int HistoryListViewer::SetMailListViewer(CMailListViewer* mails) {
    if (!mails || mails_) return 0;
    mails_ = mails;
    if (env_) mails_->SetEnvManager(env_);
    return 1;
}

int HistoryListViewer::SetMailID(int mailID, int unchecked) {
    if (!env_) return Fail(history_environment_not_set, no_environment);
    if (!mails_) return Fail(history_mail_list_not_set, no_mail_list);
    if (!unchecked && mails_->FindMailData(mailID) != CMailListViewer::mail_found)
        return Fail(history_bad_mail_id, bad_mail_id);
    DeleteAllString();
    MakeIndex();
    modified_ = 0;
    mail_id_ = mailID;
    return ok;
}

int HistoryListViewer::Fail(int code, Result result) {
    error_.SetErr(code);
    return result;
}

int HistoryListViewer::CheckFile() {
    if (!env_) return Fail(history_environment_not_set, no_environment);
    if (mail_id_ < 0) return Fail(history_mail_id_not_set, no_mail_id);
    return ok;
}

CString HistoryListViewer::FilePath() const {
    CString const id = Decimal(mail_id_);
    return env_->DataPath("MAIL\\" + id + "\\hist" + id + ".dat");
}

int HistoryListViewer::GetHDataFromFileToMemory(int useKey, char const* key) {
    CSingleLock const lock(&HistoryMutex());
    if (int const result = CheckFile(); result != ok) return result;
    DeleteAllString();
    modified_ = 0;
    MakeIndex();
    environment::DataKey const used(*env_, useKey, key);
    if (!used.IsKnown()) return Fail(history_file_format, file_format);
    switch (LoadCSVFile(FilePath(), used.Get())) {
        case load_ok: break;
        case load_missing:
            BaseRecordStructer::SetElementNumber(element_count);
            return Fail(history_file_missing, file_missing);
        case load_empty:
            BaseRecordStructer::SetElementNumber(element_count);
            return Fail(history_file_empty, file_empty);
        case load_wrong_width: return Fail(history_file_format, file_format);
        default: return Fail(history_unexpected, unexpected);
    }
    if (GetElementNumber() != element_count) return Fail(history_file_format, file_format);
    MakeIndex();
    return ok;
}

int HistoryListViewer::Save() {
    environment::DataKey const key(*env_);
    if (!key.IsKnown() || !SaveCSVFileCompel(FilePath(), key.Get()))
        return Fail(history_file_write_failed, not_written);
    modified_ = 0;
    return ok;
}

int HistoryListViewer::WriteHDataFromMemoryToFile() {
    CSingleLock const lock(&HistoryMutex());
    if (int const result = CheckFile(); result != ok) return result;
    return modified_ ? Save() : ok;
}

int HistoryListViewer::WriteHDataFromMemoryToFileCompel() {
    CSingleLock const lock(&HistoryMutex());
    if (int const result = CheckFile(); result != ok) return result;
    return Save();
}

int HistoryListViewer::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    return SaveCSVFileCopy(path, key) ? ok : Fail(history_file_write_failed, not_written);
}

void HistoryListViewer::MakeIndex() {
    rows_by_customer_.clear();
    rows_by_message_id_.clear();
    message_index_made_ = false;
    if (GetElementNumber() != element_count) return;
    rows_by_customer_.reserve(static_cast<std::size_t>(GetRecordNumber()));
    for (int row = 0; row < GetRecordNumber(); ++row)
        rows_by_customer_[NumberAt(row, element_customer_id)] = row;
}

int HistoryListViewer::DBID2RowNumber(int customerID) const {
    auto const found = rows_by_customer_.find(customerID);
    return found == rows_by_customer_.end() ? no_row : found->second;
}

int HistoryListViewer::KnownRow(int customerID) {
    int const row = DBID2RowNumber(customerID);
    if (row == no_row) error_.SetErr(history_no_such_customer_in_history);
    return row;
}

// Empty for a cell that a row of another width lacks.
CString const& HistoryListViewer::Cell(int row, int element) const {
    static CString const none;
    XCStringArrayEx const& cells = (*this)[row];
    return element < cells.GetSize() ? cells[element] : none;
}

int HistoryListViewer::NumberAt(int row, int element) const { return std::atoi(Cell(row, element)); }

void HistoryListViewer::InitHLVTmp() {
    work_row_.RemoveAll();
    work_row_.SetSize(element_count);
}

void HistoryListViewer::SetHLVTmp(int row) {
    GetString(row, work_row_);
    work_row_.SetSize(element_count);
}

int HistoryListViewer::GetHDataFromMemoryToStruct(CArray<HistorySet, HistorySet>& rows, int first, int last) {
    rows.RemoveAll();
    bool const all = first < 0 || last < 0;
    int const end = all ? GetRecordNumber() : std::min(last, GetRecordNumber() - 1) + 1;
    for (int row = all ? 0 : first; row < end; ++row)
        rows.Add({NumberAt(row, element_customer_id), Cell(row, element_state),
                  NumberAt(row, element_retry_number), Cell(row, element_open_flag),
                  Cell(row, element_message_id),
                  Convert_DateData2COleDateTime(Cell(row, element_last_send_date))});
    return rows.GetSize();
}

int HistoryListViewer::SetHDataFromStructToMemory(HistorySet& row) {
    if (DBID2RowNumber(row.CustomerID) != no_row)
        return Fail(history_customer_already_in_history, customer_known);
    InitHLVTmp();
    work_row_[element_customer_id] = Decimal(row.CustomerID);
    work_row_[element_state] = row.State;
    work_row_[element_retry_number] = Decimal(row.RetryNumber);
    work_row_[element_open_flag] = row.OpenFlag;
    work_row_[element_message_id] = row.MessageID;
    work_row_[element_last_send_date] = DateText(row.LastSendDate);
    if (GetRecordNumber() == 0) BaseRecordStructer::SetElementNumber(element_count);
    if (!InsertString(work_row_)) return Fail(history_unexpected, unexpected);
    modified_ = 1;
    int const added = GetRecordNumber() - 1;
    rows_by_customer_[row.CustomerID] = added;
    if (message_index_made_) AddToMessageIndex(added, row.MessageID);
    return ok;
}

CString HistoryListViewer::GetElementFromMemoryPinPoint(int customerID, int element) {
    int const row = KnownRow(customerID);
    if (row == no_row) return {};
    if (element >= 0 && element < element_count) return Cell(row, element);
    error_.SetErr(history_bad_element_number);
    return {};
}

int HistoryListViewer::StoreCell(int row, int element, CString const& value) {
    SetHLVTmp(row);
    CString const old = work_row_[element];
    work_row_[element] = value;
    if (!CorrectString(row, work_row_)) return Fail(history_unexpected, unexpected);
    modified_ = 1;
    if (element == element_message_id) MoveInMessageIndex(row, old, value);
    return ok;
}

int HistoryListViewer::SetElementToMemoryPinPoint(int customerID, int element, CString value) {
    int const row = KnownRow(customerID);
    if (row == no_row) return no_such_customer;
    if (element < 0 || element >= element_count) return Fail(history_bad_element_number, bad_element);
    return StoreCell(row, element, value);
}

int HistoryListViewer::Transfer(int customerID, int element, CString& value, int set) {
    int const row = KnownRow(customerID);
    if (row == no_row) return no_such_customer;
    if (set) return StoreCell(row, element, value);
    value = Cell(row, element);
    return ok;
}

int HistoryListViewer::TransferState(int customerID, CString& state, int set) {
    return Transfer(customerID, element_state, state, set);
}

int HistoryListViewer::TransferOpenFlag(int customerID, CString& flag, int set) {
    return Transfer(customerID, element_open_flag, flag, set);
}

int HistoryListViewer::TransferMessageID(int customerID, CString& id, int set) {
    return Transfer(customerID, element_message_id, id, set);
}

int HistoryListViewer::TransferRetryNum(int customerID, int& number, int set) {
    CString text = set ? Decimal(number) : CString();
    int const result = Transfer(customerID, element_retry_number, text, set);
    if (result == ok && !set) number = std::atoi(text);
    return result;
}

int HistoryListViewer::TransferLastSendDate(int customerID, COleDateTime& date, int set) {
    CString text = set ? DateText(date) : CString();
    int const result = Transfer(customerID, element_last_send_date, text, set);
    if (result == ok && !set) date = Convert_DateData2COleDateTime(text);
    return result;
}

int HistoryListViewer::RetryNumInc(int customerID) {
    int const row = KnownRow(customerID);
    if (row == no_row) return no_such_customer;
    int const number = NumberAt(row, element_retry_number);
    return StoreCell(row, element_retry_number,
                     Decimal(number < std::numeric_limits<int>::max() ? number + 1 : number));
}
