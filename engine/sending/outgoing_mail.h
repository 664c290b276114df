#pragma once

#include <vector>

#include "engine/mails/merged_mail.h"
#include "tessaly/delivery.h"

// One recipient's mail, as a client for outgoing mail takes it.
namespace engine {

struct OutgoingMail {
    CString header;  // lines, CR LF between them
    MimeMail content;
    std::vector<CString> const* attachments;  // finished parts
    CString recipient, message_id;
};

// The header of a mailing, its lines in their order on the wire. Every mail has a List-Unsubscribe (RFC 2369
// 3.2), and a request for a receipt (RFC 8098 2.1) where `content` has it.
class HeaderTemplate {
  public:
    HeaderTemplate(Mailbox const& from, MailContent const& content);
    CString For(Mailbox const& to, CString const& subject) const;

  private:
    CString front_, back_;  // before and behind the lines that differ by recipient
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
