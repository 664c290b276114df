#include "engine/targets/target_choice.h"

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/full_name.h"
#include "engine/environment/listed_mail.h"

namespace engine {
namespace {

Choice ChooseAndStore(Session& session, int mail, ExtractAction& set) {
    ExtractResultDetail list;
    ChooseRecipients(session, mail, set, list);
    StoreTarget(session, mail, set, list);
    return ChoiceOf(session, list);
}

}  // namespace

Choice SelectTargets(Session& session, int mail, std::vector<StatedCondition> const& conditions) {
    RequireMail(session, mail);
    Elements const elements(session);
    ExtractAction set;
    MakeEmptyConditions(session, set);
    FillConditions(elements, conditions, set);
    return ChooseAndStore(session, mail, set);
}

Choice SelectTargetsAgain(Session& session, int mail) {
    RequireMail(session, mail);
    ExtractAction set;
    LoadConditions(session, {TargetOwner::mail, mail}, set);
    // Without conditions everyone is chosen; a list that is not empty shows that this was intended.
    if (!HasConditions(set) && RecipientCount(session, mail) == 0)
        throw Failure(Failure::no_conditions,
                      "まだ条件がありません。--where で条件を書くか、--all で全員を選んでください。");
    return ChooseAndStore(session, mail, set);
}

void ClearTargets(Session& session, int mail) {
    RequireMail(session, mail);
    ExtractAction set;
    MakeEmptyConditions(session, set);
    ExtractResultDetail list;
    MakeEmptyRecipients(list);
    StoreTarget(session, mail, set, list);
}

std::vector<std::string> ConditionsOf(Session& session, int mail) {
    RequireMail(session, mail, Deleted::allow);
    ExtractAction set;
    LoadConditions(session, {TargetOwner::mail, mail}, set);
    return DescribeConditions(Elements(session), set);
}

RecipientList ListRecipients(Session& session, int mail, int limit) {
    RequireMail(session, mail, Deleted::allow);
    ExtractResultDetail list;
    LoadRecipients(session, {TargetOwner::mail, mail}, list);
    int unknown = 0;
    std::vector<ERDetailPlusDB> const entries = EntriesOf(session, mail, limit, list, unknown);
    RecipientList result{
        {}, static_cast<std::size_t>(list.GetRecordNumber()), static_cast<std::size_t>(unknown)};
    result.recipients.reserve(entries.size());
    for (ERDetailPlusDB const& entry : entries)
        result.recipients.push_back({entry.CustomerID, Out(entry.Email),
                                     Out(FullName(entry.KanjiSei, entry.KanjiMei)), Out(entry.Company)});
    return result;
}

}  // namespace engine
