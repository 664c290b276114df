#pragma once

#include <condition_variable>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/environment/mail_lock.h"
#include "engine/environment/session.h"
#include "engine/mails/states.h"
#include "engine/sending/mail_history.h"
#include "engine/sending/mailing.h"
#include "engine/sending/retry_policy.h"
#include "engine/sending/send_journal.h"
#include "tessaly/delivery.h"

// The send history of a stored mail, kept up to date while it is being sent.
namespace engine {

// What the list of mails shows of a mail's history.
struct MailResult {
    int mail;
    MailStatus status;
    int sent, errors, opened;
};
MailResult ResultOf(int mail, MailStatus status, HistoryListViewer& history);
// Writes the list once for all of them. A mail whose status is one of `staying` keeps it.
void PutInList(Session& session, std::vector<MailResult> const& results,
               std::initializer_list<MailStatus> staying = {MailStatus::deleted},
               Session::Patience patience = Session::Patience::brief);

// The history of a mail, to be changed; of a run, what keeps its intents and outcomes. The journal has each
// of them in time (SendJournal), so that nobody gets the mail twice however the run ends; the history file is
// saved every few seconds, and at the end. One process at a time has a mail's history.
//
// A row waits with retry number -1 before the first attempt. Every attempt raises the number by 1 and makes
// the row complete when the server took the mail, failed when it refused the recipient for good, else what
// RetryPolicy says. An attempt whose outcome is not known leaves the row as it was.
class SendHistory : private MailLock, public MailHistory, public MailIntents {
  public:
    // Throws Failure when another process has the mail, and when its history cannot be read or its journal is
    // damaged.
    SendHistory(Session& session, int mail, MailLock::For use = MailLock::For::sending);
    ~SendHistory() override;

    // Settle an unknown recipient: as one who got the mail by that attempt, or as one who is to be mailed
    // again. Nothing happens for one who is not unknown. On disk with End.
    void SettleAsSent(int customer);
    void MailAgain(int customer);

    // A mail that the server had taken came back: how its recipient's row stands after that, and why. On disk
    // with End.
    void Return(int customer, RecipientState after, LastReply const& reply);

    // Begins a run: makes rows for those who have none, writes the file, and begins the journal. Throws
    // Failure.
    void Begin(std::vector<int> const& ids);
    void Expect(std::vector<int> const& ids, std::function<CString(int id)> message_id) override;
    CString Take(std::size_t place) override { return journal_->Take(place); }
    void Start(int id) override;
    // By one thread at a time, any of them. Throws Failure when it cannot be kept. A save of the file that
    // failed is told once; the journal holds what it would have held.
    void Record(Delivery const& delivery);
    // Writes the file, and leaves of the journal what the file cannot say. Throws Failure, with the journal
    // as it was.
    void End();

  private:
    // What the file cannot say.
    std::vector<JournalRecord> KeptRecords() const;
    void Keep(Delivery const& delivery);
    void TellTrouble();
    void Save();
    void SaveNowAndThen();
    void StopSaving();

    Session& session_;
    int const mail_;
    RetryPolicy const retry_;
    std::unique_ptr<SendJournal> journal_;

    std::mutex rows_lock_;
    std::condition_variable wake_;
    bool changed_ = false, stop_ = false;
    std::string trouble_;  // why the last save failed
    bool told_ = false;
    std::thread saver_;
};

}  // namespace engine
