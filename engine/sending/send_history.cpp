#include "engine/sending/send_history.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/mails/mail_store.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr auto between_saves = std::chrono::seconds(4);
constexpr int letters_only = 0;  // a status that is none is refused
constexpr char const* history_name = "送信履歴";

std::string LineOf(RowChange const& entry) {
    return std::to_string(entry.customer) + "\t" + std::string(entry.state.View()) + "\t" +
           std::to_string(entry.number) + "\t" + std::string(entry.message_id.View()) + "\t" +
           std::string(entry.time.View()) + "\n";
}

}  // namespace

SendHistory::SendHistory(Session& session, int mail, MailLock::For use)
    : MailLock(session, mail, use),
      MailHistory(session, mail),
      session_(session),
      mail_(mail),
      retry_(session) {
    if (IsDamaged()) Damaged(history_name, JournalOf(session, mail));
}

SendHistory::~SendHistory() { StopSaving(); }

void SendHistory::SettleAsSent(int customer) {
    auto const found = unknown_.find(customer);
    if (found == unknown_.end()) return;
    UnknownAttempt const& attempt = found->second;
    RowChange change{customer, LetterOf(RecipientState::complete), attempt.number, attempt.message_id,
                     attempt.time};
    Apply(rows_, change);
    unknown_.erase(found);
}

void SendHistory::MailAgain(int customer) { unknown_.erase(customer); }

void SendHistory::Begin(std::vector<int> const& ids) {
    HistorySet row;
    row.State = LetterOf(RecipientState::waiting);
    row.RetryNumber = HistoryListViewer::not_attempted;
    row.OpenFlag = "N";
    for (int const id : ids) {
        row.CustomerID = id;
        if (rows_.DBID2RowNumber(id) < 0 && rows_.SetHDataFromStructToMemory(row) < 0)
            throw Failure(Failure::operation_failed, "送信履歴を作れません: " + TextOf(rows_.GetErrMsg()));
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
    RowChange entry{delivery.id, {}, 0, delivery.message_id, NowText()};
    rows_.TransferRetryNum(entry.customer, entry.number, HistoryListViewer::transfer_read);
    ++entry.number;
    entry.state = LetterOf(delivery.outcome == Outcome::sent ? RecipientState::complete
                                                             : retry_.AfterFailure(entry.number));
    Apply(rows_, entry);
    changed_ = true;
    journal_ << LineOf(entry) << std::flush;
    if (!journal_) throw Failure(Failure::not_written, "送信履歴を書けません: " + JournalOf(session_, mail_));
}

// The rows share their texts with the copy, so that sending waits for the copy only, not for the disk.
void SendHistory::Save() {
    BaseRecordStructer rows;
    {
        std::lock_guard guard(rows_lock_);
        rows = rows_;  // NOLINT(cppcoreguidelines-slicing)
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

}  // namespace engine
