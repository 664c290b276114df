#include "engine/upkeep/history_repair.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "engine/base/date_text.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"
#include "engine/sending/journal_file.h"
#include "engine/sending/mail_history.h"

namespace engine {
namespace {

struct HistoryRows {
    std::set<int> complete;   // the server took the mail
    std::set<int> untouched;  // no attempt
    std::set<int> all;
};

HistoryRows RowsOf(Session& session, TableState const& history) {
    HistoryRows rows;
    std::optional<CString> const key = session.TableKey();
    char const* const used_key = key ? static_cast<char const*>(*key) : nullptr;
    ScanRows(history.rows, used_key, *history.kind, [&](std::string_view bytes, std::string_view first_cell) {
        std::vector<std::string> const cells = CellsIn(bytes, used_key);
        int const id = WholeNumber(first_cell).value_or(-1);
        if (id < 0) return;
        auto const state = RecipientStateOf(cells[HistoryListViewer::element_state]);
        rows.all.insert(id);
        if (state == RecipientState::complete) rows.complete.insert(id);
        if (state == RecipientState::waiting && cells[HistoryListViewer::element_message_id].empty())
            rows.untouched.insert(id);
    });
    for (int const id : history.repeated_ids) {
        rows.complete.erase(id);
        rows.untouched.erase(id);
    }
    return rows;
}

// A line of an earlier version's journal: customer, letter, retry number, Message-ID and time.
void TakeLines(std::string const& text, std::vector<JournalRecord>& records) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        std::istringstream parts(line);
        std::string id, state, number, message_id, time;
        if (!std::getline(parts, id, '\t') || !std::getline(parts, state, '\t') ||
            !std::getline(parts, number, '\t') || !std::getline(parts, message_id, '\t') ||
            !std::getline(parts, time) || !WholeNumber(id) || !WholeNumber(number))
            continue;
        JournalRecord record;
        record.kind = JournalRecord::Kind::intent;
        record.customer = *WholeNumber(id);
        record.number = *WholeNumber(number);
        record.message_id = message_id.c_str();
        record.time = time.c_str();
        records.push_back(record);
        record.kind = JournalRecord::Kind::start;
        records.push_back(record);
        record.kind = JournalRecord::Kind::outcome;
        record.state = state.c_str();
        record.outcome = record.state == LetterOf(RecipientState::complete) ? Outcome::sent : Outcome::failed;
        records.push_back(record);
    }
}

struct ReadableJournal {
    std::vector<JournalRecord> records;
    std::set<int> settled;                  // whether they have the mail is known
    std::map<int, JournalRecord> attempts;  // the last intent
};

ReadableJournal ReadJournal(std::string const& path) {
    ReadableJournal journal;
    JournalContent content(path);
    if (content.GetKind() == JournalContent::Kind::lines) TakeLines(content.Bytes(), journal.records);
    if (content.GetKind() == JournalContent::Kind::records)
        content.ForEachRecord([&](JournalRecord const& record) { journal.records.push_back(record); });
    for (JournalRecord const& record : journal.records) {
        if (record.kind == JournalRecord::Kind::intent) {
            journal.settled.erase(record.customer);
            journal.attempts[record.customer] = record;
        }
        bool const known = record.kind == JournalRecord::Kind::outcome && record.outcome != Outcome::unknown;
        if (known || record.kind == JournalRecord::Kind::none) journal.settled.insert(record.customer);
    }
    return journal;
}

// With the Message-ID of the last attempt, where that is known, so that an answer can settle it.
void AddUnknown(int customer, ReadableJournal& journal) {
    JournalRecord record;
    if (auto const attempt = journal.attempts.find(customer); attempt != journal.attempts.end()) {
        record = attempt->second;
    } else {
        record.customer = customer;
        record.time = NowText();
    }
    record.kind = JournalRecord::Kind::intent;
    journal.records.push_back(record);
    record.kind = JournalRecord::Kind::start;
    journal.records.push_back(record);
    record.kind = JournalRecord::Kind::outcome;
    record.outcome = Outcome::unknown;
    record.text = "送信履歴が壊れていました";
    journal.records.push_back(record);
}

bool IsWhole(TableState const* table) {
    return table && (table->state == TableState::whole || table->state == TableState::without_record);
}

}  // namespace

std::set<int> MakeLostRecipientsUnknown(Session& session, EnvironmentState const& state, int mail) {
    TableState const *const history = state.Find(MailFile(mail, "hist")),
                            *const recipients = state.Find(MailFile(mail, "meli")),
                            *const customers = state.Find(customers_file);
    auto const journal_state = std::find_if(state.journals.begin(), state.journals.end(),
                                            [&](JournalState const& one) { return one.mail == mail; });
    bool const journal_damaged = journal_state != state.journals.end() && journal_state->damaged;
    ReadableJournal journal = ReadJournal(JournalOf(session, mail));
    HistoryRows const rows = history ? RowsOf(session, *history) : HistoryRows();
    std::set<int> lost;
    auto const add = [&](int id) {
        bool const certain = rows.complete.contains(id) || journal.settled.contains(id) ||
                             (!journal_damaged && rows.untouched.contains(id));
        if (!certain) lost.insert(id);
    };
    std::for_each(rows.all.begin(), rows.all.end(), add);
    if (recipients) std::for_each(recipients->ids.begin(), recipients->ids.end(), add);
    if (history)
        for (DamagedPlace const& place : history->readable.places)
            for (std::uint64_t const id : place.ids) lost.insert(static_cast<int>(id));
    std::size_t const rows_lost = history && history->recorded_rows.value_or(0) > rows.all.size()
                                      ? *history->recorded_rows - rows.all.size()
                                      : 0;
    if (customers && (!IsWhole(recipients) || rows_lost > lost.size()))
        std::for_each(customers->ids.begin(), customers->ids.end(), add);
    if (lost.empty() && !journal_damaged) return lost;
    JournalRecord kept;
    kept.kind = JournalRecord::Kind::run;
    kept.kept = true;
    kept.time = NowText();
    journal.records.push_back(kept);
    for (int const id : lost) AddUnknown(id, journal);
    ReplaceJournal(JournalOf(session, mail), journal.records);
    return lost;
}

}  // namespace engine
