#include "tessaly/extract/extract_action.h"

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "customers/database_lock.h"
#include "customers/table_cells.h"
#include "environment/data_key.h"
#include "extract/extract_tests.h"
#include "storage/construction_failure.h"
#include "storage/decimal.h"
#include "tessaly/customers/customer_elements.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/storage/split_string.h"

using enum extract::ECTYPE;
using enum storage::ErrorCode;
using enum storage::_MYDB_DATATYPE;

using customers::CellOf;
using storage::Decimal;

namespace {

constexpr int slot_count = extract::ec_tab_count * extract::ec_con_count;
constexpr int if_changed = 0;  // of a save
constexpr int in_any_case = 1;
constexpr char const* compare = "E";
constexpr char const* range = "R";

}  // namespace

// A slot prepared for testing many customers.
struct ExtractAction::Slot {
    int element = unused;
    _MYDB_DATATYPE type = mydb_string;
    bool any_case = false;  // the mail address; all texts here are lower-case then
    bool in_range = false;
    std::vector<CString> values;
    CString low, high, flag;
    std::string lowered;  // the value that is tested
};

ExtractAction::ExtractAction(EnvManager* env, CDatabaseEdit* database) {
    InitMember();
    if (!SetEnvManager(env)) storage::FailConstruction(error_, condition_environment_set_failed);
    if (!SetDatabaseEdit(database)) storage::FailConstruction(error_, condition_database_set_failed);
}

ExtractAction::ExtractAction(EnvManager* env, CDatabaseEdit* database, ECTYPE type, int id)
    : ExtractAction(env, database) {
    if (SetTypeAndID(type, id) != ok) storage::FailConstruction(error_);
}

void ExtractAction::InitMember() {
    type_ = ec_not_set;
    id_ = id_not_set;
    changed_ = 0;
    env_ = nullptr;
    database_ = nullptr;
    InitEATemp();
}

int ExtractAction::Fail(int code, Result result) {
    error_.SetErr(code);
    return result;
}

int ExtractAction::SetEnvManager(EnvManager* env) {
    if (!env || env_) return 0;
    env_ = env;
    if (database_) database_->SetEnvManager(env_);
    return 1;
}

int ExtractAction::SetDatabaseEdit(CDatabaseEdit* database) {
    if (!database || database_) return 0;
    database_ = database;
    if (env_) database_->SetEnvManager(env_);
    return 1;
}

int ExtractAction::SetTypeAndID(ECTYPE type, int id) {
    if (type == ec_mail && id == id_new_list) return Fail(condition_bad_target_and_id, bad_target);
    type_ = type;
    id_ = id;
    return ok;
}

// --- The work row: a slot as text ---

void ExtractAction::InitEATemp() { SetEATempFromOneExtractCondition({}); }

void ExtractAction::SetEATempFromMemory(int row) { GetString(row, work_row_); }

void ExtractAction::SetEATempFromOneExtractCondition(OneExtractCondition const& c) {
    CString values;
    for (int i = 0; i < c.Values.GetSize(); ++i) values += (i ? "," : "") + c.Values[i];
    work_row_.RemoveAll();
    work_row_.SetSize(column_count);
    work_row_[column_element] = Decimal(c.ElementNumber);
    work_row_[column_mode] = c.Mode;
    work_row_[column_values] = values;
    work_row_[column_equal_flag] = c.EqualFlag;
    work_row_[column_range_low] = c.RangeLow;
    work_row_[column_range_high] = c.RangeHigh;
    work_row_[column_range_flag] = c.RangeFlag;
}

void ExtractAction::SetOneExtractConditionFromEATemp(OneExtractCondition& c) {
    c.ElementNumber = std::atoi(work_row_[column_element]);
    c.Mode = work_row_[column_mode];
    DivideExtractCsv(work_row_[column_values], c.Values);
    c.EqualFlag = work_row_[column_equal_flag];
    c.RangeLow = work_row_[column_range_low];
    c.RangeHigh = work_row_[column_range_high];
    c.RangeFlag = work_row_[column_range_flag];
}

// Commas in quoted values are text. Bytes can be looked at one by one: neither a comma nor a quote is the
// second byte of a character.
void ExtractAction::DivideExtractCsv(CString text, CArray<CString, CString>& out) {
    out.RemoveAll();
    std::string_view const all = text.View();
    std::size_t begin = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < all.size(); ++at) {
        if (quoted && all[at] == '"') {
            if (at + 1 < all.size() && all[at + 1] == '"')
                ++at;
            else if (at + 1 == all.size() || all[at + 1] == ',')
                quoted = false;
        } else if (!quoted && all[at] == '"' && at == begin) {
            quoted = true;
        } else if (!quoted && all[at] == ',') {
            out.Add(CString(all.substr(begin, at - begin)));
            begin = at + 1;
        }
    }
    if (begin < all.size()) out.Add(CString(all.substr(begin)));
}

// --- Loading, slots ---

bool ExtractAction::IsWhole() const {
    return GetElementNumber() == column_count && GetRecordNumber() == slot_count;
}

int ExtractAction::GetExtractConditionFromFileToMemory(int useKey, char const* key) {
    if (!env_) return Fail(condition_environment_not_set, no_environment);
    if (type_ == ec_not_set) return Fail(condition_target_not_set, no_type);
    if (id_ == id_not_set) return Fail(condition_id_not_set, no_id);
    if (id_ == id_new_list && type_ != ec_list) return Fail(condition_bad_target_and_id, bad_target);
    DeleteAllString();
    changed_ = 0;
    if (id_ == id_new_list) {
        SetElementNumber(column_count);
        InitEATemp();
        for (int row = 0; row < slot_count; ++row) InsertString(work_row_);
        return ok;
    }
    environment::DataKey const used(*env_, useKey, key);
    if (!used.IsKnown()) return Fail(condition_file_format, file_format);
    switch (LoadCSVFile(FilePath(id_), used.Get())) {
        case load_ok: return IsWhole() ? ok : Fail(condition_bad_data_in_memory, bad_table);
        case load_missing: return Fail(condition_file_missing, file_missing);
        case load_empty: return Fail(condition_file_empty, file_empty);
        case load_wrong_width: return Fail(condition_file_format, file_format);
        default: return Fail(condition_unexpected, unexpected);
    }
}

int ExtractAction::CheckSlot(int tab, int con) {
    if (tab < 0 || tab >= extract::ec_tab_count) return Fail(condition_bad_tab_number, bad_tab);
    if (con < 0 || con >= extract::ec_con_count) return Fail(condition_bad_condition_number, bad_condition);
    return ok;
}

static int SlotRow(int tab, int con) { return con + tab * extract::ec_con_count; }

int ExtractAction::GetExtractConditionFromMemoryToStruct(OneExtractCondition& c, EC_TAB_NUM tab,
                                                         EC_CON_NUM con) {
    if (!IsWhole()) return bad_table;
    if (int const result = CheckSlot(tab, con); result != ok) return result;
    SetEATempFromMemory(SlotRow(tab, con));
    SetOneExtractConditionFromEATemp(c);
    return ok;
}

int ExtractAction::SetExtractConditionFromStructToMemory(OneExtractCondition& c, EC_TAB_NUM tab,
                                                         EC_CON_NUM con) {
    if (!IsWhole()) return Fail(condition_bad_data_in_memory, bad_table);
    if (int const result = CheckSlot(tab, con); result != ok) return result;
    if (c.ElementNumber != unused && !customers::IsElement(c.ElementNumber))
        return Fail(condition_bad_element_number, bad_element);
    SetEATempFromOneExtractCondition(c);
    if (!CorrectString(SlotRow(tab, con), work_row_)) return Fail(condition_unexpected, unexpected);
    changed_ = 1;
    return ok;
}

int ExtractAction::CheckExtractEffective(EC_TAB_NUM tab, EC_CON_NUM con) {
    if (!IsWhole()) return Fail(condition_bad_data_in_memory, bad_table);
    if (int const result = CheckSlot(tab, con); result != ok) return result;
    return std::atoi(GetStringElement(column_element, SlotRow(tab, con))) == unused ? slot_empty : slot_used;
}

// --- Narrowing a list ---

int ExtractAction::GetElementDataType(int element, _MYDB_DATATYPE& type) {
    if (!customers::IsElement(element)) return Fail(condition_bad_element_number, bad_element);
    CString vector('0', customers::element_count);
    vector.SetAt(element, '1');
    CArray<DB_Element_Info, DB_Element_Info> info;
    if (database_->Get_DBElementInfo(info, vector) < 0 || info.GetSize() != 1)
        return Fail(condition_database_internal, no_element_info);
    type = static_cast<_MYDB_DATATYPE>(info[0].Type);
    return ok;
}

static CString Lowered(CString text) {
    int const length = text.GetLength();
    platform::Lower(text.GetBuffer(length), static_cast<std::size_t>(length));
    text.ReleaseBuffer(length);
    return text;
}

int ExtractAction::TakeSlot(int row, Slot& slot) {
    OneExtractCondition c;
    CArray<CString, CString> values;
    SetEATempFromMemory(row);
    SetOneExtractConditionFromEATemp(c);
    SplitString(work_row_[column_values], values, ",", '"');
    slot.element = c.ElementNumber;
    if (slot.element == unused) return ok;
    if (!customers::IsElement(slot.element)) return Fail(condition_bad_element_number, bad_element);
    if (c.Mode != compare && c.Mode != range) return Fail(condition_bad_radio_button, bad_mode);
    if (int const result = GetElementDataType(slot.element, slot.type); result != ok) return result;
    if (slot.element == customers::element_birthday) slot.type = mydb_date;
    slot.any_case = slot.element == customers::element_address && slot.type == mydb_string;
    slot.in_range = c.Mode == range;
    slot.flag = slot.in_range ? c.RangeFlag : c.EqualFlag;
    slot.values.assign(values.begin(), values.end());
    bool const dates = slot.type == mydb_date;
    slot.low = dates ? customers::LowerDate(c.RangeLow) : c.RangeLow;
    slot.high = dates ? customers::UpperDate(c.RangeHigh) : c.RangeHigh;
    if (!slot.any_case) return ok;
    for (CString& value : slot.values) value = Lowered(value);
    slot.low = Lowered(slot.low);
    slot.high = Lowered(slot.high);
    return ok;
}

bool ExtractAction::Passes(Slot& slot, char const* data, std::size_t length) {
    using EqualTest = int (*)(std::string_view, std::string_view, std::string_view);
    using RangeTest = int (*)(std::string_view, std::string_view, std::string_view, std::string_view);
    static constexpr EqualTest equal_tests[] = {customers::Check_Equal_String, customers::Check_Equal_Number,
                                                customers::Check_Equal_Date};
    static constexpr RangeTest range_tests[] = {customers::Check_Renge_String, customers::Check_Renge_Number,
                                                customers::Check_Renge_Date};
    if (slot.type < mydb_string || slot.type > mydb_date) return false;
    std::string_view value(data, length);
    if (slot.any_case) {
        slot.lowered = value;
        platform::Lower(slot.lowered.data(), slot.lowered.size());
        value = slot.lowered;
    }
    if (slot.in_range)
        return range_tests[slot.type](value, slot.low.View(), slot.high.View(), slot.flag.View()) ==
               customers::passes;
    // In the positive sense the first value that passes decides, else the first that fails.
    int const aim = slot.flag == customers::yes_text ? customers::passes : customers::fails;
    int result = customers::fails;
    for (CString const& wanted : slot.values) {
        result = equal_tests[slot.type](value, wanted.View(), slot.flag.View());
        if (result == aim) break;
    }
    return result == customers::passes;
}

int ExtractAction::PracticalExtractAction(CList<int, int>& ids, EC_TAB_NUM tab, EC_CON_NUM con) {
    if (!database_) return Fail(condition_database_not_set, no_database);
    if (!IsWhole()) return Fail(condition_bad_data_in_memory, bad_table);
    if (int const result = CheckSlot(tab, con); result != ok) return result;
    Slot slot;
    if (int const result = TakeSlot(SlotRow(tab, con), slot); result != ok || slot.element == unused)
        return result;
    customers::DatabaseLock const lock;
    CMyDB const& table = *database_;
    int const lines = table.GetLineNumber();
    for (POSITION place = ids.GetHeadPosition(); place;) {
        POSITION const here = place;
        int const line = database_->KnownRow(ids.GetNext(place));
        bool stays = line >= 0;
        if (stays) {
            customers::FetchAhead(table, line, lines, slot.element);
            customers::FetchAhead(table, line, lines, customers::element_direct_mail);
            std::string_view const value = CellOf(table, line, slot.element);
            stays = CellOf(table, line, customers::element_direct_mail) != customers::no_text &&
                    Passes(slot, value.data(), value.size());
        }
        if (!stays) ids.RemoveAt(here);
    }
    return ok;
}

// --- Writing ---

CString ExtractAction::FilePath(int id) const {
    CString const text = Decimal(id);
    return env_->DataPath(type_ == ec_mail ? "MAIL\\" + text + "\\merd" + text + ".dat"
                                           : "EXTRACT\\exrd" + text + ".dat");
}

int ExtractAction::CheckToWrite() {
    if (!env_) return Fail(condition_environment_not_set, no_environment);
    if (type_ == ec_not_set) return Fail(condition_target_not_set, no_type);
    if (id_ == id_not_set) return Fail(condition_id_not_set, no_id);
    return ok;
}

int ExtractAction::Write(int id, int compel) {
    if (!IsWhole()) return Fail(condition_bad_data_in_memory, bad_table);
    if (!compel && !changed_) return ok;
    environment::DataKey const key(*env_);
    if (!key.IsKnown() || !SaveCSVFile(FilePath(id), compel, key.Get()))
        return Fail(condition_file_write_failed, file_not_written);
    changed_ = 0;
    return ok;
}

int ExtractAction::WriteAllExtractConditionOnMemoryToFile() {
    if (int const result = CheckToWrite(); result != ok) return result;
    if (id_ == id_new_list) return Fail(condition_bad_target_and_id, bad_target);
    return Write(id_, if_changed);
}

int ExtractAction::WriteAllExtractConditionOnMemoryToFileCompel() {
    if (int const result = CheckToWrite(); result != ok) return result;
    if (id_ == id_new_list) return Fail(condition_bad_target_and_id, bad_target);
    return Write(id_, in_any_case);
}

int ExtractAction::WriteAllExtractConditionOnMemoryToFileNew(int newID) {
    if (int const result = CheckToWrite(); result != ok) return result;
    if (id_ != id_new_list || type_ != ec_list) return Fail(condition_bad_target_and_id, bad_target);
    int const result = Write(newID, in_any_case);
    if (result == ok) id_ = newID;
    return result;
}

int ExtractAction::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    if (int const result = CheckToWrite(); result != ok) return result;
    if (!IsWhole()) return Fail(condition_bad_data_in_memory, bad_table);
    return SaveCSVFileCopy(path, key) ? ok : Fail(condition_file_write_failed, file_not_written);
}
