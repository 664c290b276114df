#include "engine/receiving/inbox_decision.h"

#include <algorithm>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/shown_text.h"
#include "engine/base/whole_file.h"
#include "engine/receiving/answers.h"
#include "engine/receiving/inbox.h"

namespace engine {
namespace {

Answer Refuse(Session& session, KeptMail const& kept, std::optional<int> customer) {
    Answers answers(session, true);
    std::string const text = ReadWholeFile(kept.file.string(), "受信メール");
    Answer const answer = answers.Refuse(CString(std::string_view(text)), customer);
    answers.Save();
    return answer;
}

}  // namespace

std::string Decide(Session& session, InboxDecision const& decision) {
    Inbox inbox(session.DataDirectory());
    std::vector<KeptMail> const all = inbox.Kept();
    auto const kept = std::find_if(all.begin(), all.end(),
                                   [&](KeptMail const& one) { return one.number == decision.number; });
    if (kept == all.end())
        throw Failure(Failure::received_mail_not_found,
                      "その番号の受信メールはありません: " + std::to_string(decision.number));
    Answer answer;
    answer.effect = "配信停止の申し出ではないとしました";
    if (decision.refuses) answer = Refuse(session, *kept, decision.customer);
    inbox.Record({Out(NowText()), answer.kind, answer.mail, answer.customer, ShownLine(Out(answer.from)),
                  answer.effect, kept->number});
    inbox.Save();
    return answer.customer < 0 ? answer.effect
                               : "顧客" + std::to_string(answer.customer) + ": " + answer.effect;
}

}  // namespace engine
