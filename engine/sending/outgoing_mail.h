#pragma once

#include <vector>

#include "engine/mails/merged_mail.h"
#include "tessaly/delivery.h"

// One recipient's mail, from the content of a mailing to what a client for outgoing mail is given.
namespace engine {

struct OutgoingMail {
    CString header;  // lines, CR LF between them
    MimeMail content;
    std::vector<CString> const* attachments;  // finished parts
    CString recipient, message_id;
};

// The header of a mailing, its lines in their order on the wire. Who does not want more mail can say so with
// the List-Unsubscribe of every mail (RFC 2369 3.2); a receipt (RFC 8098 2.1) is asked for by `content`.
class HeaderTemplate {
  public:
    HeaderTemplate(Mailbox const& from, MailContent const& content);
    CString For(Mailbox const& to, CString const& subject) const;

  private:
    CString front_, back_;  // of the lines that are each recipient's own
};

// A mailing's mail, made ready once.
class MailTemplate {
  public:
    // `content` must stay as long as the template and its mails are used.
    MailTemplate(MailContent const& content, Mailbox const& from);
    OutgoingMail For(OneCustomer const& customer, CString const& message_id) const;

  private:
    HeaderTemplate header_;
    ContentTemplate content_;
    CString const honorific_;
};

// Makes it the mail that the client sends next.
void Fill(MailSend& client, OutgoingMail const& mail);

}  // namespace engine
