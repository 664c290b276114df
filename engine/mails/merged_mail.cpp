#include "engine/mails/merged_mail.h"

#include "engine/mails/mail_text.h"
#include "tessaly/delivery.h"

namespace engine {

MergedMail Merge(MailVersion const& version, CString const& honorific, OneCustomer const& customer) {
    MergedMail mail;
    mail.to_address = customer.Email;
    CString name = customer.KanjiSei;
    if (!name.IsEmpty() && !customer.KanjiMei.IsEmpty()) name += " ";
    name += customer.KanjiMei;
    if (!name.IsEmpty()) name += honorific;
    mail.to_name = Mailable(name, true).Trim();
    mail.subject = Mailable(MailWordInsert::GetMailWordInsert(customer, version.subject, 0), true);
    if (version.html) {
        CMimeAnalyze parts = *version.html;
        mail.mime = MergeInto(parts, customer);
        mail.body = TextIn(parts);
    } else {
        mail.body = MailableBody(MailWordInsert::GetMailWordInsert(customer, version.body, 0));
    }
    return mail;
}

}  // namespace engine
