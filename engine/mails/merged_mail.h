#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "engine/mails/html_template.h"
#include "engine/mails/mail_content.h"

// One customer's mail: the mail with the customer's values in it, in a form that mail programs can read.
namespace engine {

struct MergedMail {
    CString to_name, to_address;
    CString subject;
    CString body;  // the text, in code page 932
};
// Merges the version of the mail that `customer` gets, and makes the result fit for mail: no line end or
// control character in the subject or a name, line ends CR LF in the body and no line too long for a mail
// server, and only characters that mail programs know (Mailable).
MergedMail Merge(MailVersion const& version, CString const& honorific, OneCustomer const& customer);

// The name that the mail is addressed to.
CString RecipientName(CString const& honorific, OneCustomer const& customer);

// A version of a mail made ready for many customers.
class VersionTemplate {
  public:
    // `version` must outlive the template.
    explicit VersionTemplate(MailVersion const& version);
    MailVersion const& Version() const { return version_; }
    CString Subject(OneCustomer const& customer) const;
    // The mail below its header, its text in ISO-2022-JP or, where that takes the plain way, in code page
    // 932.
    MimeMail Body(OneCustomer const& customer) const;

  private:
    MailVersion const& version_;
    std::vector<delivery::MergePiece> subject_;
    std::optional<JisTemplate> text_;  // of a mail without HTML
    std::optional<HtmlTemplate> html_;
};

// The versions of a mail. The content must outlive the templates.
class ContentTemplate {
  public:
    explicit ContentTemplate(MailContent const& content);
    VersionTemplate const& For(char const* address) const;

  private:
    std::array<std::shared_ptr<VersionTemplate const>, terminal_count> versions_;  // equal ones are one
};

}  // namespace engine
