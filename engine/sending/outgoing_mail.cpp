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
    const std::string_view text = address.View();
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

std::vector<CString> HeaderLines(Mailbox const& from, MailContent const& content, Mailbox const& to,
                                 CString const& subject) {
    std::vector<CString> lines;
    lines.push_back(HeaderLine("From", Mailbox{Mailable(from.name, true), from.address}));
    Mailbox const& reply_to = content.reply_to;
    if (!reply_to.address.IsEmpty())
        lines.push_back(HeaderLine("Reply-To", Mailbox{Mailable(reply_to.name, true), reply_to.address}));
    lines.push_back(HeaderLine("To", to));
    lines.push_back("Date: " + MailSend::MakeSmtpDateNow(""));
    lines.push_back(HeaderLine("Subject", subject));
    lines.push_back("List-Unsubscribe: <mailto:" + MailtoAddress(from.address) +
                    "?subject=unsubscribe&body=%3CREFUSE%3E>");
    if (content.asks_receipt) lines.push_back("Disposition-Notification-To: " + from.address);
    return lines;
}

OutgoingMail MailTo(OneCustomer const& customer, MailContent const& content, Mailbox const& from,
                    CString const& message_id) {
    MailVersion const& version = content.For(customer.Email);
    const MergedMail text = Merge(version, content.honorific, customer);
    OutgoingMail mail{HeaderLines(from, content, {text.to_name, text.to_address}, text.subject),
                      "text",
                      "plain",
                      "; charset=ISO-2022-JP",
                      text.body,
                      &version.attachments,
                      text.to_address,
                      message_id};
    if (text.mime) {
        mail.type = text.mime->type;
        mail.subtype = text.mime->subtype;
        mail.parameters = text.mime->parameters;
        mail.body = text.mime->body;
    }
    return mail;
}

void Fill(MailSend& client, OutgoingMail const& mail) {
    client.ClearMailHeader();
    for (CString const& line : mail.header) client.AddHeader(line);
    client.SetContentType(mail.type, mail.subtype, mail.parameters);
    client.SetBody(mail.body);
    client.ClearAttachFile();
    for (CString const& part : *mail.attachments) client.AddAttachFile(part);
    client.SetRecipient(mail.recipient);
    client.SetMessageID(mail.message_id);
}

}  // namespace engine
