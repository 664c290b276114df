#include "engine/mails/mail_content.h"

#include <string>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_text.h"
#include "engine/mails/received_text.h"
#include "tessaly/text.h"

namespace engine {
namespace {

void FillFromPc(MailContent& content) {
    MailVersion const& own = content.versions[pc];
    for (MailVersion& version : content.versions) {
        if (version.body.IsEmpty()) {
            version.subject = own.subject;
            version.body = own.body;
            version.html = own.html;
        }
        if (version.subject.IsEmpty()) version.subject = own.subject;
        if (version.attachments.empty()) version.attachments = own.attachments;
    }
}

}  // namespace

MailVersion const& MailContent::For(char const* address) const {
    return versions[static_cast<std::size_t>(CXEmail::GetTermTypeFromMailAddr(address))];
}

MailVersion HtmlVersion(CString const& subject, CString const& stored) {
    auto const parts = std::make_shared<CMimeAnalyze const>(PartsOf(stored));
    return {subject, TextIn(*parts), {}, parts};
}

MailContent ContentOf(Draft const& draft) {
    MailContent content;
    content.versions[pc] = {draft.subject, draft.body, {}, nullptr};
    content.reply_to = draft.reply_to;
    FillFromPc(content);
    return content;
}

MailContent ContentOf(Session& session, int mail) {
    OneMail const stored = ReadMail(session, mail);
    if (stored.m_strBody[pc].IsEmpty() || stored.m_strSubject[pc].IsEmpty())
        throw Failure(Failure::incomplete_mail,
                      "メールに件名か本文がありません: " + NameOfMail(session, mail));
    MailContent content;
    content.honorific = stored.m_strHonorific;
    content.mail = mail;
    for (int terminal = 0; terminal < terminal_count; ++terminal) {
        MailVersion& version = content.versions[static_cast<std::size_t>(terminal)];
        CString const &subject = stored.m_strSubject[terminal], &body = stored.m_strBody[terminal];
        if (HoldsMime(KindOf(session, mail), terminal) && !body.IsEmpty())
            version = HtmlVersion(subject, body);
        else
            version = {subject, CrLfConverter(body), {}, nullptr};
        for (AttachData const& attachment : stored.m_aAttach[terminal])
            version.attachments.push_back(AttachmentPart(
                attachment,
                AttachmentText(session, mail, static_cast<TermType>(terminal), attachment.m_strFileName)));
    }
    FillFromPc(content);
    return content;
}

// The name stands twice: as the encoded word that Japanese mail programs have always read, and in the form of
// the standard.
CString AttachmentPart(AttachData const& attachment, CString const& text) {
    CString const name = Mailable(attachment.m_strFileName, true);
    constexpr std::string_view unescaped = "!#$&+-.^_`|~";  // RFC 2231 4, RFC 8187 3.2.1
    std::string const extended = "UTF-8''" + PercentEncoded(Out(attachment.m_strFileName), unescaped);
    return "Content-Type: " + attachment.m_strFileInfo + ";\r\n " + NameParameter("name", name) +
           "\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment;\r\n filename*=" +
           CString(std::string_view(extended)) + "\r\n\r\n" + text;
}

}  // namespace engine
