#include "engine/mails/mail_content.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_text.h"
#include "tessaly/text.h"

namespace engine {
namespace {

// A parameter value in UTF-8 with everything but attribute characters escaped (RFC 2231 4, RFC 8187 3.2.1).
std::string ExtendedValue(std::string_view utf8) {
    constexpr std::string_view unescaped = "!#$&+-.^_`|~";
    std::string result = "UTF-8''";
    for (char const c : utf8) {
        bool const plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                           unescaped.find(c) != unescaped.npos;
        char escape[4];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        result += plain ? std::string(1, c) : escape;
    }
    return result;
}

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
    std::string const extended = ExtendedValue(Out(attachment.m_strFileName));
    return "Content-Type: " + attachment.m_strFileInfo + ";\r\n " + NameParameter("name", name) +
           "\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment;\r\n filename*=" +
           CString(std::string_view(extended)) + "\r\n\r\n" + text;
}

}  // namespace engine
