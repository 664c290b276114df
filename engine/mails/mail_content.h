#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "engine/mails/draft.h"
#include "engine/mails/mail_store.h"
#include "tessaly/mime.h"

// What a mailing sends, before a customer's data are in it.
namespace engine {

struct MailVersion {
    CString subject, body;
    std::vector<CString> attachments;          // finished MIME parts
    std::shared_ptr<CMimeAnalyze const> html;  // of an HTML mail, whose text is also the body
};

struct MailContent {
    // By TermType. Where a terminal has no text or no attachment of its own, those of the PC stand.
    std::array<MailVersion, terminal_count> versions;
    Mailbox reply_to;
    CString honorific;        // behind the recipient's name
    std::optional<int> mail;  // the number of a stored one
    bool asks_receipt = false;

    MailVersion const& For(char const* address) const;
};

// An HTML mail without attachments, out of the text of a whole MIME mail. Throws Failure for one that is
// none.
MailVersion HtmlVersion(CString const& subject, CString const& stored);

// The same for every terminal.
MailContent ContentOf(Draft const& draft);
// A stored mail. Throws Failure for one without a text.
MailContent ContentOf(Session& session, int mail);

// A file as a part of a mail (RFC 2045): `text` is its content in Base64.
CString AttachmentPart(AttachData const& attachment, CString const& text);

}  // namespace engine
