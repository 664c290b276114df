#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/mails/states.h"
#include "engine/receiving/inbox.h"

// The results of the mails of an environment, by their send histories and the answers to them. Texts UTF-8.
namespace engine {

// Of a mail: people, each in one of `sent` to `waiting`.
struct MailCounts {
    int recipients = 0;
    int sent = 0;          // the server took the mail, and it did not come back
    int no_mailbox = 0;    // failed: the address does not work
    int other_errors = 0;  // failed for another reason
    int unknown = 0, waiting = 0;
    int opened = 0;
    std::int64_t attempts = 0;
};

struct MailSummary {
    int mail = -1;
    std::string subject;
    StoredState<MailStatus> status;
    std::string changed;  // date and time of the last change
    MailCounts counts;
    int refusals = 0;  // people
};
// Every mail in the order of the list, the deleted ones only with `deleted`. Throws Failure.
std::vector<MailSummary> SummariesOfMails(Session& session, bool deleted);

struct RecipientOutcome {
    int customer = -1;
    std::string address, name;
    StoredState<RecipientState> state;
    std::int64_t attempts = 0, failures = 0;
    std::string opened;  // "Y" or "N", as the history holds it
    std::string message_id;
    std::string last_sent;  // date and time; empty before the first attempt
    // Why the last attempt failed, or is unknown; empty where that is not on record.
    std::string code;    // of the reply, "550 5.1.1"
    std::string reason;  // on one line
};
// Of one mail, in the order of its history. Throws Failure.
struct MailOutcomes {
    std::vector<RecipientOutcome> recipients;
    MailCounts counts;
};
MailOutcomes OutcomesOfMail(Session& session, int mail);

}  // namespace engine
