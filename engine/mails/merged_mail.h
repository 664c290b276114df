#pragma once

#include <optional>

#include "engine/mails/html_mail.h"
#include "engine/mails/mail_content.h"

// One customer's mail: the mail with her values in it, in a form that mail programs can read.
namespace engine {

struct MergedMail {
    CString to_name, to_address;
    CString subject;
    CString body;                  // the text
    std::optional<MimeMail> mime;  // of an HTML mail, text and HTML
};
// Merges the version of the mail that `customer` gets, and makes what came out fit for mail: no line end or
// control character in the subject or a name, line ends CR LF in the body and no line too long for a mail
// server, and only characters that mail programs know (Mailable).
MergedMail Merge(MailVersion const& version, CString const& honorific, OneCustomer const& customer);

}  // namespace engine
