#include "engine/sending/outgoing_mail.h"

#include <string_view>
#include <utility>

#include "engine/mails/mail_text.h"
#include "engine/mails/merged_mail.h"

namespace engine {
namespace {

// An address in a mailto URI (RFC 6068 2): every byte that can mean something else there, and every one that
// no URI may hold, is percent-encoded.
CString MailtoAddress(CString const& address) {
    constexpr std::string_view as_they_are = "-._~!$'()*+:";
    std::string_view const text = address.View();
    CString encoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto const byte = static_cast<unsigned char>(text[at]);
        bool const alphanumeric =
            (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
        if (alphanumeric || as_they_are.find(text[at]) != text.npos || at == text.rfind('@')) {
            encoded += text[at];
            continue;
        }
        CString code;
        code.Format("%%%02X", byte);
        encoded += code;
    }
    return encoded;
}

}  // namespace

HeaderTemplate::HeaderTemplate(Mailbox const& from, MailContent const& content) {
    front_ = HeaderLine("From", Mailbox{Mailable(from.name, true), from.address}) + "\r\n";
    Mailbox const& reply_to = content.reply_to;
    if (!reply_to.address.IsEmpty())
        front_ += HeaderLine("Reply-To", Mailbox{Mailable(reply_to.name, true), reply_to.address}) + "\r\n";
    unsubscribe_ = "\r\nList-Unsubscribe: <mailto:" + MailtoAddress(from.address) + "?subject=unsubscribe";
    if (content.asks_receipt) back_ = "\r\nDisposition-Notification-To: " + from.address;
}

CString HeaderTemplate::For(Mailbox const& to, CString const& subject, std::string const& token) const {
    CString header = front_;
    header += HeaderLine("To", to);
    header += "\r\nDate: ";
    header += MailSend::MakeSmtpDateNow("");
    header += "\r\n";
    header += HeaderLine("Subject", subject);
    header += unsubscribe_;
    CString const behind_word = token.empty() ? CString() : "%20" + CString(std::string_view(token));
    header += behind_word;
    header += "&body=%3CREFUSE%3E";
    header += behind_word;
    header += ">";
    header += back_;
    return header;
}

MailTemplate::MailTemplate(MailContent const& content, Mailbox const& from, WayBack way_back)
    : header_(from, content),
      content_(content),
      honorific_(content.honorific),
      mail_(content.mail),
      from_(from.address),
      way_back_(std::move(way_back)) {}

std::string MailTemplate::TokenFor(OneCustomer const& customer, IdSigner::Use use) const {
    return mail_ ? way_back_.signer.Token({*mail_, customer.CustomerID}, use) : std::string();
}

CString MailTemplate::SenderFor(OneCustomer const& customer) const {
    if (way_back_.return_address.IsEmpty()) return from_;
    std::string const token = TokenFor(customer, IdSigner::Use::return_path);
    if (token.empty()) return from_;
    CString sender = way_back_.return_address;
    sender.Replace("*", token.c_str());
    return sender;
}

OutgoingMail MailTemplate::For(OneCustomer const& customer, CString const& message_id) const {
    VersionTemplate const& version = content_.For(customer.Email);
    return {header_.For({RecipientName(honorific_, customer), customer.Email}, version.Subject(customer),
                        TokenFor(customer, IdSigner::Use::unsubscribe)),
            version.Body(customer),
            &version.Version().attachments,
            SenderFor(customer),
            customer.Email,
            message_id};
}

void Fill(MailSend& client, OutgoingMail const& mail) {
    client.SetHeader(mail.header);
    client.SetContentType(mail.content.type, mail.content.subtype, mail.content.parameters);
    client.SetBody(mail.content.body);
    client.ClearAttachFile();
    for (CString const& part : *mail.attachments) client.AddAttachFile(part);
    client.SetSenderAddr(mail.sender);
    client.SetRecipient(mail.recipient);
    client.SetMessageID(mail.message_id);
}

}  // namespace engine
