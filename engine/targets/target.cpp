#include "engine/targets/target.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/consent/mail_stops.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/mail_lock.h"
#include "engine/environment/safe_change.h"
#include "engine/targets/conditions.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr int one_cell = 1;
constexpr int without_check = 0;  // of IDs that come from the database
constexpr int sorted = 1;
constexpr int all_rows = -1;

template <class Library>
[[noreturn]] void NotPossible(char const* what, Library& object) {
    throw Failure(Failure::operation_failed, std::string(what) + "\n" + TextOf(object.GetErrMsg()));
}

std::optional<int> IdIn(CString const& cell) {
    std::optional<int> const id = WholeNumber(cell.View());
    return id && *id >= 0 ? id : std::nullopt;
}

void Bind(Session& session, TargetOwner owner, ExtractResultDetail& list) {
    list.SetEnvManager(&session.Environment());
    if (owner.kind == TargetOwner::mail)
        list.SetMailListViewer(&session.Mails());
    else
        list.SetExtractListViewer(&session.Groups());
    if (list.SetTypeAndID(owner.kind == TargetOwner::mail ? extract::er_mail : extract::er_list, owner.id) <
        0)
        NotPossible("宛先を開けません。", list);
}

void Fill(ExtractResultDetail& list, std::vector<int> const& ids) {
    MakeEmptyRecipients(list);
    for (int const id : ids) {
        std::string const text = std::to_string(id);
        char const* cells[] = {text.c_str()};
        list.InsertString(cells);
    }
}

// Erased for good: the row is there, but its address is not.
bool IsErased(CDatabaseEdit& customers, int id) {
    CString address;
    return customers.GetCustomerDataPinPoint(id, customers::element_address, address) == 0 &&
           address.IsEmpty();
}

// Another process may have chosen anew since the list was read.
void DropErased(Session& session, int mail) {
    TargetOwner const owner{TargetOwner::mail, mail};
    session.WhileOthersWait([&] {
        ExtractResultDetail list;
        LoadRecipients(session, owner, list);
        std::vector<int> ids = IdsOf(list);
        std::erase_if(ids, [&](int id) { return IsErased(session.Customers(), id); });
        Fill(list, ids);
        SaveRecipients(session, owner, list);
    });
}

}  // namespace

std::string TargetOwner::ConditionsFile() const {
    return kind == mail ? MailFile(id, "merd") : "EXTRACT/exrd" + std::to_string(id) + ".dat";
}

std::string TargetOwner::RecipientsFile() const {
    return kind == mail ? MailFile(id, "meli") : "EXTRACT/exsl" + std::to_string(id) + ".dat";
}

std::vector<int> RecipientsOf(Session& session, int mail) {
    ExtractResultDetail list;
    LoadRecipients(session, {TargetOwner::mail, mail}, list);
    return IdsOf(list);
}

int RecipientCount(Session& session, int mail) {
    ExtractResultDetail list;
    LoadRecipients(session, {TargetOwner::mail, mail}, list);
    return list.GetRecordNumber();
}

void MakeEmptyTarget(Session& session, int mail) {
    TargetOwner const owner{TargetOwner::mail, mail};
    ExtractAction set;
    MakeEmptyConditions(session, set);
    SaveConditions(session, owner, set);
    ExtractResultDetail list;
    MakeEmptyRecipients(list);
    SaveRecipients(session, owner, list);
}

void CopyConditions(Session& session, int from_mail, int to_mail) {
    ExtractAction set;
    LoadConditions(session, {TargetOwner::mail, from_mail}, set);
    SaveConditions(session, {TargetOwner::mail, to_mail}, set);
}

void MakeEmptyConditions(Session& session, ExtractAction& set) {
    set.SetEnvManager(&session.Environment());
    set.SetTypeAndID(extract::ec_list, ExtractAction::id_new_list);
    if (set.GetExtractConditionFromFileToMemory(EnvManager::use_own_key, nullptr) < 0)
        NotPossible("条件を作れません。", set);
}

void LoadConditions(Session& session, TargetOwner owner, ExtractAction& set) {
    set.SetEnvManager(&session.Environment());
    set.SetTypeAndID(owner.kind == TargetOwner::mail ? extract::ec_mail : extract::ec_list, owner.id);
    TableReading reading(session, owner.ConditionsFile());
    int const result = set.GetExtractConditionFromFileToMemory(EnvManager::use_own_key, nullptr);
    bool const nothing = result == ExtractAction::file_missing || result == ExtractAction::file_empty;
    reading.End(result >= 0 || nothing, set);
    if (nothing) MakeEmptyConditions(session, set);
}

void SaveConditions(Session& session, TargetOwner owner, ExtractAction& set) {
    session.SaveTable(owner.ConditionsFile(), "宛先の条件", [&](CString const& path, char const* key) {
        return set.WriteFromMemoryToFileAppointFileName(path, key) == 0;
    });
}

void LoadRecipients(Session& session, TargetOwner owner, ExtractResultDetail& list) {
    Bind(session, owner, list);
    TableReading reading(session, owner.RecipientsFile());
    int const result = list.GetDBIDListFromFileToMemory(EnvManager::use_own_key, nullptr);
    bool const nothing =
        result == ExtractResultDetail::file_missing || result == ExtractResultDetail::file_empty;
    reading.End(result >= 0 || nothing, list);
    if (nothing) return MakeEmptyRecipients(list);
    if (list.GetElementNumber() != one_cell) reading.Refuse();
    for (int row = 0; row < list.GetRecordNumber(); ++row)
        if (!IdIn(list.GetStringElement(0, row))) reading.Refuse();
}

void MakeEmptyRecipients(ExtractResultDetail& list) { list.SetElementNumber(one_cell); }

void SaveRecipients(Session& session, TargetOwner owner, ExtractResultDetail& list) {
    session.SaveTable(owner.RecipientsFile(), "宛先", [&](CString const& path, char const* key) {
        return list.WriteFromMemoryToFileAppointFileName(path, key) == 0;
    });
}

std::vector<int> IdsOf(ExtractResultDetail const& list) {
    std::vector<int> ids;
    ids.reserve(static_cast<std::size_t>(list.GetRecordNumber()));
    for (int row = 0; row < list.GetRecordNumber(); ++row)
        ids.push_back(IdIn(list.GetStringElement(0, row)).value_or(-1));
    return ids;
}

void DropStopped(Session& session, ExtractResultDetail& list) {
    std::vector<int> ids = IdsOf(list);
    std::size_t const before = ids.size();
    DropStopped(session, ids);
    if (ids.size() < before) Fill(list, ids);
}

namespace {

void AddToList(CList<int, int>& ids, StoppedCustomers& stopped, ExtractResultDetail& list) {
    for (POSITION next = ids.GetHeadPosition(); next;) {
        POSITION const place = next;
        if (stopped.LeavesOut(ids.GetNext(next))) ids.RemoveAt(place);
    }
    if (list.SetDBIDFromCListInt(ids, without_check, sorted) < 0) NotPossible("宛先を選べません。", list);
}

// Adds those who meet all conditions of a tab. Result: whether it has any.
bool AddTab(ExtractAction& set, int tab, CList<int, int> const& everyone, StoppedCustomers& stopped,
            ExtractResultDetail& list) {
    auto const tab_number = static_cast<EC_TAB_NUM>(tab);
    std::optional<CList<int, int>> ids;
    for (int number = 0; number < extract::ec_con_count; ++number) {
        auto const condition = static_cast<EC_CON_NUM>(number);
        if (set.CheckExtractEffective(tab_number, condition) != ExtractAction::slot_used) continue;
        if (!ids) ids = everyone;
        if (set.PracticalExtractAction(*ids, tab_number, condition) < 0)
            NotPossible("条件を調べられません。", set);
    }
    if (ids) AddToList(*ids, stopped, list);
    return ids.has_value();
}

}  // namespace

void ChooseRecipients(Session& session, int mail, ExtractAction& set, ExtractResultDetail& list) {
    set.SetDatabaseEdit(&session.Customers());
    list.SetDatabaseEdit(&session.Customers());
    Bind(session, {TargetOwner::mail, mail}, list);
    MakeEmptyRecipients(list);
    CList<int, int> everyone;
    if (list.GetAllDBIDWithoutDeleteFromDBToCListInt(everyone) < 0)
        NotPossible("顧客を調べられません。", list);
    StoppedCustomers stopped(session);
    bool any = false;
    for (int tab = 0; tab < extract::ec_tab_count; ++tab)
        any = AddTab(set, tab, everyone, stopped, list) || any;
    if (!any) AddToList(everyone, stopped, list);
    stopped.Tell();
}

void StoreTarget(Session& session, int mail, ExtractAction& set, ExtractResultDetail& list) {
    MailLock const lock(session, mail, MailLock::For::changing);
    TargetOwner const owner{TargetOwner::mail, mail};
    for (std::string const& file : {owner.ConditionsFile(), owner.RecipientsFile()})
        RequireReadable(session, file);
    SafeChange whole(session.DataDirectory(),
                     {owner.ConditionsFile(), owner.RecipientsFile(), mail_list_file});
    SaveConditions(session, owner, set);
    SaveRecipients(session, owner, list);
    if (session.Mails().SetMailDataPinPoint(mail, CMailListViewer::column_set_address_date, NowText()) < 0)
        throw Failure(Failure::operation_failed, "メールの一覧を変えられません: " + std::to_string(mail));
    session.SaveMails();
    whole.Keep();
}

Choice ChoiceOf(Session& session, ExtractResultDetail const& list) {
    return {static_cast<std::size_t>(list.GetRecordNumber()),
            static_cast<std::size_t>(session.Customers().GetDBCountWithoutDelete())};
}

std::vector<ERDetailPlusDB> EntriesOf(Session& session, int mail, int limit, ExtractResultDetail& list,
                                      int& unknown) {
    CDatabaseEdit& customers = session.Customers();
    std::vector<int> ids = IdsOf(list);
    if (std::erase_if(ids, [&](int id) { return IsErased(customers, id); }) > 0) DropErased(session, mail);
    unknown = static_cast<int>(std::erase_if(
        ids, [&](int id) { return customers.FindCustomerID(id, CDatabaseEdit::find_all) != 1; }));
    Fill(list, ids);
    list.SetDatabaseEdit(&customers);
    CArray<ERDetailPlusDB, ERDetailPlusDB> entries;
    int const from = limit > 0 ? 0 : all_rows, to = limit > 0 ? limit - 1 : all_rows;
    if (list.GetIDPlusDBDataFromDBFile(entries, from, to) < 0) NotPossible("宛先を表示できません。", list);
    return {entries.begin(), entries.end()};
}

}  // namespace engine
