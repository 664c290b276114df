#include "engine/sending/outgoing_mail.h"

#include <string_view>

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
    back_ = "\r\nList-Unsubscribe: <mailto:" + MailtoAddress(from.address) +
            "?subject=unsubscribe&body=%3CREFUSE%3E>";
    if (content.asks_receipt) back_ += "\r\nDisposition-Notification-To: " + from.address;
}

CString HeaderTemplate::For(Mailbox const& to, CString const& subject) const {
    CString header = front_;
    header += HeaderLine("To", to);
    header += "\r\nDate: ";
    header += MailSend::MakeSmtpDateNow("");
    header += "\r\n";
    header += HeaderLine("Subject", subject);
    header += back_;
    return header;
}

MailTemplate::MailTemplate(MailContent const& content, Mailbox const& from)
    : header_(from, content), content_(content), honorific_(content.honorific) {}

OutgoingMail MailTemplate::For(OneCustomer const& customer, CString const& message_id) const {
    VersionTemplate const& version = content_.For(customer.Email);
    return {header_.For({RecipientName(honorific_, customer), customer.Email}, version.Subject(customer)),
            version.Body(customer), &version.Version().attachments, customer.Email, message_id};
}

void Fill(MailSend& client, OutgoingMail const& mail) {
    client.SetHeader(mail.header);
    client.SetContentType(mail.content.type, mail.content.subtype, mail.content.parameters);
    client.SetBody(mail.content.body);
    client.ClearAttachFile();
    for (CString const& part : *mail.attachments) client.AddAttachFile(part);
    client.SetRecipient(mail.recipient);
    client.SetMessageID(mail.message_id);
}

}  // namespace engine
