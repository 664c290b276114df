#include "engine/sending/journal_replay.h"

#include <utility>

namespace engine {
namespace {

// The mails without an outcome, while the records go by.
class OpenMails {
  public:
    OpenMails(RunPlace const& here, OnOutcome const& on_outcome) : here_(here), on_outcome_(on_outcome) {}

    void Take(JournalRecord const& record) {
        using Kind = JournalRecord::Kind;
        switch (record.kind) {
            case Kind::run:
                kept_ = record.kept;
                only_killed_ = record.place.IsSame(here_);
                break;
            case Kind::group: break;
            case Kind::intent:
                mails_[record.customer] = {
                    {record.number, record.message_id, record.time}, false, !only_killed_};
                break;
            case Kind::start: mails_[record.customer].started = true; break;
            case Kind::none: mails_.erase(record.customer); break;
            case Kind::outcome: TakeOutcome(record);
        }
    }

    // A mail whose start is not on record was not sent, if no record can have been lost.
    std::map<int, UnknownAttempt> End(bool may_lack_records) {
        std::map<int, UnknownAttempt> unknown;
        for (auto& [customer, mail] : mails_)
            if (mail.started || mail.may_have_started || may_lack_records)
                unknown[customer] = std::move(mail.attempt);
        return unknown;
    }

  private:
    struct Mail {
        UnknownAttempt attempt;
        bool started = false, may_have_started = false;
    };

    void TakeOutcome(JournalRecord const& record) {
        auto const [place, is_new] = mails_.try_emplace(record.customer);
        Mail& mail = place->second;
        if (record.outcome == Outcome::unknown) {
            mail.started = true;
            mail.attempt.reason = record.text;
            return;
        }
        on_outcome_(record, mail.started ? mail.attempt.message_id : CString(), kept_);
        mails_.erase(place);
    }

    RunPlace const& here_;
    OnOutcome const& on_outcome_;
    std::map<int, Mail> mails_;
    bool kept_ = false, only_killed_ = false;
};

}  // namespace

std::map<int, UnknownAttempt> Replay(JournalContent& journal, RunPlace const& here,
                                     OnOutcome const& on_outcome) {
    OpenMails mails(here, on_outcome);
    journal.ForEachRecord([&](JournalRecord const& record) { mails.Take(record); });
    return mails.End(journal.IsIrregular());
}

}  // namespace engine
