#include "tessaly/extract/extract_result_detail.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "customers/customer_index.h"
#include "customers/customer_row.h"
#include "customers/database_lock.h"
#include "customers/table_cells.h"
#include "environment/data_key.h"
#include "storage/construction_failure.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/extract/extract_list_viewer.h"
#include "tessaly/mailstore/mail_list_viewer.h"

using enum extract::ERTYPE;
using enum storage::ErrorCode;

using customers::CellOf;
using customers::DatabaseLock;

namespace {

constexpr int cell_customer_id = 0;
constexpr int list_width = 1;
constexpr int every_row = -1;
constexpr int with_check = 1;
constexpr int if_changed = 0;  // of a save
constexpr int in_any_case = 1;
// Elements of the view without a constant in customer_elements.h.
constexpr int element_family_name = 2;
constexpr int element_given_name = 3;
constexpr int element_company = 6;

// An ID in decimal.
class IDText {
  public:
    explicit IDText(int id) { *std::to_chars(std::begin(text_), std::end(text_), id).ptr = '\0'; }
    operator char const*() const noexcept { return text_; }

  private:
    char text_[12];  // the longest ID, its sign and a NUL
};

ERDetailPlusDB EntryOf(CDatabaseEdit const& database, int line, int id) {
    XCStringArrayEx const& row = database.Row(line);
    return {id,
            row.GetAt(element_family_name),
            row.GetAt(element_given_name),
            row.GetAt(element_company),
            row.GetAt(customers::element_address),
            customers::DateOf(CellOf(database, line, customers::element_renewal_date))};
}

// Prefetches the memory that a walk over customers reads of their consent: rows, cells and texts are
// scattered in memory.
template <class Customers>
void FetchAhead(CDatabaseEdit const& database, Customers const& found, std::size_t at) {
    constexpr std::size_t rows_ahead = 24;
    constexpr std::size_t cells_ahead = 16;
    constexpr std::size_t texts_ahead = 8;
    constexpr int element = customers::element_direct_mail;
    if (at + rows_ahead >= found.size()) return;
    __builtin_prefetch(&database.Row(found[at + rows_ahead].line));
    XCStringArrayEx const& cells = database.Row(found[at + cells_ahead].line);
    if (element < cells.GetSize()) __builtin_prefetch(&cells[element]);
    XCStringArrayEx const& texts = database.Row(found[at + texts_ahead].line);
    if (element < texts.GetSize()) __builtin_prefetch(static_cast<char const*>(texts[element]));
}

}  // namespace

// The IDs of the rows.
class ExtractResultDetail::IDSet {
  public:
    void Clear() { known_.Clear(); }
    void Reserve(std::size_t count) { known_.Reserve(count); }
    bool Holds(int id) const noexcept { return known_.RowOf(id) == held; }
    void Insert(int id) { known_.Set(id, held); }
    void Remove(int id) { known_.Set(id, removed); }

  private:
    enum Mark : int { removed = 0, held = 1 };
    customers::CustomerIndex known_;
};

ExtractResultDetail::ExtractResultDetail() = default;
ExtractResultDetail::ExtractResultDetail(ExtractResultDetail const& other) = default;
ExtractResultDetail& ExtractResultDetail::operator=(ExtractResultDetail const& other) = default;
ExtractResultDetail::~ExtractResultDetail() = default;

ExtractResultDetail::ExtractResultDetail(EnvManager* env, CMailListViewer* mails, ExtractListViewer* lists,
                                         CDatabaseEdit* database) {
    if (SetEnvManager(env) && SetMailListViewer(mails) && SetExtractListViewer(lists) &&
        SetDatabaseEdit(database))
        return;
    storage::FailConstruction(error_, send_list_environment_set_failed);
}

ExtractResultDetail::ExtractResultDetail(EnvManager* env, CMailListViewer* mails, ExtractListViewer* lists,
                                         CDatabaseEdit* database, ERTYPE type, int id)
    : ExtractResultDetail(env, mails, lists, database) {
    if (SetTypeAndID(type, id) != ok) storage::FailConstruction(error_);
}

int ExtractResultDetail::Fail(int code, Result result) {
    error_.SetErr(code);
    return result;
}

// The others may hold this environment already; their results do not matter here.
int ExtractResultDetail::SetEnvManager(EnvManager* env) {
    if (!env || env_) return 0;
    constexpr int read_lists = 1;
    env_ = env;
    if (mails_) mails_->SetEnvManager(env_);
    if (lists_) lists_->SetEnvManager(env_, read_lists);
    if (database_) database_->SetEnvManager(env_);
    return 1;
}

int ExtractResultDetail::SetMailListViewer(CMailListViewer* mails) {
    if (!mails || mails_) return 0;
    mails_ = mails;
    if (env_) mails_->SetEnvManager(env_);
    return 1;
}

int ExtractResultDetail::SetDatabaseEdit(CDatabaseEdit* database) {
    if (!database || database_) return 0;
    database_ = database;
    if (env_) database_->SetEnvManager(env_);
    return 1;
}

int ExtractResultDetail::SetExtractListViewer(ExtractListViewer* lists) {
    if (lists_) return 0;
    lists_ = lists;
    return 1;
}

bool ExtractResultDetail::IsMailListed(int id) const {
    constexpr int found = 0;
    return mails_->FindMailData(id) == found;
}

bool ExtractResultDetail::IsListListed(int id) const { return lists_->ExtractID2RowNumber(id) >= 0; }

int ExtractResultDetail::SetTypeAndID(ERTYPE type, int id) {
    if (!env_) return Fail(send_list_environment_not_set, not_bound);
    switch (type) {
        case er_mail:
            if (!mails_) return Fail(send_list_environment_not_set, not_bound);
            if (id == id_new_list) return Fail(send_list_change_cannot_create, new_mail_list);
            if (!IsMailListed(id)) return Fail(send_list_no_such_mail, no_such_mail);
            break;
        case er_list:
            if (!lists_) return Fail(send_list_environment_not_set, not_bound);
            if (id != id_new_list && !IsListListed(id)) return Fail(send_list_no_such_list, no_such_list);
            break;
        default: return Fail(send_list_unknown_mode, unknown_type);
    }
    type_ = type;
    id_ = id;
    return ok;
}

// For operations that read or write the target's file. The objects that a type needs were bound before
// SetTypeAndID accepted it.
int ExtractResultDetail::CheckTarget() {
    if (!env_) return Fail(send_list_environment_not_set, not_bound);
    if (type_ == er_not_set || id_ < 0) return Fail(send_list_mode_and_id_not_set, target_not_set);
    if (type_ == er_mail) return IsMailListed(id_) ? ok : Fail(send_list_no_such_mail, no_such_mail);
    return IsListListed(id_) ? ok : Fail(send_list_no_such_list, no_such_list);
}

CString ExtractResultDetail::FilePath(int id) const {
    CString below;
    if (type_ == er_mail)
        below.Format("MAIL\\%d\\meli%d.dat", id, id);
    else
        below.Format("EXTRACT\\exsl%d.dat", id);
    return env_->DataPath(below);
}

int ExtractResultDetail::IDAt(int row) const {
    XCStringArrayEx const& cells = (*this)[row];
    return cells.IsEmpty() ? 0 : std::atoi(cells[cell_customer_id]);
}

int ExtractResultDetail::ExtractDBID2RowNumber(int id) {
    if (IsEmpty()) return row_no_rows;
    if (type_ == er_not_set) return row_unknown_type;
    return TotalAgreementReference(IDText(id), cell_customer_id, 0, 1);
}

int ExtractResultDetail::GetDBIDListFromFileToMemory(int useKey, char const* key) {
    if (!env_) return Fail(send_list_environment_not_set, not_bound);
    DeleteAllString();
    ids_->Clear();
    changed_ = 0;
    if (int const result = CheckTarget(); result != ok) return result;
    environment::DataKey const file_key(*env_, useKey, key);
    if (!file_key.IsKnown()) return Fail(send_list_file_format, file_format);
    int const loaded = LoadCSVFile(FilePath(id_), file_key.Get());
    EnterIDs();
    switch (loaded) {
        case load_ok: return ok;
        case load_missing: return Fail(send_list_file_missing, file_missing);
        case load_empty: return Fail(send_list_file_empty, file_empty);
        case load_wrong_width: return Fail(send_list_file_format, file_format);
        default: return Fail(send_list_file_unexpected, file_unexpected);
    }
}

int ExtractResultDetail::GetIDPlusDBDataFromDBFile(CArray<ERDetailPlusDB, ERDetailPlusDB>& out, int from,
                                                   int to) {
    if (!IsBound()) return Fail(send_list_environment_not_set, not_bound);
    if (!HasTarget()) return Fail(send_list_mode_and_id_not_set, target_not_set);
    out.RemoveAll();
    bool const all = from == every_row || to == every_row;
    int const first = all ? 0 : std::max(from, 0);
    std::int64_t const count = all ? GetSize() : std::int64_t{to} - first + 1;
    CArray<int, int> wiped;
    bool const all_known = Collect(out, first, count, wiped);
    if (!wiped.IsEmpty()) {
        RemoveRows(wiped);
        static_cast<void>(WriteAllOnMemoryDBIDToFile());  // failing, the next view drops them again
    }
    return all_known ? out.GetSize() : Fail(send_list_id_not_in_database, unknown_customer);
}

// Up to `count` entries from the row `first` on; the rows of wiped customers between them are not counted.
// false at a customer who is not in the database.
bool ExtractResultDetail::Collect(CArray<ERDetailPlusDB, ERDetailPlusDB>& out, int first, std::int64_t count,
                                  CArray<int, int>& wiped) const {
    DatabaseLock const lock;
    out.Reserve(static_cast<int>(std::clamp<std::int64_t>(count, 0, std::max(GetSize() - first, 0))));
    for (int row = first; row < GetSize() && out.GetSize() < count; ++row) {
        int const id = IDAt(row);
        int const line = database_->DBID2RowNumber(id);
        if (line == CDatabaseEdit::no_match) return false;
        if (CellOf(*database_, line, customers::element_address).empty())
            wiped.Add(row);
        else
            out.Items().push_back(EntryOf(*database_, line, id));
    }
    return true;
}

// In one pass. `rows` ascends.
void ExtractResultDetail::RemoveRows(CArray<int, int> const& rows) {
    Storage kept;
    kept.reserve(static_cast<std::size_t>(GetSize() - rows.GetSize()));
    auto next = rows.begin();
    for (int row = 0; row < GetSize(); ++row) {
        if (next != rows.end() && *next == row)
            ++next;
        else
            kept.push_back(std::move((*this)[row]));
    }
    DeleteAllString();
    Items().swap(kept);
    EnterIDs();
    changed_ = 1;
}

void ExtractResultDetail::EnterIDs() {
    ids_->Clear();
    ids_->Reserve(Items().size());
    for (int row = 0; row < GetSize(); ++row) ids_->Insert(IDAt(row));
}

int ExtractResultDetail::AddDBID(int id) {
    if (!IsBound()) return Fail(send_list_environment_not_set, not_bound);
    if (!HasTarget()) return Fail(send_list_mode_and_id_not_set, target_not_set);
    DatabaseLock const lock;
    int const line = database_->DBID2RowNumber(id);
    if (line == CDatabaseEdit::no_match) return Fail(send_list_id_not_in_database, unknown_customer);
    return Add({id, line});
}

int ExtractResultDetail::Add(Customer customer) {
    std::string_view const mail_wanted = CellOf(*database_, customer.line, customers::element_direct_mail);
    if (mail_wanted == customers::no_text || ids_->Holds(customer.id)) return GetSize();
    if (IsEmpty()) SetElementNumber(list_width);
    IDText const text(customer.id);
    std::vector<char const*> cells(static_cast<std::size_t>(GetElementNumber()), "");
    cells[cell_customer_id] = text;
    if (!InsertString(cells.data())) return Fail(send_list_unexpected, row_refused);
    ids_->Insert(customer.id);
    changed_ = 1;
    return GetSize();
}

int ExtractResultDetail::RemoveDBID(int id) {
    if (!env_) return Fail(send_list_environment_not_set, not_bound);
    if (!HasTarget()) return Fail(send_list_mode_and_id_not_set, target_not_set);
    int const row = ExtractDBID2RowNumber(id);
    if (row < 0) return Fail(send_list_delete_of_missing_id, not_in_list);
    if (!DeleteString(row)) return Fail(send_list_unexpected, row_refused);
    if (ExtractDBID2RowNumber(id) < 0) ids_->Remove(id);  // a file may hold it twice
    changed_ = 1;
    return GetSize();
}

int ExtractResultDetail::ALLRemoveDBID() {
    if (!env_) return Fail(send_list_environment_not_set, not_bound);
    if (!HasTarget()) return Fail(send_list_mode_and_id_not_set, target_not_set);
    DeleteAllString();
    ids_->Clear();
    changed_ = 1;
    return ok;
}

int ExtractResultDetail::GetDBIDToCListInt(CList<int, int>& out, int check) {
    if (!IsBound()) return Fail(send_list_environment_not_set, not_bound);
    if (type_ == er_not_set) return Fail(send_list_unknown_mode, unknown_type);
    out.RemoveAll();
    for (int row = 0; row < GetSize(); ++row) out.AddTail(IDAt(row));
    if (check != with_check || LookUp(out).size() == static_cast<std::size_t>(out.GetCount())) return ok;
    out.RemoveAll();
    return Fail(send_list_id_not_in_database, unknown_customer);
}

// The customers up to the first who is not in the database.
std::vector<ExtractResultDetail::Customer> ExtractResultDetail::LookUp(CList<int, int> const& ids) const {
    DatabaseLock const lock;
    std::vector<Customer> found;
    found.reserve(static_cast<std::size_t>(ids.GetCount()));
    for (POSITION place = ids.GetHeadPosition(); place;) {
        int const id = ids.GetNext(place);
        int const line = database_->DBID2RowNumber(id);
        if (line == CDatabaseEdit::no_match) break;
        found.push_back({id, line});
    }
    return found;
}

int ExtractResultDetail::SetDBIDFromCListInt(CList<int, int>& ids, int check, int sort) {
    if (!IsBound()) return Fail(send_list_environment_not_set, not_bound);
    DatabaseLock const lock;
    std::vector<Customer> const found = LookUp(ids);
    bool const all_known = found.size() == static_cast<std::size_t>(ids.GetCount());
    if (check == with_check && !all_known) return Fail(send_list_id_not_in_database, unknown_customer);
    if (!ids.IsEmpty() && !HasTarget()) return Fail(send_list_mode_and_id_not_set, target_not_set);
    ReserveFor(found.size());
    for (std::size_t at = 0; at < found.size(); ++at) {
        FetchAhead(*database_, found, at);
        if (int const result = Add(found[at]); result < 0) return result;
    }
    if (!all_known) return Fail(send_list_id_not_in_database, unknown_customer);
    if (sort) SortByDBID();
    return ok;
}

// Room for `more` further IDs, growing in such steps that many short lists cost as much as one long list.
void ExtractResultDetail::ReserveFor(std::size_t more) {
    std::size_t const rows = Items().size() + more;
    if (rows > Items().capacity()) Items().reserve(std::max(rows, 2 * Items().capacity()));
    ids_->Reserve(rows);
}

int ExtractResultDetail::GetAllDBIDWithoutDeleteFromDBToCListInt(CList<int, int>& out) {
    if (!IsBound()) return Fail(send_list_environment_not_set, not_bound);
    return database_->GetDBIDWithoutDelete(out);
}

void ExtractResultDetail::SortByDBID() {
    struct Place {
        int id;
        int row;
    };
    std::vector<Place> places;
    places.reserve(Items().size());
    for (int row = 0; row < GetSize(); ++row) {
        places.push_back({IDAt(row), row});
        WriteInDecimal(places.back().id, row);
    }
    auto const by_id = [](Place const& a, Place const& b) { return a.id < b.id; };
    if (std::is_sorted(places.begin(), places.end(), by_id)) return;
    std::stable_sort(places.begin(), places.end(), by_id);
    CArray<int, int> order;
    order.Reserve(GetSize());
    for (Place const& place : places) order.Add(place.row);
    FullSort(order);
    changed_ = 1;
}

void ExtractResultDetail::WriteInDecimal(int id, int row) {
    IDText const text(id);
    if (GetStringElement(cell_customer_id, row) == text) return;
    XCStringArrayEx cells;
    GetString(row, cells);
    cells.SetAt(cell_customer_id, CString(text));
    if (CorrectString(row, cells)) changed_ = 1;
}

int ExtractResultDetail::Save(int id, int compel) {
    environment::DataKey const key(*env_);
    if (!key.IsKnown() || !SaveCSVFile(FilePath(id), compel, key.Get()))
        return Fail(send_list_file_write_failed, file_not_written);
    changed_ = 0;
    return ok;
}

int ExtractResultDetail::WriteAllOnMemoryDBIDToFile() {
    if (int const result = CheckTarget(); result != ok) return result;
    return changed_ ? Save(id_, if_changed) : ok;
}

int ExtractResultDetail::WriteAllOnMemoryDBIDToFileCompel() {
    if (int const result = CheckTarget(); result != ok) return result;
    return Save(id_, in_any_case);
}

int ExtractResultDetail::WriteAllOnMemoryDBIDToFileNew(int newID) {
    if (!env_ || !lists_) return Fail(send_list_environment_not_set, not_bound);
    if (type_ != er_list || id_ != id_new_list) return Fail(send_list_bad_mode_or_id, not_a_new_list);
    return Save(newID, if_changed);
}

int ExtractResultDetail::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    return SaveCSVFileCopy(path, key) ? ok : Fail(send_list_file_write_failed, file_not_written);
}
