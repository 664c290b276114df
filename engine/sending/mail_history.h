#pragma once

#include <map>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/mails/states.h"
#include "engine/sending/journal_replay.h"
#include "tessaly/delivery.h"

// The send history of a stored mail: the history file, and beside it the journal, which tells what the file's
// form cannot say.
namespace engine {

// How the last attempt at a recipient failed.
struct LastReply {
    Outcome outcome = Outcome::failed;  // refused or failed
    int code = 0;                       // of the server's reply; 0: none
    std::string enhanced{};             // "5.1.1" (RFC 3463); empty: none
    std::string text{};                 // what the server or the library said; UTF-8, on one line
    CString time{};                     // "2026/11/23 10:00:00"
};

// History and journal as they are on disk, for reading. The customers are not loaded; a caller that asks the
// rows about them loads them first.
class MailHistory {
  public:
    // A mail that was never sent has no rows. Throws Failure for a history that cannot be read. A journal
    // with damage before its end is read as far as it goes, with a notice; see IsDamaged.
    MailHistory(Session& session, int mail);
    MailHistory(MailHistory const&) = delete;
    MailHistory& operator=(MailHistory const&) = delete;

    // The rows of the file, with the outcomes of a run that goes on or was killed. The row of an unknown
    // recipient is as it was before the attempt.
    HistoryListViewer& Rows() { return rows_; }
    // Of a recipient: unknown, or what the row says; without a row neither state nor letter.
    StoredState<RecipientState> StateOf(int customer);
    bool IsUnknown(int customer) const { return unknown_.contains(customer); }
    // The unknown recipients by customer ID. Nobody mails them until they are settled.
    std::map<int, UnknownAttempt> const& Unknown() const { return unknown_; }
    // Why the last attempt at a recipient failed; null where it did not, or where that is not on record.
    LastReply const* ReplyTo(int customer) const;
    // Of all, by customer ID.
    std::map<int, LastReply> const& Replies() const { return replies_; }
    // Whether the server refused the recipient for good: no later run of the mail tries again.
    bool IsRefused(int customer);
    // Whether records of the journal were lost that had been on the disk: recipients who seem to wait may
    // have the mail.
    bool IsDamaged() const { return damaged_; }
    // How the history's file compares with its record. In one that is other than recorded a letter may have
    // changed, so that nobody is mailed by it.
    Wholeness FileState() const { return wholeness_; }

  protected:
    // The retry number of a customer's next attempt.
    int NextNumber(int customer);

    HistoryListViewer rows_;
    std::map<int, UnknownAttempt> unknown_;
    std::map<int, LastReply> replies_;

  private:
    void TakeOutcome(JournalRecord const& outcome, CString const& message_id, bool in_history);

    bool damaged_ = false;
    Wholeness wholeness_ = Wholeness::without_record;
};

// What an attempt made of a row.
struct RowChange {
    int customer = 0;
    CString state;
    int number = 0;  // the retry number
    CString message_id, time;
};
void Apply(HistoryListViewer& rows, RowChange& change);

// Host path.
std::string JournalOf(Session& session, int mail);

// The status of a mail by its history: waiting, complete or with errors. An unknown recipient is an error:
// the mail does not wait for the next run.
MailStatus StatusAfter(MailHistory& history);

}  // namespace engine
