#pragma once

#include <memory>
#include <string>

#include "engine/sending/outcome_file.h"
#include "engine/sending/send_journal.h"

namespace engine {

// What becomes of the mails of a draft: its report, and beside it, as long as the run goes on or after it was
// killed, a journal NAME.journal, so that going on with the report mails nobody who may have the mail. A
// report that is no file, but a pipe or the like, has no journal.
class DraftRecord : public MailIntents {
  public:
    // Begins a report, or with `resume` goes on with one. What the journal of a run that was killed knows
    // beyond its report, is added to it first; `fetch` gives the addresses. Throws Failure.
    DraftRecord(std::string const& report, bool resume, Mailing::Fetch const& fetch);

    // Who is not mailed again: by the report, sent, refused for good, or unknown.
    std::set<int> const& Settled() const { return settled_; }
    // Null where there is no journal.
    MailIntents* Intents() { return journal_ ? this : nullptr; }
    void Expect(std::vector<int> const& ids, std::function<CString(int id)> message_id) override;
    CString Take(std::size_t place) override { return journal_->Take(place); }
    void Start(int id) override;
    void Add(Delivery const& delivery);
    // Ends the report and removes the journal. Throws Failure.
    void End();

  private:
    void TakeOver(Mailing::Fetch const& fetch);

    std::string const journal_file_;
    OutcomeFile report_;
    std::set<int> settled_;
    std::unique_ptr<SendJournal> journal_;
};

}  // namespace engine
