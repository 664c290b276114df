#include "engine/mails/mail_changes.h"

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/mails/html_mail.h"
#include "tessaly/text.h"

namespace engine {
namespace {

// The bodies of a mail in the form that its new kind keeps them in.
void ChangeForms(OneMail& mail, char present, char kind) {
    for (int slot = 0; slot < terminal_count; ++slot) {
        CString& body = mail.m_strBody[slot];
        bool const is_mime = HoldsMime(present, slot), becomes_mime = HoldsMime(kind, slot);
        if (body.IsEmpty() || is_mime == becomes_mime) continue;
        body = becomes_mime ? ComposeText(body) : CrLfConverter(TextIn(PartsOf(body)));
    }
}

}  // namespace

MailChanges::MailChanges(FrontEnd& front, MailArguments const& arguments)
    : front_(front), arguments_(arguments), terminal_(TerminalNamed(arguments.terminal)) {
    for (std::string const& file : arguments.attach) added_.push_back(AttachmentOf(terminal_, file));
    if (arguments.honorific) honorific_ = Into(*arguments.honorific, "敬称");
    if (arguments.address_name) address_name_ = Into(*arguments.address_name, "宛先名称");
    if (arguments.html.empty() && !arguments.pictures.empty())
        throw Failure(Failure::invalid_request, "--inline は --html と一緒に使います。");
    ReadTexts();
}

void MailChanges::ReadTexts() {
    std::vector<Finding> findings;
    if (!arguments_.draft.empty()) {
        draft_ = ReadDraft(arguments_.draft, findings,
                           arguments_.html.empty() ? DraftBody::required : DraftBody::optional);
        if (!draft_.from.address.IsEmpty() || !draft_.reply_to.address.IsEmpty())
            throw Failure(Failure::unsuitable_mail,
                          "保存するメールには From と Reply-To を書けません。差出人は「settings ENV "
                          "from.address=...」で決めます。");
        TellFindings(front_, findings, arguments_.force);
    }
    if (arguments_.html.empty()) return;
    findings.clear();
    html_ = ReadHtml(arguments_.html, arguments_.pictures, findings);
    TellFindings(front_, findings, arguments_.force, "HTML");
    if (!html_->removed.empty())
        front_.Notice("受け取った人の所で動くものなどを、HTMLから外しました: " + html_->removed);
    for (std::string const& address : html_->remote)
        front_.Notice("サーバーの画像は、受け取った人がそれを読み込むまで見えません: " + address);
}

char MailChanges::KindFor(char present) const {
    if (arguments_.no_html) return kind_text;
    if (!html_) return present;
    char const kind = terminal_ == pc ? kind_html : kind_mobile_html;
    if (!HoldsMime(kind, terminal_))
        throw Failure(Failure::unsuitable_mail, "この端末にはHTMLメールを送れません: " + arguments_.terminal);
    if (present != kind_text && present != kind)
        throw Failure(Failure::unsuitable_mail,
                      "1通のメールは、PCのHTMLか携帯のHTMLのどちらかです。別のメールにするか、先に --no-html "
                      "をつけてHTMLをやめてください。");
    return kind;
}

void MailChanges::Make(OneMail& mail, char present) const {
    char const kind = KindFor(present);
    ChangeForms(mail, present, kind);
    CString& body = mail.m_strBody[terminal_];
    if (arguments_.clear_text) {
        body.Empty();
        mail.m_strSubject[terminal_].Empty();
    } else {
        body = BodyFor(body, kind);
        if (!draft_.subject.IsEmpty()) mail.m_strSubject[terminal_] = draft_.subject;
    }
    // Its subject is the mail's title in the list.
    if (kind == kind_mobile_html && mail.m_strSubject[nd].IsEmpty())
        mail.m_strSubject[nd] =
            mail.m_strSubject[terminal_].IsEmpty() ? mail.m_strSubject[pc] : mail.m_strSubject[terminal_];
    if (honorific_) mail.m_strHonorific = *honorific_;
    if (address_name_) mail.m_strAddressName = *address_name_;
    for (std::string const& name : arguments_.detach) Detach(mail, name);
    for (NewAttachment const& attachment : added_) {
        Take(mail, attachment.entry.m_strFileName);
        mail.m_aAttach[attachment.terminal].Add(attachment.entry);
    }
}

// HTML without a text of its own gets one made from it, so that the two never differ.
CString MailChanges::BodyFor(CString const& present, char kind) const {
    if (html_) return ComposeHtml(draft_.body.IsEmpty() ? TextOfHtml(html_->html) : draft_.body, *html_);
    if (draft_.body.IsEmpty()) return present;
    if (!HoldsMime(kind, terminal_)) return draft_.body;
    return present.IsEmpty() ? ComposeText(draft_.body) : WithText(PartsOf(present), draft_.body);
}

bool MailChanges::Take(OneMail& mail, CString const& name) const {
    CArray<AttachData, AttachData>& list = mail.m_aAttach[terminal_];
    for (int i = 0; i < list.GetSize(); ++i) {
        if (list[i].m_strFileName != name) continue;
        list.RemoveAt(i);
        return true;
    }
    return false;
}

void MailChanges::Detach(OneMail& mail, std::string const& name) const {
    if (!Take(mail, Into(name, "添付ファイルの名前")))
        throw Failure(Failure::attachment_not_found,
                      "その添付ファイルはありません (" + arguments_.terminal + "): " + name);
}

}  // namespace engine
