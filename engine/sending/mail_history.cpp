#include "engine/sending/mail_history.h"

#include <string_view>

#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/mails/mail_store.h"
#include "tessaly/text.h"

namespace engine {
namespace {

// By the list of mails.
bool HasAttempts(Session& session, int mail) {
    COneMailData row;
    return session.Mails().GetMailData(mail, row) == CMailListViewer::ok &&
           (row.GetSentNumber() > 0 || row.GetErrorNumber() > 0);
}

Wholeness ReadRows(Session& session, int mail, HistoryListViewer& rows) {
    rows.SetEnvManager(&session.Environment());
    rows.SetSystemOption(&session.Options());
    rows.SetDatabaseEdit(&session.CustomerTable());
    rows.SetMailListViewer(&session.Mails());
    if (rows.SetMailID(mail, HistoryListViewer::check_mail) < 0)
        throw Failure(Failure::operation_failed, TextOf(rows.GetErrMsg()));
    TableReading reading(session, MailFile(mail, "hist"));
    int const result = rows.GetHDataFromFileToMemory(EnvManager::use_own_key, nullptr);
    bool const nothing = result == HistoryListViewer::file_missing || result == HistoryListViewer::file_empty;
    Wholeness const wholeness = reading.End(result >= 0 || nothing, rows);
    bool const empty = rows.GetRecordNumber() == 0 && wholeness != Wholeness::as_recorded;
    if (empty && HasAttempts(session, mail)) reading.Refuse();
    return wholeness;
}

// The journal of an earlier version: a line for each attempt, its parts divided by tabs.
bool TakePart(std::string_view& line, std::string_view& part) {
    std::size_t const tab = line.find('\t');
    part = line.substr(0, tab);
    line.remove_prefix(tab == line.npos ? line.size() : tab + 1);
    return !part.empty();
}

bool TakeNumber(std::string_view& line, int& number) {
    std::string_view part;
    if (!TakePart(line, part)) return false;
    auto const whole = WholeNumber(part);
    number = whole.value_or(0);
    return whole.has_value();
}

bool Read(std::string_view line, RowChange& change) {
    std::string_view state, message_id, time;
    if (!TakeNumber(line, change.customer) || !TakePart(line, state) || !TakeNumber(line, change.number) ||
        !TakePart(line, message_id) || !TakePart(line, time) || time.size() != text::date_data_size - 1)
        return false;
    change.state = CString(state);
    change.message_id = CString(message_id);
    change.time = CString(time);
    return true;
}

// A last line that is incomplete, since its process was killed, is ignored.
void ApplyLines(std::string_view lines, HistoryListViewer& rows) {
    RowChange change;
    for (std::size_t end; (end = lines.find('\n')) != lines.npos; lines.remove_prefix(end + 1))
        if (Read(lines.substr(0, end), change)) Apply(rows, change);
}

}  // namespace

std::string JournalOf(Session& session, int mail) {
    return session.DataDirectory() + "/" + MailFolder(mail) + "/hist" + std::to_string(mail) + ".journal";
}

void Apply(HistoryListViewer& rows, RowChange& change) {
    COleDateTime date = Convert_DateData2COleDateTime(change.time);
    rows.TransferState(change.customer, change.state, HistoryListViewer::transfer_store);
    rows.TransferRetryNum(change.customer, change.number, HistoryListViewer::transfer_store);
    rows.TransferMessageID(change.customer, change.message_id, HistoryListViewer::transfer_store);
    rows.TransferLastSendDate(change.customer, date, HistoryListViewer::transfer_store);
}

// The journal first: a run that ends meanwhile saves its outcomes in the file before it drops them here.
MailHistory::MailHistory(Session& session, int mail) {
    std::string const path = JournalOf(session, mail);
    JournalContent journal(path);
    wholeness_ = ReadRows(session, mail, rows_);
    if (journal.GetKind() == JournalContent::Kind::lines) ApplyLines(journal.Bytes(), rows_);
    if (journal.GetKind() == JournalContent::Kind::records) {
        unknown_ =
            Replay(journal, PlaceOf(path), [this](auto const&... outcome) { TakeOutcome(outcome...); });
        for (auto& [customer, attempt] : unknown_)
            if (attempt.number == UnknownAttempt::no_number) attempt.number = NextNumber(customer);
    }
    damaged_ = journal.IsDamaged();
    if (damaged_) session.Front().Notice("送信の記録が壊れています。読める分だけを使います: " + path);
}

void MailHistory::TakeOutcome(JournalRecord const& outcome, CString const& message_id, bool in_history) {
    if (outcome.outcome == Outcome::sent)
        replies_.erase(outcome.customer);
    else
        replies_[outcome.customer] = {outcome.outcome, outcome.code, outcome.enhanced, outcome.text,
                                      outcome.time};
    if (in_history) return;
    RowChange change{outcome.customer, outcome.state, outcome.number, message_id, outcome.time};
    Apply(rows_, change);
}

int MailHistory::NextNumber(int customer) {
    int number = HistoryListViewer::not_attempted;
    rows_.TransferRetryNum(customer, number, HistoryListViewer::transfer_read);
    return number + 1;
}

StoredState<RecipientState> MailHistory::StateOf(int customer) {
    if (IsUnknown(customer)) return {RecipientState::unknown, {}};
    if (rows_.DBID2RowNumber(customer) < 0) return {};
    return StoredRecipientState(
        rows_.GetElementFromMemoryPinPoint(customer, HistoryListViewer::element_state));
}

LastReply const* MailHistory::ReplyTo(int customer) const {
    auto const found = replies_.find(customer);
    return found == replies_.end() ? nullptr : &found->second;
}

bool MailHistory::IsRefused(int customer) {
    LastReply const* const reply = ReplyTo(customer);
    return reply && reply->outcome == Outcome::refused && StateOf(customer) == RecipientState::failed;
}

MailStatus StatusAfter(MailHistory& history) {
    CArray<HistorySet, HistorySet> rows;
    history.Rows().GetHDataFromMemoryToStruct(rows, HistoryListViewer::all_rows, HistoryListViewer::all_rows);
    MailStatus status = MailStatus::complete;
    for (HistorySet const& row : rows) {
        auto const state =
            history.IsUnknown(row.CustomerID) ? RecipientState::unknown : RecipientStateOf(row.State.View());
        if (state == RecipientState::waiting) return MailStatus::waiting;
        if (state == RecipientState::failed || state == RecipientState::unknown)
            status = MailStatus::with_errors;
    }
    return status;
}

}  // namespace engine
