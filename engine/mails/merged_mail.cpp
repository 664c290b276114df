#include "engine/mails/merged_mail.h"

#include <algorithm>

#include "engine/base/full_name.h"
#include "engine/mails/mail_text.h"
#include "tessaly/delivery.h"

namespace engine {
namespace {

CString PlainBody(MailVersion const& version, OneCustomer const& customer) {
    return MailableBody(
        MailWordInsert::GetMailWordInsert(customer, version.body, MailWordInsert::plain_text));
}

bool AreEqual(MailVersion const& a, MailVersion const& b) {
    return a.subject == b.subject && a.body == b.body && a.html == b.html && a.attachments == b.attachments;
}

}  // namespace

CString RecipientName(CString const& honorific, OneCustomer const& customer) {
    CString name = FullName(customer.KanjiSei, customer.KanjiMei);
    if (!name.IsEmpty()) name += honorific;
    return Mailable(name, true).Trim();
}

MergedMail Merge(MailVersion const& version, CString const& honorific, OneCustomer const& customer) {
    MergedMail mail;
    mail.to_address = customer.Email;
    mail.to_name = RecipientName(honorific, customer);
    mail.subject = Mailable(
        MailWordInsert::GetMailWordInsert(customer, version.subject, MailWordInsert::plain_text), true);
    if (version.html) {
        CMimeAnalyze parts = *version.html;
        MergeInto(parts, customer);
        mail.body = TextIn(parts);
    } else {
        mail.body = PlainBody(version, customer);
    }
    return mail;
}

VersionTemplate::VersionTemplate(MailVersion const& version)
    : version_(version),
      subject_(delivery::MergePieces(version.subject.View(), delivery::MergeMarks::plain)) {
    if (version.html)
        html_.emplace(*version.html);
    else
        text_.emplace(version.body, JisTemplate::Use::body);
}

CString VersionTemplate::Subject(OneCustomer const& customer) const {
    if (version_.subject.IsEmpty()) return {};
    CString subject;
    for (auto const& [text, word] : subject_) {
        subject += text;
        if (word != MailWordInsert::no_word) subject += delivery::MergeValue(customer, word);
    }
    return subject.IsEmpty() ? CString(' ') : Mailable(subject, true);
}

MimeMail VersionTemplate::Body(OneCustomer const& customer) const {
    if (html_) {
        if (std::optional<MimeMail> mail = html_->Merged(customer)) return std::move(*mail);
        CMimeAnalyze parts = *version_.html;
        return MergeInto(parts, customer);
    }
    MimeMail mail{"text", "plain", "; charset=ISO-2022-JP", {}};
    mail.body.Reserve(static_cast<int>(text_->ExpectedSize()));
    if (!text_->AppendMerged(customer, mail.body)) mail.body = PlainBody(version_, customer);
    return mail;
}

ContentTemplate::ContentTemplate(MailContent const& content) {
    for (std::size_t i = 0; i < versions_.size(); ++i) {
        MailVersion const& version = content.versions[i];
        auto const same =
            std::find_if(versions_.begin(), versions_.begin() + static_cast<std::ptrdiff_t>(i),
                         [&](auto const& known) { return AreEqual(known->Version(), version); });
        versions_[i] = *same ? *same : std::make_shared<VersionTemplate const>(version);
    }
}

VersionTemplate const& ContentTemplate::For(char const* address) const {
    return *versions_[static_cast<std::size_t>(CXEmail::GetTermTypeFromMailAddr(address))];
}

}  // namespace engine
