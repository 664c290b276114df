#include "engine/sending/send_history.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/mails/mail_store.h"

namespace engine {
namespace {

using Kind = JournalRecord::Kind;

constexpr auto between_saves = std::chrono::seconds(4);
constexpr std::size_t longest_status = 16;  // of RFC 3463
constexpr int letters_only = 0;             // a status that is none is refused
constexpr char const* history_name = "送信履歴";

}  // namespace

SendHistory::SendHistory(Session& session, int mail, MailLock::For use)
    : MailLock(session, mail, use),
      MailHistory(session, mail),
      session_(session),
      mail_(mail),
      retry_(session) {
    if (IsDamaged()) Damaged(history_name, JournalOf(session, mail));
    if (FileState() == Wholeness::other)
        throw Failure(Failure::damaged_file,
                      "送信履歴が書いたときと違うので、2度届く人がないように、送信しません: " +
                          session.DataDirectory() + "/" + MailFile(mail, "hist") + "\n「tessaly env check " +
                          session.EnvFile() + "」で確かめ、「tessaly env repair " + session.EnvFile() +
                          "」で認めると、送れるようになります。",
                      {.file = session.DataDirectory() + "/" + MailFile(mail, "hist")});
}

SendHistory::~SendHistory() { StopSaving(); }

void SendHistory::SettleAsSent(int customer) {
    auto const found = unknown_.find(customer);
    if (found == unknown_.end()) return;
    UnknownAttempt const& attempt = found->second;
    RowChange change{customer, LetterOf(RecipientState::complete), attempt.number, attempt.message_id,
                     attempt.time};
    Apply(rows_, change);
    replies_.erase(customer);
    unknown_.erase(found);
}

void SendHistory::MailAgain(int customer) { unknown_.erase(customer); }

void SendHistory::Return(int customer, RecipientState after, LastReply const& reply) {
    CString state = LetterOf(after);
    rows_.TransferState(customer, state, HistoryListViewer::transfer_store);
    replies_[customer] = reply;
}

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
    journal_ = std::make_unique<SendJournal>(JournalOf(session_, mail_), KeptRecords());
    saver_ = std::thread([this] { SaveNowAndThen(); });
}

void SendHistory::Expect(std::vector<int> const& ids, std::function<CString(int id)> message_id) {
    journal_->Expect(ids.size(), [this, &ids, message_id = std::move(message_id)](std::size_t place) {
        JournalRecord intent{.kind = Kind::intent, .customer = ids[place], .time = NowText()};
        intent.message_id = message_id(intent.customer);
        std::lock_guard guard(rows_lock_);
        intent.number = NextNumber(intent.customer);
        return intent;
    });
}

void SendHistory::Start(int id) { journal_->Add({.kind = Kind::start, .customer = id}); }

void SendHistory::Record(Delivery const& delivery) {
    TellTrouble();
    if (delivery.attempted)
        Keep(delivery);
    else
        journal_->Add({.kind = Kind::none, .customer = delivery.id});
}

void SendHistory::Keep(Delivery const& delivery) {
    JournalRecord record{.kind = Kind::outcome, .customer = delivery.id, .time = NowText()};
    record.outcome = delivery.outcome;
    record.code = delivery.code;
    if (delivery.enhanced.size() <= longest_status) record.enhanced = delivery.enhanced;
    if (delivery.outcome != Outcome::sent) record.text = delivery.reply;
    std::lock_guard guard(rows_lock_);
    record.number = NextNumber(delivery.id);
    if (delivery.outcome == Outcome::unknown) {
        unknown_[delivery.id] = {record.number, delivery.message_id, record.time, record.text};
        return journal_->Add(record);
    }
    record.state = LetterOf(delivery.outcome == Outcome::sent      ? RecipientState::complete
                            : delivery.outcome == Outcome::refused ? RecipientState::failed
                                                                   : retry_.AfterFailure(record.number));
    RowChange change{delivery.id, record.state, record.number, delivery.message_id, record.time};
    Apply(rows_, change);
    changed_ = true;
    if (delivery.outcome == Outcome::sent)
        replies_.erase(delivery.id);
    else
        replies_[delivery.id] = {record.outcome, record.code, record.enhanced, record.text, record.time};
    journal_->Add(record);
}

// By the thread that has an outcome: the front end takes notices of one thread at a time.
void SendHistory::TellTrouble() {
    {
        std::lock_guard guard(rows_lock_);
        if (told_ || trouble_.empty()) return;
        told_ = true;
    }
    session_.Front().Notice(trouble_ + "\n結果は送信の記録に残しているので、送信を続けます。");
}

// The reply to an earlier attempt stands before the attempt of which nothing is known, which it does not
// settle.
std::vector<JournalRecord> SendHistory::KeptRecords() const {
    std::vector<JournalRecord> records;
    for (auto const& [customer, reply] : replies_)
        records.push_back({.kind = Kind::outcome,
                           .customer = customer,
                           .time = reply.time,
                           .outcome = reply.outcome,
                           .code = reply.code,
                           .enhanced = reply.enhanced,
                           .text = reply.text});
    for (auto const& [customer, attempt] : unknown_) {
        records.push_back({.kind = Kind::intent,
                           .customer = customer,
                           .number = attempt.number,
                           .message_id = attempt.message_id,
                           .time = attempt.time});
        records.push_back({.kind = Kind::start, .customer = customer});
        records.push_back({.kind = Kind::outcome,
                           .customer = customer,
                           .number = attempt.number,
                           .time = attempt.time,
                           .outcome = Outcome::unknown,
                           .text = attempt.reason});
    }
    if (!records.empty())
        records.insert(records.begin(), {.kind = Kind::run, .time = NowText(), .kept = true});
    return records;
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
        changed_ = changed_ || !trouble.empty();
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
    journal_.reset();
    ReplaceJournal(JournalOf(session_, mail_), KeptRecords());
}

MailResult ResultOf(int mail, MailStatus status, HistoryListViewer& history) {
    MailResult result{mail, status, 0, 0, 0};
    int total = 0;
    history.GetNumOneMail(result.sent, result.errors, result.opened, total);
    return result;
}

void PutInList(Session& session, std::vector<MailResult> const& results,
               std::initializer_list<MailStatus> staying, Session::Patience patience) {
    auto const put = [&](CMailListViewer& mails) {
        for (MailResult const& result : results) {
            COneMailData row;
            if (mails.GetMailData(result.mail, row) < 0) continue;
            auto const present = MailStatusOf(row.GetStatus().View());
            bool const stays =
                present && std::find(staying.begin(), staying.end(), *present) != staying.end();
            if (!stays) row.SetStatus(LetterOf(result.status), letters_only);
            row.SetSentNumber(result.sent);
            row.SetErrorNumber(result.errors);
            row.SetOpenNumber(result.opened);
            mails.SetMailData(row);
        }
    };
    session.ChangeMails(put, patience);
}

}  // namespace engine
