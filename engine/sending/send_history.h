#pragma once

#include <atomic>
#include <condition_variable>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "engine/environment/session.h"
#include "engine/mails/states.h"
#include "engine/sending/mailing.h"
#include "engine/sending/retry_policy.h"
#include "tessaly/delivery.h"

// The send history of a stored mail, kept up to date while it is being sent.
namespace engine {

// Binds `history` and reads it, with what a run that is going on or was killed has left in its journal. A
// mail that was never sent has no rows. The customers are not loaded; a caller that asks the history about
// them loads them first. Throws Failure for a damaged file.
void LoadHistory(Session& session, int mail, HistoryListViewer& history);

// The status of a mail by its history: waiting, complete or with errors.
MailStatus StatusAfter(HistoryListViewer& history);
// Status and counts into the list of mails. A mail whose status is one of `staying` keeps it.
void PutInList(Session& session, int mail, MailStatus status, HistoryListViewer& history,
               std::initializer_list<MailStatus> staying = {MailStatus::deleted});

// The history of a mail during a run. Each outcome is in the journal beside the history file when Record
// returns, so that no customer gets the mail twice even if the process is killed; the file itself is saved
// every few seconds, and at the end. One run at a time has a mail's history.
//
// A row waits with retry number -1 before the first attempt. Every attempt raises the number by 1 and makes
// the row complete when the server took the mail, else what RetryPolicy says.
class SendHistory {
  public:
    // Throws Failure when another run has the mail, or its history cannot be read.
    SendHistory(Session& session, int mail);
    ~SendHistory();
    SendHistory(SendHistory const&) = delete;
    SendHistory& operator=(SendHistory const&) = delete;

    HistoryListViewer& Rows() { return history_; }
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
    FolderLock const lock_;
    HistoryListViewer history_;
    RetryPolicy const retry_;
    std::ofstream journal_;

    std::mutex rows_lock_;
    std::condition_variable wake_;
    bool changed_ = false, stop_ = false;
    std::string trouble_;  // why the last save failed
    std::thread saver_;
};

}  // namespace engine
