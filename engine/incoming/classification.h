#pragma once

#include <cstddef>
#include <string>

#include "engine/incoming/incoming_mail.h"
#include "engine/mails/states.h"

namespace engine {

// What a received mail is, by itself.
struct Classification {
    AnswerKind kind = AnswerKind::other;
    std::string status;  // of a delivery, "5.1.1" (RFC 3463); empty for none
    int reply = 0;       // of the server, 550 (RFC 5321); 0 for none
    std::string text;    // what the server said, UTF-8, on one line; empty for none
    std::string
        decided_by;  // "Action: delayed", "5.1.1", "550", the words, the name of a field; empty for other
};

// Judges one message of a mail: the mail itself, or one that a digest holds. Reports decide by their parts
// (RFC 3464, 5965, 8098); a bounce without them must come from a mail system. What a person writes is never a
// bounce, whatever it quotes. A bounce is told by its status, then by its reply code, then by its words.
// Neither refusal, unclear_refusal, registration nor unreadable is ever the result.
// Time is linear in the start of the texts that is read; any number of threads may call it.
Classification Classify(IncomingMail const& mail, std::size_t message = 0);

}  // namespace engine
