#include "engine/upkeep/environment_check.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <string_view>
#include <unordered_set>

#include "engine/base/crossing.h"
#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"
#include "engine/receiving/inbox.h"
#include "engine/sending/journal_file.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr std::string_view base64_letters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=\r\n";

void CheckAttachments(Session& session, TableState const& table, EnvironmentState& state) {
    std::optional<CString> const key = session.TableKey();
    std::string const folder =
        session.DataDirectory() + "/" + table.path.substr(0, table.path.rfind('/')) +
        (table.kind->start == "attc" ? "/ATTACH/" : "/" + std::string(table.kind->start.substr(3)) + "/");
    ScanRows(table.rows, key ? static_cast<char const*>(*key) : nullptr, *table.kind,
             [&](std::string_view, std::string_view name) {
                 std::string const file = folder + Out(name) + ".base64";
                 ++state.attachments;
                 try {
                     std::string const text = ReadWholeFile(file, "添付ファイル");
                     if (text.find_first_not_of(base64_letters) != text.npos)
                         state.troubles.push_back("添付ファイルが壊れています: " + file);
                 } catch (Failure const& failure) {
                     state.troubles.push_back(failure.what());
                 }
             });
}

void CheckSequence(Session& session, EnvironmentState& state, char const* path, char const* table) {
    std::string const file = session.DataDirectory() + "/" + path;
    TableState const* const owners = state.Find(table);
    int const largest =
        owners && !owners->ids.empty() ? *std::max_element(owners->ids.begin(), owners->ids.end()) : -1;
    std::string const text = fs::exists(file) ? ReadWholeFile(file, "番号") : "0";
    auto const next = text.empty() ? 0 : WholeNumber(text);
    if (!next) state.troubles.push_back("次の番号のファイルが壊れています: " + file);
    if (next && *next <= largest)
        state.notes.push_back("次の番号のファイルが遅れています。使うときに進めます: " + file);
}

void CheckReceived(Session& session, EnvironmentState& state) {
    for (KeptMail const& mail : Inbox(session.DataDirectory()).Kept()) {
        ++state.received;
        if (!mail.file.stem().string().ends_with(DigestOf(ReadWholeFile(mail.file.string(), "受信メール"))))
            state.troubles.push_back("受信したメールが壊れています: " + mail.file.string());
    }
}

void CheckMessageKey(Session& session, EnvironmentState& state) {
    state.message_key = ReadMessageKey(session.DataDirectory()).state;
    if (state.message_key == MessageKey::damaged)
        state.troubles.push_back("署名の鍵が壊れています: " + session.DataDirectory() + "/" +
                                 message_key_file);
}

void CheckJournals(Session& session, EnvironmentState& state) {
    std::error_code error;
    for (fs::directory_iterator folder(session.DataDirectory() + "/MAIL", error), end;
         !error && folder != end; folder.increment(error)) {
        auto const mail = WholeNumber(folder->path().filename().string());
        if (!mail) continue;
        fs::path const path = folder->path() / ("hist" + std::to_string(*mail) + ".journal");
        if (!fs::exists(path)) continue;
        JournalState journal{*mail};
        JournalContent content(path.string());
        if (content.GetKind() == JournalContent::Kind::records)
            content.ForEachRecord([&](JournalRecord const&) { ++journal.records; });
        journal.damaged = content.IsDamaged();
        state.journals.push_back(journal);
    }
}

// A mail that was sent has a history, also where no record tells so.
void CheckAttempts(Session& session, EnvironmentState& state) {
    TableState const* const mails = state.Find(mail_list_file);
    if (!mails) return;
    std::optional<CString> const key = session.TableKey();
    char const* const used_key = key ? static_cast<char const*>(*key) : nullptr;
    std::vector<TableState> lost;
    ScanRows(mails->rows, used_key, *mails->kind, [&](std::string_view bytes, std::string_view id) {
        std::vector<std::string> const cells = CellsIn(bytes, used_key);
        auto const number = [&](int column) {
            return WholeNumber(cells[static_cast<std::size_t>(column)]).value_or(0);
        };
        if (number(CMailListViewer::column_sent) == 0 && number(CMailListViewer::column_errors) == 0) return;
        std::string const path = MailFile(WholeNumber(id).value_or(0), "hist");
        auto const history = std::find_if(state.tables.begin(), state.tables.end(),
                                          [&](TableState const& table) { return table.path == path; });
        if (history == state.tables.end()) {
            TableState& missing = lost.emplace_back();
            missing.path = path;
            missing.kind = TableKindOf(path);
        } else if (history->state == TableState::without_record && history->readable.rows == 0) {
            history->state = TableState::emptied;
        }
    });
    std::move(lost.begin(), lost.end(), std::back_inserter(state.tables));
}

std::string IdsIn(std::vector<int> const& ids) {
    std::string text;
    for (int const id : ids) text += (text.empty() ? "" : ", ") + std::to_string(id);
    return text;
}

}  // namespace

TableState const* EnvironmentState::Find(std::string const& path) const {
    auto const found = std::find_if(tables.begin(), tables.end(),
                                    [&](TableState const& table) { return table.path == path; });
    return found == tables.end() ? nullptr : &*found;
}

bool EnvironmentState::IsWhole() const {
    auto const good = [](TableState const& table) {
        return !table.record_damaged && table.repeated_ids.empty() &&
               (table.state == TableState::whole || table.state == TableState::without_record);
    };
    return troubles.empty() && std::all_of(tables.begin(), tables.end(), good) &&
           std::all_of(lists.begin(), lists.end(), [](ListState const& list) { return list.IsGood(); }) &&
           std::none_of(journals.begin(), journals.end(),
                        [](JournalState const& one) { return one.damaged; });
}

void ReadRowsOf(Session& session, std::string_view file, std::string const& path, TableState& table) {
    table.path = path;
    table.kind = TableKindOf(path);
    std::optional<CString> const key = session.TableKey();
    std::unordered_set<int> seen;
    table.readable = ScanRows(file, key ? static_cast<char const*>(*key) : nullptr, *table.kind,
                              [&](std::string_view bytes, std::string_view first_cell) {
                                  table.rows += bytes;
                                  auto const id = table.kind->ids ? WholeNumber(first_cell) : std::nullopt;
                                  if (!id) return;
                                  table.ids.push_back(*id);
                                  if (!seen.insert(*id).second) table.repeated_ids.push_back(*id);
                              });
}

TableState StateOfTable(Session& session, std::string const& path) {
    TableState table;
    table.path = path;
    table.kind = TableKindOf(path);
    std::string const file = session.DataDirectory() + "/" + path;
    FileRecord const record(file);
    table.record_damaged = record.GetState() == FileRecord::damaged;
    if (record.Newest()) table.recorded_rows = record.Newest()->rows;
    std::optional<TableContent> const content = ContentOf(file);
    if (!content) {
        if (record.GetState() == FileRecord::good && record.Allows(content)) table.state = TableState::whole;
        return table;
    }
    ReadRowsOf(session, ReadWholeFile(file, table.kind->name), path, table);
    bool const recorded = record.GetState() == FileRecord::good;
    if (!table.readable.Whole())
        table.state = TableState::damaged;
    else if (recorded && record.Allows(content))
        table.state = TableState::whole;
    else if (content->bytes == 0 && table.recorded_rows.value_or(0) > 0)
        table.state = TableState::emptied;
    else
        table.state = recorded ? TableState::other : TableState::without_record;
    return table;
}

std::vector<std::string> TablesOf(Session& session) {
    std::set<std::string> tables = {settings_file, customers_file};
    std::string const data = session.DataDirectory() + "/";
    for (char const* folder : {"DB", "MAIL", "EXTRACT"})
        for (std::string const& table : TablesIn(data + folder)) tables.insert(table.substr(data.size()));
    return {tables.begin(), tables.end()};
}

EnvironmentState StateOfEnvironment(Session& session) {
    EnvironmentState state;
    for (std::string const& path : TablesOf(session)) {
        state.tables.push_back(StateOfTable(session, path));
        TableState& table = state.tables.back();
        if (table.kind->form == TableKind::attachments) CheckAttachments(session, table, state);
        bool const needed = table.kind->form == TableKind::mails || table.kind->form == TableKind::history ||
                            !table.IsUsable() || !table.repeated_ids.empty();
        if (!needed) table.rows = {};
    }
    CheckAttempts(session, state);
    CheckSequence(session, state, "DB/dbseq.dat", customers_file);
    CheckSequence(session, state, "MAIL/mailseq.dat", mail_list_file);
    CheckSequence(session, state, "EXTRACT/extrseq.dat", groups_file);
    CheckJournals(session, state);
    state.lists = StateOfLists(session);
    CheckReceived(session, state);
    CheckMessageKey(session, state);
    return state;
}

std::string DescribeTable(TableState const& table) {
    std::string text = std::string(table.kind->name) + " (" + table.path + "): ";
    std::string const rows = Grouped(table.readable.rows) + "行",
                      recorded =
                          table.recorded_rows ? "書いたとき " + Grouped(*table.recorded_rows) + "行、" : "";
    switch (table.state) {
        case TableState::whole: text += "完全です。" + rows; break;
        case TableState::without_record: text += "終わりまで読めます (記録はありません)。" + rows; break;
        case TableState::other:
            text += "終わりまで読めますが、書いたときと違います。" + recorded + "今 " + rows;
            break;
        case TableState::damaged: text += "壊れています。" + recorded + "読めるのは " + rows; break;
        case TableState::emptied: text += "空になっています。" + recorded + "今 0行"; break;
        case TableState::missing:
            text += "ファイルがありません。";
            if (table.recorded_rows) text += "書いたとき " + Grouped(*table.recorded_rows) + "行";
            break;
    }
    if (table.record_damaged) text += "。記録のファイルが壊れています";
    if (!table.repeated_ids.empty()) text += "。同じ番号の行があります: " + IdsIn(table.repeated_ids);
    return text;
}

bool CheckEnvironment(Access const& access, std::string const& env_file) {
    Session session(access, env_file, Session::For::checking);
    EnvironmentState const state = StateOfEnvironment(session);
    FrontEnd& front = session.Front();
    for (TableState const& table : state.tables) front.Result(DescribeTable(table));
    for (JournalState const& journal : state.journals)
        front.Result("送信の記録 (メール " + std::to_string(journal.mail) +
                     "): " + (journal.damaged ? "壊れています。読めるのは " : "完全です。") +
                     Grouped(journal.records) + "件");
    for (ListState const& list : state.lists) front.Result(DescribeList(list));
    front.Result("添付ファイル " + Grouped(state.attachments) + "個、受信したメール " +
                 Grouped(state.received) + "通を調べました。");
    if (state.message_key != MessageKey::damaged)
        front.Result(state.message_key == MessageKey::whole
                         ? "署名の鍵: 完全です。"
                         : "署名の鍵: まだありません。次に送るときに作ります。");
    for (std::string const& note : state.notes) front.Result(note);
    for (std::string const& trouble : state.troubles) front.Result(trouble);
    front.Result(state.IsWhole()
                     ? "すべて完全です。"
                     : "完全でないものがあります。「tessaly env repair " + env_file + "」で直せます。");
    return state.IsWhole();
}

}  // namespace engine
