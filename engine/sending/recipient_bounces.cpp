#include "engine/sending/recipient_bounces.h"

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/incoming/bounce_reason.h"

namespace engine {
namespace {

// A sentence of the library ends with the server's words, "[550 5.1.1 unknown]".
std::string_view SaidIn(std::string_view reply, int code) {
    std::size_t const begin = reply.find("[" + std::to_string(code));
    return begin == reply.npos ? reply : reply.substr(begin + 1, reply.rfind(']') - begin - 1);
}

}  // namespace

std::optional<Bounce> BounceOf(AnswerKind kind) {
    switch (kind) {
        case AnswerKind::hard: return Bounce::hard;
        case AnswerKind::soft:
        case AnswerKind::mailbox_full: return Bounce::soft;
        default: return {};
    }
}

std::optional<Bounce> BounceOf(int code, std::string_view enhanced, std::string_view text) {
    return BounceOf(ReasonOf({std::string(enhanced), code}, SaidIn(text, code), {}).kind);
}

void RecipientBounces::Take(MailHistory const& history) {
    for (auto const& [customer, reply] : history.Replies()) {
        if (reply.outcome != Outcome::refused || reply.code == 0) continue;
        std::optional<Bounce> const bounce = BounceOf(reply.code, reply.enhanced, reply.text);
        OneCustomer row;
        if (!bounce || session_.Customers().GetOneCustomerForEdit(row, customer) < 0) continue;
        std::string const time = Out(reply.time), changed = Out(DateText(row.RenewalDate));
        if (!row.Email.IsEmpty() && changed <= time)
            refused_.push_back({Out(row.Email), *bounce, reply.text, time});
    }
}

void RecipientBounces::Take(Delivery const& delivery) {
    if (delivery.outcome != Outcome::refused || delivery.code == 0) return;
    if (auto const bounce = BounceOf(delivery.code, delivery.enhanced, delivery.reply))
        refused_.push_back({Out(delivery.address), *bounce, delivery.reply, Out(NowText())});
}

void RecipientBounces::Save() {
    if (refused_.empty()) return;
    std::size_t suspended = 0;
    auto const count = [&] {
        Suspensions list(session_);
        std::size_t const before = list.Size();
        for (Refused const& one : refused_)
            list.CountBounce(one.address, mail_, one.bounce, one.time, one.text);
        suspended = list.Size() - before;
        list.Save();
    };
    try {
        session_.WhileOthersWait(count, Session::Patience::endless);
    } catch (Failure const& failure) {
        if (failure.GetKind() != Failure::stopped) throw;
        return;
    }
    refused_.clear();
    if (suspended > 0)
        session_.Front().Notice("届かないので、これから送るのを止めた宛先 " + Grouped(suspended) +
                                "件 (「tessaly suppressed list」で見られます)");
}

}  // namespace engine
