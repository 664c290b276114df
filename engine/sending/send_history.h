#pragma once

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <initializer_list>
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
#include "tessaly/delivery.h"

// The send history of a stored mail, kept up to date while it is being sent.
namespace engine {

// Status and counts into the list of mails. A mail whose status is one of `staying` keeps it.
void PutInList(Session& session, int mail, MailStatus status, HistoryListViewer& history,
               std::initializer_list<MailStatus> staying = {MailStatus::deleted});

// The history of a mail, to be changed. Each outcome is in the journal beside the history file when Record
// returns, so that no customer gets the mail twice even if the process is killed; the file itself is saved
// every few seconds, and at the end. One run at a time has a mail's history.
//
// A row waits with retry number -1 before the first attempt. Every attempt raises the number by 1 and makes
// the row complete when the server took the mail, else what RetryPolicy says.
class SendHistory : private MailLock, public MailHistory {
  public:
    // Throws Failure when another run has the mail, and when its history cannot be read or its journal is
    // damaged.
    SendHistory(Session& session, int mail, MailLock::For use = MailLock::For::sending);
    ~SendHistory();

    // Settle an unknown recipient: as one who got the mail by that attempt, or as one who is to be mailed
    // again. Nothing happens for one who is not unknown. On disk with End.
    void SettleAsSent(int customer);
    void MailAgain(int customer);
    // Makes rows for those who have none, writes the file, and begins the journal. Throws Failure.
    void Begin(std::vector<int> const& ids);
    // By one thread at a time, any of them. Throws Failure when it cannot be kept.
    void Record(Delivery const& delivery);
    // Writes the file and ends the journal. Throws Failure.
    void End();

  private:
    void Save();
    void SaveNowAndThen();
    void StopSaving();

    Session& session_;
    int const mail_;
    RetryPolicy const retry_;
    std::ofstream journal_;

    std::mutex rows_lock_;
    std::condition_variable wake_;
    bool changed_ = false, stop_ = false;
    std::string trouble_;  // why the last save failed
    std::thread saver_;
};

}  // namespace engine
