#include "tessaly/extract/extract_list_viewer.h"

#include <cstdlib>

#include "environment/data_key.h"
#include "storage/construction_failure.h"
#include "storage/decimal.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/environment/sequencer.h"
#include "tessaly/text/date_data.h"
#include "tessaly/text/dates.h"

using enum environment::SeqIDType;
using enum storage::ErrorCode;

namespace {

constexpr int most_ids_tried = 200;
constexpr char const* deleted = "Y";
constexpr char const* not_deleted = "";

CString Now() {
    char now[text::date_data_size];
    GetNowDateTime(now);
    return CString(now);
}

}  // namespace

ExtractListViewer::ExtractListViewer(EnvManager* env) {
    constexpr int and_read = 1;
    if (!SetEnvManager(env, and_read)) storage::FailConstruction(error_, extract_list_environment_set_failed);
}

int ExtractListViewer::Fail(int code, int result) {
    error_.SetErr(code);
    return result;
}

int ExtractListViewer::SetEnvManager(EnvManager* env, int read) {
    if (!env || env_) return failed;
    env_ = env;
    if (read) SetExtractListFromFile(0, nullptr);
    return done;
}

CString ExtractListViewer::FilePath() const { return env_->DataPath("EXTRACT\\extrlist.dat"); }

int ExtractListViewer::SetExtractListFromFile(int useKey, char const* key) {
    if (!env_) return Fail(extract_list_environment_not_set, no_environment);
    DeleteAllString();
    row_count_ = 0;
    changed_ = 0;
    view_.clear();
    environment::DataKey const used(*env_, useKey, key);
    int const result = used.IsKnown() ? LoadCSVFile(FilePath(), used.Get()) : load_wrong_width;
    if (result == load_missing || result == load_empty) SetElementNumber(column_count);
    if (result == load_wrong_width) return Fail(extract_list_file_format, wrong_format);
    row_count_ = GetRecordNumber();
    return GetElementNumber() == column_count ? row_count_ : Fail(extract_list_file_format, wrong_width);
}

int ExtractListViewer::ExtractID2RowNumber(int id) {
    if (row_count_ == 0) return no_rows;
    return TotalAgreementReference(storage::Decimal(id), column_id, 0, 1);
}

int ExtractListViewer::GetNewExtractID() {
    Sequencer sequence;
    bool bound = sequence.SetEnvManager(env_) && sequence.SetSeqType(seq_extract);
    for (int tried = 0; bound && tried < most_ids_tried; ++tried) {
        int id = 0;
        bound = sequence.NextValue(&id) == 1;
        if (bound && ExtractID2RowNumber(id) < 0) return id;
    }
    return Fail(extract_list_new_id_failed, no_new_id);
}

bool ExtractListViewer::IsDeleted(int row) const {
    return GetStringElement(column_delete_flag, row) == deleted;
}

int ExtractListViewer::CountExtractList() {
    int count = 0;
    for (int row = 0; row < GetRecordNumber(); ++row)
        if (!IsDeleted(row)) ++count;
    return count;
}

int ExtractListViewer::GetExtractList(CArray<ExtractViewData*, ExtractViewData*>& out) {
    view_.clear();
    view_.reserve(static_cast<std::size_t>(CountExtractList()));
    out.RemoveAll();
    for (int row = 0; row < GetRecordNumber(); ++row) {
        if (IsDeleted(row)) continue;
        SetExtractViewData(view_.emplace_back(), row);
        out.Add(&view_.back());
    }
    return out.GetSize();
}

void ExtractListViewer::SetExtractViewData(ExtractViewData& d, int row) {
    d.ExtractID = std::atoi(GetStringElement(column_id, row));
    d.Name = GetStringElement(column_name, row);
    d.LastUpdate = Convert_DateData2COleDateTime(
        GetStringElement(column_registered, row).Left(text::date_data_size - 1));
    d.DeleteFlag = GetStringElement(column_delete_flag, row);
    d.Honorific = GetStringElement(column_honorific, row);
}

int ExtractListViewer::InsertExtractList(ExtractViewData& d) {
    if (d.ExtractID < 0 || d.Name.IsEmpty() || ExtractID2RowNumber(d.ExtractID) >= 0)
        return Fail(extract_list_bad_data, failed);
    if (GetRecordNumber() == 0) SetElementNumber(column_count);
    XCStringArrayEx row(column_count);
    row[column_id] = storage::Decimal(d.ExtractID);
    row[column_name] = d.Name;
    row[column_registered] = Now();
    if (!InsertString(row)) return Fail(extract_list_other, failed);
    row_count_ = GetRecordNumber();
    changed_ = 1;
    return done;
}

int ExtractListViewer::CorrectExtractListPinPoint(char const* text, int id, int column) {
    if (column < 0 || column >= column_count) return Fail(extract_list_bad_element_number, failed);
    int const row = ExtractID2RowNumber(id);
    if (row < 0) return Fail(extract_list_no_such_id, failed);
    XCStringArrayEx cells;
    GetString(row, cells);
    cells.SetAt(column, text);
    if (!CorrectString(row, cells)) return Fail(extract_list_other, failed);
    changed_ = 1;
    return done;
}

int ExtractListViewer::DeleteExtractList(int id) {
    return CorrectExtractListPinPoint(deleted, id, column_delete_flag);
}

int ExtractListViewer::UnDeleteExtractList(int id) {
    return CorrectExtractListPinPoint(not_deleted, id, column_delete_flag);
}

int ExtractListViewer::GetCell(int id, int column, CString& out) {
    out.Empty();
    int const row = ExtractID2RowNumber(id);
    if (row < 0) return Fail(extract_list_no_such_id, no_such_list);
    out = GetStringElement(column, row);
    return ok;
}

int ExtractListViewer::GetDeleteExtractIDList(CArray<int, int>& out) {
    out.RemoveAll();
    for (int row = 0; row < GetRecordNumber(); ++row)
        if (IsDeleted(row)) out.Add(std::atoi(GetStringElement(column_id, row)));
    return ok;
}

void ExtractListViewer::GetAllExtractID(CArray<int, int>& out) {
    out.RemoveAll();
    for (int row = 0; row < GetRecordNumber(); ++row) out.Add(std::atoi(GetStringElement(column_id, row)));
}

int ExtractListViewer::Write(int compel) {
    environment::DataKey const key(*env_);
    if (!key.IsKnown() || !SaveCSVFile(FilePath(), compel, key.Get()))
        return Fail(extract_list_file_write_failed, failed);
    changed_ = 0;
    return done;
}

int ExtractListViewer::WriteAllExtractListToFile() {
    constexpr int if_changed = 0;
    if (!env_) return Fail(extract_list_environment_not_set, failed);
    return changed_ ? Write(if_changed) : done;
}

int ExtractListViewer::WriteAllExtractListToFileCompel() {
    constexpr int in_any_case = 1;
    if (!env_) return Fail(extract_list_environment_not_set, failed);
    return Write(in_any_case);
}

int ExtractListViewer::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    return SaveCSVFileCopy(path, key) ? done : Fail(extract_list_file_write_failed, failed);
}
