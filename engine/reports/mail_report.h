#pragma once

#include <cstdint>
#include <vector>

#include "engine/environment/session.h"
#include "engine/receiving/inbox.h"

// What became of the mails of an environment, by their send histories and by what came back.
namespace engine {

struct MailCounts {
    int recipients = 0, sent = 0, errors = 0, opened = 0, waiting = 0;
};

struct MailSummary {
    int mail = -1;
    CString subject, status, changed;  // `status` as in mail_status.h, `changed` a date text
    MailCounts counts;
    int bounces = 0, refusals = 0;
};
// Every mail in the order of the list, the deleted ones only if they are asked for. Throws Failure.
std::vector<MailSummary> SummariesOfMails(Session& session, bool deleted);

struct RecipientOutcome {
    int customer = -1;
    CString address, name, state;  // `state` as in mail_status.h
    std::int64_t attempts = 0, failures = 0;
    CString opened, message_id, last_sent;  // "Y" or "N"; empty before the first attempt
};
// Of one mail, in the order of its history. Throws Failure.
struct MailOutcomes {
    std::vector<RecipientOutcome> recipients;
    MailCounts counts;
};
MailOutcomes OutcomesOfMail(Session& session, int mail);

}  // namespace engine
