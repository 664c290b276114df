#include "tessaly/mailstore/mail_list_viewer.h"

#include <cstdlib>

#include "environment/data_key.h"
#include "mailstore/mail_id.h"
#include "mailstore/mail_list_lock.h"
#include "storage/decimal.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/sequencer.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/text/date_data.h"
#include "tessaly/text/dates.h"

using enum environment::SeqIDType;

using mailstore::MailListLock;
using mailstore::ReadsAsID;

namespace mailstore {

CMutex& MailListMutex() {
    static CMutex mutex(false, "MAIL_LIST_VIEWER_MUTEX");
    return mutex;
}

}  // namespace mailstore

using storage::Decimal;

namespace {

constexpr int most_ids_tried = 200;
constexpr int date_characters = text::date_data_size - 1;
constexpr char const* yes = "Y";
constexpr char const* no = "N";

struct StatusBits {
    char letter;
    unsigned long status;
    unsigned long views;
};
constexpr StatusBits statuses[] = {
    {'D', CMailListViewer::status_d, 1 | 2 | 16}, {'W', CMailListViewer::status_w, 1 | 4 | 16},
    {'R', CMailListViewer::status_r, 1 | 4 | 16}, {'A', CMailListViewer::status_a, 1 | 4 | 16},
    {'I', CMailListViewer::status_i, 1 | 4 | 16}, {'C', CMailListViewer::status_c, 1 | 8 | 16},
    {'E', CMailListViewer::status_e, 1 | 8 | 16}, {'S', CMailListViewer::status_s, 32},
    {'B', CMailListViewer::status_b, 1 | 4 | 16},
};

// Null for a text that is none of the letters.
StatusBits const* BitsOf(CString const& status) {
    for (StatusBits const& bits : statuses)
        if (status.GetLength() == 1 && status[0] == bits.letter) return &bits;
    return nullptr;
}

CString DateText(COleDateTime const& date) {
    char text[text::date_data_size];
    Convert_COleDateTime2DateData(date, text);
    return CString(text);
}

XCStringArrayEx RowOf(COneMailData const& data) {
    XCStringArrayEx row(CMailListViewer::column_count);
    row[CMailListViewer::column_id] = Decimal(data.GetMailID());
    row[CMailListViewer::column_title] = data.GetMailTitle();
    row[CMailListViewer::column_address_name] = data.GetAddressName();
    row[CMailListViewer::column_status] = data.GetStatus();
    row[CMailListViewer::column_entry_date] = DateText(data.GetEntryDate());
    row[CMailListViewer::column_renewal_date] = DateText(data.GetRenewalDate());
    row[CMailListViewer::column_reserve_date] = DateText(data.GetReserveDate());
    row[CMailListViewer::column_sent] = Decimal(data.GetSentNumber());
    row[CMailListViewer::column_errors] = Decimal(data.GetErrorNumber());
    row[CMailListViewer::column_opened] = Decimal(data.GetOpenNumber());
    row[CMailListViewer::column_set_address_date] = DateText(data.GetSetAddressDate());
    row[CMailListViewer::column_special_flag] = data.GetSpecialFlag();
    row[CMailListViewer::column_honorific] = data.GetHonorific();
    return row;
}

}  // namespace

CMailListViewer::CMailListViewer(EnvManager* env) {
    Init();
    if (SetEnvManager(env)) return;
    AfxMessageBox("メール一覧情報へ環境を設定できませんでした");
    AfxThrowUserException();
}

int CMailListViewer::Init() {
    MailListLock const lock;
    CMyDB::Init();
    SetElementNumber(column_count);
    SetElementNumber_Y2(column_count_without_honorific);
    env_ = nullptr;
    return 1;
}

int CMailListViewer::SetEnvManager(EnvManager* env) {
    MailListLock const lock;
    if (!env || env_) return 0;
    env_ = env;
    return ReadMailList() >= 0 ? 1 : 0;
}

int CMailListViewer::ReadMailList() {
    MailListLock const lock;
    if (!env_) return read_no_environment;
    RemoveAll(0);
    SetDBFilePath(env_->DataPath("MAIL\\maillist.dat"));
    environment::DataKey const key(*env_);
    int const result = key.IsKnown() ? ReadDBFile(key.Get()) : db_bad_format;
    if (result < 0 && result != db_file_empty) return result;
    if (result != db_file_empty && GetElementNumber() != column_count) return read_wrong_width;
    RepairMailList();
    return GetLineNumber();
}

int CMailListViewer::WriteMailList(int compel) {
    MailListLock const lock;
    if (!env_) return write_failed;
    environment::DataKey const key(*env_);
    if (!key.IsKnown()) return write_failed;
    return WriteDBFile(key.Get() ? compel : 0, key.Get()) == db_success ? ok : write_failed;
}

int CMailListViewer::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    MailListLock const lock;
    return WriteTo(path, key) == db_success ? ok : write_failed;
}

int CMailListViewer::GetNewMailID() {
    MailListLock const lock;
    Sequencer sequence;
    if (!sequence.SetEnvManager(env_) || !sequence.SetSeqType(seq_mail)) return no_new_id;
    for (int tried = 0; tried < most_ids_tried; ++tried) {
        int id = 0;
        if (!sequence.NextValue(&id)) return no_new_id;
        if (MailID2RowNumber(id) == no_row) return id;
    }
    return no_new_id;
}

// The first row of an ID counts, as in a search from the top.
void CMailListViewer::UseIndex() {
    if (index_revision_ == Revision()) return;
    rows_by_id_.clear();
    int id = 0;
    for (int row = 0; row < GetLineNumber(); ++row)
        if (ReadsAsID(Row(row)[column_id].View(), id)) rows_by_id_.try_emplace(id, row);
    KeepIndex();
}

int CMailListViewer::MailID2RowNumber(int id) {
    UseIndex();
    auto const found = rows_by_id_.find(id);
    return found == rows_by_id_.end() ? no_row : found->second;
}

unsigned long CMailListViewer::ConvertStatusStrToDword(CString const& status) {
    StatusBits const* bits = BitsOf(status);
    return bits ? bits->status : 0;
}

int CMailListViewer::CountMail() {
    MailListLock const lock;
    return env_ ? GetLineNumber() : no_environment;
}

template <class Wanted>
int CMailListViewer::CountRows(CArray<int, int>* ids, Wanted const& wanted) {
    if (ids) ids->RemoveAll();
    int count = 0;
    for (int row = 0; row < GetLineNumber(); ++row) {
        if (!wanted(GetAtElement(row, column_status))) continue;
        ++count;
        if (ids) ids->Add(std::atoi(Row(row)[column_id]));
    }
    return count;
}

int CMailListViewer::CountMailByViewType(unsigned long viewMask, CArray<int, int>* ids) {
    MailListLock const lock;
    return CountRows(ids, [&](CString const& status) {
        StatusBits const* bits = BitsOf(status);
        return bits && (bits->views & viewMask) != 0;
    });
}

int CMailListViewer::CountMailByMailStatus(unsigned long statusMask, CArray<int, int>* ids, int invert) {
    MailListLock const lock;
    unsigned long const wanted = invert ? ~statusMask : statusMask;
    return CountRows(ids,
                     [&](CString const& status) { return (ConvertStatusStrToDword(status) & wanted) != 0; });
}

int CMailListViewer::GetMailData(int id, COneMailData& out) {
    MailListLock const lock;
    int const row = MailID2RowNumber(id);
    if (row == no_row) return no_such_mail;
    COleDateTime now = COleDateTime::GetCurrentTime();
    auto const set_date = [&](COneMailData::DateField field, Column column, int check) {
        out.SetDate(field, GetAtElement(row, column).Left(date_characters), check, check ? &now : nullptr,
                    nullptr, check ? &now : nullptr);
    };
    out.SetCheckCharacterCodeFlag(1);
    out.SetMailID(id);
    out.SetMailTitle(GetAtElement(row, column_title));
    out.SetAddressName(GetAtElement(row, column_address_name));
    out.SetHonorific(GetAtElement(row, column_honorific));
    out.SetStatus(GetAtElement(row, column_status), 0);
    out.SetSentNumber(GetAtElement(row, column_sent));
    out.SetErrorNumber(GetAtElement(row, column_errors));
    out.SetOpenNumber(GetAtElement(row, column_opened));
    out.SetSpecialFlag(GetAtElement(row, column_special_flag));
    set_date(COneMailData::date_entry, column_entry_date, 1);
    set_date(COneMailData::date_renewal, column_renewal_date, 1);
    set_date(COneMailData::date_set_address, column_set_address_date, 1);
    set_date(COneMailData::date_reserve, column_reserve_date, 0);
    return ok;
}

int CMailListViewer::GetMailDataPinPoint(int id, int column, CString& out) {
    MailListLock const lock;
    out.Empty();
    int const row = MailID2RowNumber(id);
    if (row == no_row) return no_such_mail;
    if (column < 0 || column >= GetElementNumber()) return bad_column;
    out = Row(row)[column];
    return ok;
}

int CMailListViewer::GetMailDataForReprint(int id, COneMailData& out) {
    MailListLock const lock;
    COneMailData old;
    if (GetMailData(id, old) != ok) return no_such_mail;
    out.Init();
    out.SetCheckCharacterCodeFlag(1);
    COneMailData::Copy(out, old);
    int const new_id = GetNewMailID();
    if (new_id < 0) return no_id_for_copy;
    COleDateTime const now = COleDateTime::GetCurrentTime();
    out.SetMailID(new_id);
    out.SetStatus(letter_draft, 0);
    out.SetDate(COneMailData::date_entry, now, 0, nullptr, nullptr, nullptr);
    out.SetDate(COneMailData::date_renewal, now, 0, nullptr, nullptr, nullptr);
    out.SetSentNumber(0);
    out.SetErrorNumber(0);
    out.SetOpenNumber(0);
    out.SetSpecialFlag(0, yes);
    return SetMailData(out) == ok ? ok : copy_not_stored;
}

int CMailListViewer::SetMailData(COneMailData& data) {
    MailListLock const lock;
    int const row = MailID2RowNumber(data.GetMailID());
    if (row != no_row) {
        if (SetAtLine(row, RowOf(data)) != db_success) return replace_failed;
    } else {
        if (AddLine(RowOf(data)) != db_success) return add_failed;
        rows_by_id_[data.GetMailID()] = GetLineNumber() - 1;
    }
    KeepIndex();
    return ok;
}

int CMailListViewer::SetMailDataPinPoint(int id, int column, CString value) {
    MailListLock const lock;
    if (column < 0 || column >= GetElementNumber()) return bad_column;
    int const row = MailID2RowNumber(id);
    if (row == no_row) return no_such_mail;
    if (SetAtElement(row, column, value) != db_success) return cell_not_stored;
    if (column != column_id) KeepIndex();
    return ok;
}

int CMailListViewer::SetStatusOf(int id, char const* status) {
    int const result = SetMailDataPinPoint(id, column_status, status);
    return result == cell_not_stored ? store_failed : result;
}

int CMailListViewer::DeleteMailData(int id) {
    MailListLock const lock;
    return SetStatusOf(id, letter_deleted);
}

int CMailListViewer::UnDeleteMailData(int id) {
    MailListLock const lock;
    return SetStatusOf(id, letter_draft);
}

int CMailListViewer::FindMailData(int id) {
    MailListLock const lock;
    return MailID2RowNumber(id) == no_row ? mail_not_found : mail_found;
}

int CMailListViewer::RemoveMailData(int id) {
    MailListLock const lock;
    int const row = MailID2RowNumber(id);
    if (row == no_row) return no_such_mail;
    return RemoveLine(row) == db_success ? ok : store_failed;
}

int CMailListViewer::Update4AddHtmlMailAbility() {
    MailListLock const lock;
    for (int row = 0; row < GetLineNumber(); ++row) {
        CString flag = GetAtElement(row, column_special_flag);
        int const id = std::atoi(Row(row)[column_id]);
        bool const shadowed = MailID2RowNumber(id) != row;  // an earlier row has its ID
        if (shadowed || flag.GetLength() >= COneMailData::special_flag_size) continue;
        flag = flag.IsEmpty() ? CString(no) + no : flag + no;
        int const result = SetMailDataPinPoint(id, column_special_flag, flag);
        if (result != ok) return result;
    }
    return WriteMailList(0) == ok ? ok : update_not_written;
}
