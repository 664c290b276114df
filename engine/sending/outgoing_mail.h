#pragma once

#include <vector>

#include "engine/mails/mail_content.h"
#include "tessaly/delivery.h"

// One recipient's mail, from the content of a mailing to what a client for outgoing mail is given.
namespace engine {

struct OutgoingMail {
    std::vector<CString> header;  // lines
    CString type, subtype, parameters, body;
    std::vector<CString> const* attachments;  // finished parts
    CString recipient, message_id;
};

// The header lines of a mail, in their order on the wire. Who does not want more mail can say so with the
// List-Unsubscribe of every mail (RFC 2369 3.2); a receipt (RFC 8098 2.1) is asked for by `content`.
std::vector<CString> HeaderLines(Mailbox const& from, MailContent const& content, Mailbox const& to,
                                 CString const& subject);

// The mail that `customer` gets. `content` must stay as long as the mail is used.
OutgoingMail MailTo(OneCustomer const& customer, MailContent const& content, Mailbox const& from,
                    CString const& message_id);

// Makes it the mail that the client sends next.
void Fill(MailSend& client, OutgoingMail const& mail);

}  // namespace engine
