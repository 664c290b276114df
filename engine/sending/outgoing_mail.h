#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/incoming/own_id.h"
#include "engine/mails/merged_mail.h"
#include "tessaly/delivery.h"

// One recipient's mail, as a client for outgoing mail takes it.
namespace engine {

struct OutgoingMail {
    CString header;  // lines, CR LF between them
    MimeMail content;
    std::vector<CString> const* attachments;  // finished parts
    CString sender;                           // of the envelope
    CString recipient, message_id;
};

// How answers lead back to the mail and the customer.
struct WayBack {
    IdSigner signer{};
    CString
        return_address{};  // sender of the envelope, "bounce+*@example.jp" with a token for "*"; empty: From
};

// The header of a mailing, its lines in their order on the wire. Every mail has a List-Unsubscribe (RFC 2369
// 3.2), and a request for a receipt (RFC 8098 2.1) where `content` has it.
class HeaderTemplate {
  public:
    HeaderTemplate(Mailbox const& from, MailContent const& content);
    // `token`: for the subject and the body of the request to unsubscribe; empty for none.
    CString For(Mailbox const& to, CString const& subject, std::string const& token = {}) const;

  private:
    CString front_, unsubscribe_, back_;  // before and behind what differs by recipient
};

// A mailing's mail, made ready once.
class MailTemplate {
  public:
    // `content` must stay as long as the template and its mails are used. Without a number of a mail in it,
    // `way_back` does nothing.
    MailTemplate(MailContent const& content, Mailbox const& from, WayBack way_back = {});
    OutgoingMail For(OneCustomer const& customer, CString const& message_id) const;

  private:
    std::string TokenFor(OneCustomer const& customer, IdSigner::Use use) const;
    CString SenderFor(OneCustomer const& customer) const;

    HeaderTemplate header_;
    ContentTemplate content_;
    CString const honorific_;
    std::optional<int> const mail_;
    CString const from_;
    WayBack const way_back_;
};

// Makes it the mail that the client sends next.
void Fill(MailSend& client, OutgoingMail const& mail);

}  // namespace engine
