#include "engine/sending/mail_history.h"

#include <fstream>
#include <string_view>

#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/mails/mail_store.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr char const* history_name = "送信履歴";

void ReadRows(Session& session, int mail, HistoryListViewer& rows) {
    rows.SetEnvManager(&session.Environment());
    rows.SetSystemOption(&session.Options());
    rows.SetDatabaseEdit(&session.CustomerTable());
    rows.SetMailListViewer(&session.Mails());
    if (rows.SetMailID(mail, HistoryListViewer::check_mail) < 0)
        throw Failure(Failure::operation_failed, TextOf(rows.GetErrMsg()));
    int const result = rows.GetHDataFromFileToMemory(EnvManager::use_own_key, nullptr);
    if (result < 0 && result != HistoryListViewer::file_missing && result != HistoryListViewer::file_empty)
        throw Failure(Failure::damaged_file,
                      "送信履歴を読めません: " + NameOfMail(session, mail) + "\n" + TextOf(rows.GetErrMsg()));
    RequireWhole(rows, history_name, session.DataDirectory() + "/" + MailFile(mail, "hist"));
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
void ApplyLines(std::string const& path, HistoryListViewer& rows) {
    std::ifstream journal(path, std::ios::binary);
    std::string line;
    RowChange change;
    while (std::getline(journal, line) && !journal.eof())
        if (Read(line, change)) Apply(rows, change);
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

MailHistory::MailHistory(Session& session, int mail) {
    ReadRows(session, mail, rows_);
    ApplyLines(JournalOf(session, mail), rows_);
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
