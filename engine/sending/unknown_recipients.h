#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/environment/session.h"
#include "engine/sending/mail_history.h"

// The recipients of a mail of whom it is not known whether they got it: the run was killed, or the connection
// was lost, when the server could have taken the mail. Nobody mails them until they are settled. Every
// operation throws Failure.
namespace engine {

// Why it is not known, for display.
std::string ReasonOf(UnknownAttempt const& attempt);

// How many a stored mail has, a deleted one too.
std::size_t CountUnknown(Session& session, int mail);

// Texts UTF-8.
struct UnknownRecipient {
    int customer = -1;
    std::string address, name;
    int attempt = 1;  // which one, from 1
    std::string time, message_id;
    std::string reason;  // on one line
};
// By customer ID. Loads the customers.
std::vector<UnknownRecipient> ListUnknown(Session& session, int mail);

enum class Settlement {
    as_sent,   // they have the mail
    to_resend  // the next send mails them again
};
// Settles these customers, all unknown ones where `customers` is empty; none if one of them is not unknown.
// Result: their number. The session is one for changing.
std::size_t SettleUnknown(Session& session, int mail, std::vector<int> const& customers,
                          Settlement settlement);

}  // namespace engine
