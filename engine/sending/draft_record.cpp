#include "engine/sending/draft_record.h"

#include <filesystem>
#include <utility>

#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/sending/journal_replay.h"

namespace engine {
namespace {

using Kind = JournalRecord::Kind;

constexpr char const* ended_early = "前の送信が途中で終わりました";

}  // namespace

DraftRecord::DraftRecord(std::string const& report, bool resume, Mailing::Fetch const& fetch)
    : journal_file_(std::filesystem::absolute(report).string() + ".journal"),
      report_(report, resume),
      settled_(report_.Settled()) {
    if (!report_.IsRegular()) return;
    if (resume) TakeOver(fetch);
    journal_ = std::make_unique<SendJournal>(journal_file_, std::vector<JournalRecord>());
}

void DraftRecord::TakeOver(Mailing::Fetch const& fetch) {
    JournalContent journal(journal_file_);
    std::map<int, Delivery> found;
    auto const unknown = Replay(
        journal, PlaceOf(journal_file_), [&](JournalRecord const& outcome, CString const& message_id, bool) {
            found.insert_or_assign(outcome.customer,
                                   Delivery{outcome.customer, {}, outcome.outcome, outcome.text, message_id});
        });
    if (journal.IsDamaged())
        throw Failure(Failure::damaged_file, "送信の記録が壊れているので、続きを送れません: " + journal_file_,
                      {.file = journal_file_});
    for (auto const& [customer, attempt] : unknown)
        found.insert_or_assign(customer, Delivery{customer,
                                                  {},
                                                  Outcome::unknown,
                                                  attempt.reason.empty() ? ended_early : attempt.reason,
                                                  attempt.message_id});
    for (auto& [customer, delivery] : found) {
        if (delivery.outcome == Outcome::failed || !settled_.insert(customer).second) continue;
        OneCustomer known;
        static_cast<void>(fetch(customer, known));
        delivery.address = known.Email;
        report_.Add(delivery);
    }
    report_.End();
}

void DraftRecord::Expect(std::vector<int> const& ids, std::function<CString(int id)> message_id) {
    journal_->Expect(ids.size(), [&ids, message_id = std::move(message_id)](std::size_t place) {
        JournalRecord intent{.kind = Kind::intent, .customer = ids[place], .time = NowText()};
        intent.message_id = message_id(intent.customer);
        return intent;
    });
}

void DraftRecord::Start(int id) { journal_->Add({.kind = Kind::start, .customer = id}); }

void DraftRecord::Add(Delivery const& delivery) {
    if (journal_ && delivery.attempted)
        journal_->Add({.kind = Kind::outcome,
                       .customer = delivery.id,
                       .time = NowText(),
                       .outcome = delivery.outcome,
                       .code = delivery.code,
                       .text = delivery.reply});
    else if (journal_)
        journal_->Add({.kind = Kind::none, .customer = delivery.id});
    if (delivery.course != Delivery::cut_off) report_.Add(delivery);
}

void DraftRecord::End() {
    report_.End();
    if (!journal_) return;
    journal_.reset();
    ReplaceJournal(journal_file_, {});
}

}  // namespace engine
