#include "engine/sending/send_history.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/mails/mail_store.h"
#include "tessaly/text.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr auto between_saves = std::chrono::seconds(4);
constexpr int letters_only = 0;  // a status that is none is refused
constexpr char const* history_name = "送信履歴";

std::string JournalOf(Session& session, int mail) {
    return session.DataDirectory() + "/" + MailFolder(mail) + "/hist" + std::to_string(mail) + ".journal";
}

// What an attempt makes of a row; on disk one line, the parts divided by tabs.
struct Entry {
    int id = 0;
    CString state;
    int retry_number = 0;
    CString message_id;
    CString date;
};

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

bool Read(std::string_view line, Entry& entry) {
    std::string_view state, message_id, date;
    if (!TakeNumber(line, entry.id) || !TakePart(line, state) || !TakeNumber(line, entry.retry_number) ||
        !TakePart(line, message_id) || !TakePart(line, date) || date.size() != text::date_data_size - 1)
        return false;
    entry.state = CString(state);
    entry.message_id = CString(message_id);
    entry.date = CString(date);
    return true;
}

std::string LineOf(Entry const& entry) {
    return std::to_string(entry.id) + "\t" + std::string(entry.state.View()) + "\t" +
           std::to_string(entry.retry_number) + "\t" + std::string(entry.message_id.View()) + "\t" +
           std::string(entry.date.View()) + "\n";
}

void Apply(HistoryListViewer& history, Entry& entry) {
    COleDateTime date = Convert_DateData2COleDateTime(entry.date);
    history.TransferState(entry.id, entry.state, HistoryListViewer::transfer_store);
    history.TransferRetryNum(entry.id, entry.retry_number, HistoryListViewer::transfer_store);
    history.TransferMessageID(entry.id, entry.message_id, HistoryListViewer::transfer_store);
    history.TransferLastSendDate(entry.id, date, HistoryListViewer::transfer_store);
}

// A last line that is incomplete, since its process was killed, is ignored.
void ApplyJournal(std::string const& path, HistoryListViewer& history) {
    std::ifstream journal(path, std::ios::binary);
    std::string line;
    Entry entry;
    while (std::getline(journal, line) && !journal.eof())
        if (Read(line, entry)) Apply(history, entry);
}

}  // namespace

void LoadHistory(Session& session, int mail, HistoryListViewer& history) {
    history.SetEnvManager(&session.Environment());
    history.SetSystemOption(&session.Options());
    history.SetDatabaseEdit(&session.CustomerTable());
    history.SetMailListViewer(&session.Mails());
    if (history.SetMailID(mail, HistoryListViewer::check_mail) < 0)
        throw Failure(Failure::operation_failed, TextOf(history.GetErrMsg()));
    int const result = history.GetHDataFromFileToMemory(EnvManager::use_own_key, nullptr);
    if (result < 0 && result != HistoryListViewer::file_missing && result != HistoryListViewer::file_empty)
        throw Failure(Failure::damaged_file, "送信履歴を読めません: " + NameOfMail(session, mail) + "\n" +
                                                 TextOf(history.GetErrMsg()));
    RequireWhole(history, history_name, session.DataDirectory() + "/" + MailFile(mail, "hist"));
    ApplyJournal(JournalOf(session, mail), history);
}

SendHistory::SendHistory(Session& session, int mail)
    : session_(session),
      mail_(mail),
      lock_(session.DataDirectory() + "/" + MailFolder(mail), "このメール"),
      retry_(session) {
    LoadHistory(session_, mail_, history_);
}

SendHistory::~SendHistory() { StopSaving(); }

void SendHistory::Begin(std::vector<int> const& ids) {
    HistorySet row;
    row.State = LetterOf(RecipientState::waiting);
    row.RetryNumber = HistoryListViewer::not_attempted;
    row.OpenFlag = "N";
    for (int const id : ids) {
        row.CustomerID = id;
        if (history_.DBID2RowNumber(id) < 0 && history_.SetHDataFromStructToMemory(row) < 0)
            throw Failure(Failure::operation_failed, "送信履歴を作れません: " + TextOf(history_.GetErrMsg()));
    }
    Save();
    journal_.open(JournalOf(session_, mail_), std::ios::binary | std::ios::trunc);
    if (!journal_) throw Failure(Failure::not_written, "送信履歴を書けません: " + JournalOf(session_, mail_));
    saver_ = std::thread([this] { SaveNowAndThen(); });
}

void SendHistory::Record(Delivery const& delivery) {
    if (!delivery.attempted) return;
    std::lock_guard guard(rows_lock_);
    if (!trouble_.empty()) throw Failure(Failure::not_written, trouble_);
    Entry entry{delivery.id, {}, 0, delivery.message_id, NowText()};
    history_.TransferRetryNum(entry.id, entry.retry_number, HistoryListViewer::transfer_read);
    ++entry.retry_number;
    entry.state = LetterOf(delivery.outcome == Outcome::sent ? RecipientState::complete
                                                             : retry_.AfterFailure(entry.retry_number));
    Apply(history_, entry);
    changed_ = true;
    journal_ << LineOf(entry) << std::flush;
    if (!journal_) throw Failure(Failure::not_written, "送信履歴を書けません: " + JournalOf(session_, mail_));
}

// The rows share their texts with the copy, so that sending waits for the copy only, not for the disk.
void SendHistory::Save() {
    BaseRecordStructer rows;
    {
        std::lock_guard guard(rows_lock_);
        rows = history_;  // NOLINT(cppcoreguidelines-slicing)
        changed_ = false;
    }
    session_.SaveTable(MailFile(mail_, "hist"), history_name, [&](CString const& path, char const* key) {
        return rows.SaveCSVFileCompel(path, key) == 1;
    });
}

void SendHistory::SaveNowAndThen() {
    std::unique_lock lock(rows_lock_);
    while (!wake_.wait_for(lock, between_saves, [this] { return stop_; })) {
        if (!changed_) continue;
        lock.unlock();
        std::string trouble;
        try {
            Save();
        } catch (std::exception const& failure) {
            trouble = failure.what();
        }
        lock.lock();
        trouble_ = trouble;
    }
}

void SendHistory::StopSaving() {
    if (!saver_.joinable()) return;
    {
        std::lock_guard guard(rows_lock_);
        stop_ = true;
    }
    wake_.notify_all();
    saver_.join();
}

void SendHistory::End() {
    StopSaving();
    Save();
    journal_.close();
    fs::remove(JournalOf(session_, mail_));
}

void PutInList(Session& session, int mail, MailStatus status, HistoryListViewer& history,
               std::initializer_list<MailStatus> staying) {
    int sent = 0, errors = 0, opened = 0, total = 0;
    history.GetNumOneMail(sent, errors, opened, total);
    session.ChangeMails([&](CMailListViewer& mails) {
        COneMailData row;
        if (mails.GetMailData(mail, row) < 0) return;
        auto const present = MailStatusOf(row.GetStatus().View());
        bool const stays = present && std::find(staying.begin(), staying.end(), *present) != staying.end();
        if (!stays) row.SetStatus(LetterOf(status), letters_only);
        row.SetSentNumber(sent);
        row.SetErrorNumber(errors);
        row.SetOpenNumber(opened);
        mails.SetMailData(row);
    });
}

MailStatus StatusAfter(HistoryListViewer& history) {
    CArray<HistorySet, HistorySet> rows;
    history.GetHDataFromMemoryToStruct(rows, HistoryListViewer::all_rows, HistoryListViewer::all_rows);
    MailStatus status = MailStatus::complete;
    for (HistorySet const& row : rows) {
        auto const state = RecipientStateOf(row.State.View());
        if (state == RecipientState::waiting) return MailStatus::waiting;
        if (state == RecipientState::failed) status = MailStatus::with_errors;
    }
    return status;
}

}  // namespace engine
