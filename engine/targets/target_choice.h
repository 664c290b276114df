#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/targets/conditions.h"
#include "engine/targets/target.h"

// Choosing and showing the recipients of a mail. All texts UTF-8; every operation throws Failure, and what
// changes then leaves conditions and recipients as they were. Those of a deleted mail can be seen and not
// changed.
namespace engine {

// Choose among the present customers. The session is one for changing.
//
// By new conditions, which replace those of the mail; without any, all who accept direct mail.
Choice SelectTargets(Session& session, int mail, std::vector<StatedCondition> const& conditions);
// By the conditions that the mail has.
Choice SelectTargetsAgain(Session& session, int mail);
// No conditions and no recipients.
void ClearTargets(Session& session, int mail);

// A line for each tab of conditions.
std::vector<std::string> ConditionsOf(Session& session, int mail);

struct Recipient {
    int customer;
    std::string address, name, company;
};
struct RecipientList {
    std::vector<Recipient> recipients;  // in the order of the list
    std::size_t total;                  // with those beyond the limit
    std::size_t unknown;                // not in the customer table, and not in `total`: not sent to
};
// The first `limit` recipients; 0: all.
RecipientList ListRecipients(Session& session, int mail, int limit);

}  // namespace engine
