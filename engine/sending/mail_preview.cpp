#include "engine/sending/mail_preview.h"

#include <algorithm>
#include <array>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/customers/customer_table.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/html_page.h"
#include "engine/mails/merged_mail.h"
#include "engine/sending/sending.h"
#include "engine/targets/target.h"

namespace engine {
namespace {

constexpr std::size_t measured_at_once = 1000;  // recipients
constexpr int with_kana_widened = 1;

MailPreview::Address Shown(CString const& name, CString const& address) { return {Out(name), Out(address)}; }

MailPreview Previewed(Session& session, MailContent const& content, MailVersion const& version,
                      Mailbox const& sender, OneCustomer const& customer) {
    MergedMail const text = Merge(version, content.honorific, customer);
    Mailbox const from = SenderOf(session, sender);
    MailPreview preview;
    preview.from = Shown(from.name, from.address);
    if (!content.reply_to.address.IsEmpty())
        preview.reply_to = Shown(content.reply_to.name, content.reply_to.address);
    preview.to = Shown(text.to_name, text.to_address);
    preview.subject = Out(text.subject);
    CString body = text.body;
    body.Replace("\r\n", "\n");
    preview.body = Out(body);
    return preview;
}

MailPreview OfDraft(Access const& access, std::string const& env_file, PreviewRequest const& request) {
    std::vector<Finding> findings;
    Draft const draft = ReadDraft(request.draft, findings);
    TellFindings(FrontOf(access), findings, true);
    Session session(access, env_file, Session::For::reading);
    OneCustomer const customer = CustomerWith(session, request.customer);
    MailContent const content = ContentOf(draft);
    return Previewed(session, content, content.For(customer.Email), draft.from, customer);
}

std::string PageFor(FrontEnd& front, MailVersion const& version, OneCustomer const& customer) {
    CMimeAnalyze parts = *version.html;
    MergeInto(parts, customer);
    HtmlPage const page = PageOf(parts);
    if (page.left_out > 0)
        front.Notice("サーバーなどから読み込むものは、見本のHTMLに入れませんでした: " +
                     Grouped(page.left_out) + "か所");
    return page.html;
}

MailPreview OfStored(Session& session, int mail, PreviewRequest const& request) {
    RequireMail(session, mail, Deleted::allow);
    MailContent const content = ContentOf(session, mail);
    OneCustomer const customer = CustomerWith(session, request.customer);
    TermType const terminal = request.terminal.value_or(CXEmail::GetTermTypeFromMailAddr(customer.Email));
    MailVersion const& version = content.versions[static_cast<std::size_t>(terminal)];
    if (request.page && !version.html)
        throw Failure(Failure::unsuitable_mail, "この端末に届く文面にHTMLはありません。");
    MailPreview preview = Previewed(session, content, version, {}, customer);
    OneMail const stored = ReadMail(session, mail);
    auto const& own =
        stored.m_aAttach[terminal].IsEmpty() ? stored.m_aAttach[pc] : stored.m_aAttach[terminal];
    for (AttachData const& attachment : own) preview.attachments.push_back(Out(attachment.m_strFileName));
    if (request.page) preview.page = PageFor(session.Front(), version, customer);
    return preview;
}

// Size and customer of the longest text; no customer without recipients.
struct Longest {
    int bytes = -1;
    int customer = -1;
};

Longest Measure(Session& session, CString const& text, std::vector<int> const& ids) {
    Longest longest;
    CMailSize size(&session.Customers());
    size.SetTargetString(text, MailWordInsert::plain_text);
    for (std::size_t from = 0; from < ids.size(); from += measured_at_once) {
        CArray<int, int> some;
        for (std::size_t i = from; i < std::min(from + measured_at_once, ids.size()); ++i) some.Add(ids[i]);
        if (size.SetTargetCustomerByCustomerIDArray(some) < 0) continue;
        size.Analyze(with_kana_widened);
        if (size.GetMaxSize() > longest.bytes) longest = {size.GetMaxSize(), size.GetMaxCustomerID()};
    }
    return longest;
}

}  // namespace

MailPreview PreviewOf(Access const& access, std::string const& env_file, PreviewRequest const& request) {
    if (!request.mail) return OfDraft(access, env_file, request);
    Session session(access, env_file, Session::For::reading);
    return OfStored(session, *request.mail, request);
}

std::vector<LongestText> LongestTexts(Session& session, int mail, std::optional<TermType> only) {
    RequireMail(session, mail, Deleted::allow);
    MailContent const content = ContentOf(session, mail);
    auto const address_of = [&](int id) {
        return session.Customers().GetCustomerDataPinPoint(id, customers::element_address);
    };
    std::array<std::vector<int>, terminal_count> ids;
    for (int const id : RecipientsOf(session, mail))
        ids[static_cast<std::size_t>(CXEmail::GetTermTypeFromMailAddr(address_of(id)))].push_back(id);
    std::vector<LongestText> texts;
    for (std::size_t slot = 0; slot < terminal_count; ++slot) {
        auto const terminal = static_cast<TermType>(slot);
        if (only && *only != terminal) continue;
        for (LongestText::Part const part : {LongestText::subject, LongestText::body}) {
            MailVersion const& version = content.versions[slot];
            Longest const longest =
                Measure(session, part == LongestText::subject ? version.subject : version.body, ids[slot]);
            if (longest.customer >= 0)
                texts.push_back({terminal, part, longest.bytes, longest.customer,
                                 Out(address_of(longest.customer)), ids[slot].size()});
        }
    }
    if (texts.empty())
        throw Failure(Failure::no_recipients,
                      "測る宛先がありません。先に「tessaly target」で宛先を選んでください。");
    return texts;
}

}  // namespace engine
