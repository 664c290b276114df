#include "tessaly/reception/mail_analyzer.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "mime/ascii.h"
#include "mime/entity_text.h"
#include "reception/mail_fields.h"
#include "tessaly/text/strings.h"

using mime::ContainsNoCase;
using reception::HeaderOf;

namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view line_ends = "\r\n";
constexpr std::string_view refuse_tag = "<REFUSE>";
constexpr std::string_view register_tag = "<REGISTER>";

// The senders of bounces.
constexpr std::string_view daemons[] = {"MAILER-DAEMON", "Postmaster",   "Mail.Delivery.Subsystem",
                                        "SysAdmin",      "root@",        "admin@",
                                        "admins2@",      "ccadmin@",     "supervisor",
                                        "smtp-admin",    "post-master@", "Mailer-Agent@",
                                        "smtp-master",   "sysop@",       "uxgw@"};
// The words of their subjects; all of a group must occur.
std::vector<std::string_view> const subjects_of_bounces[] = {
    {"User", "unknown"},   {"Host", "unknown"},  {"Service", "unavailable"},
    {"failure", "notice"}, {"Returned", "mail"}, {"Mail", "could", "not", "be", "delivered"}};
// The texts behind which the returned mail follows in a bounce without parts.
constexpr std::string_view copy_marks[] = {
    "--- Below this line is a copy of the message.",
    "Each of the following recipients was rejected by a remote mail server.\r\n"
    "---------------------------------------------------"};

std::string_view FirstLine(CString const& text) {
    return text.View().substr(0, text.View().find_first_of(line_ends));
}

struct Type {
    CString type, subtype, params;
};

Type TypeOf(MimeFormatStruct const& entity) {
    Type type;
    if (CString const* value = HeaderOf(entity, "content-type"))
        MimeDecodeTool::SplitContentType(*value, type.type, type.subtype, type.params);
    return type;
}

bool Is(Type const& type, std::string_view main, std::string_view sub) {
    return ContainsNoCase(type.type.View(), main) && ContainsNoCase(type.subtype.View(), sub);
}

// A value without its closing quote does not count.
constexpr mime::ParameterForm parameter_form{.needs_closing_quote = true, .drops_blanks = true};

// Whether a mail holds only line ends, blanks and full-width blanks.
bool IsBlank(std::string_view text) {
    constexpr std::string_view full_width_blank = "　";
    for (std::size_t at = 0; at < text.size();) {
        if (text.substr(at, full_width_blank.size()) == full_width_blank)
            at += full_width_blank.size();
        else if (text[at] == ' ' || text[at] == '\t' || text[at] == '\r' || text[at] == '\n')
            ++at;
        else
            return false;
    }
    return true;
}

}  // namespace

MailAnalyzer::MailAnalyzer(CString mail) {
    InitMember();
    SetMailData(mail);
}

MailAnalyzer::MailAnalyzer(MimeFormatStruct& mail) {
    InitMember();
    SetMailData(mail);
}

void MailAnalyzer::InitMember() {
    type_ = not_analysed;
    for (CString* text : {&message_id_, &original_message_id_, &from_address_, &body_, &subject_, &keyword_})
        text->Empty();
    send_date_ = COleDateTime::GetCurrentTime();
    mail_.Init();
    delivery_report_ = {};
    disposition_report_ = {};
    attachments_.clear();
    body_found_ = regist_when_empty_ = refuse_by_keyword_ = 0;
}

void MailAnalyzer::SetRefuseWithKeyword(int on, CString keyword) {
    refuse_by_keyword_ = on;
    keyword_ = keyword;
}

int MailAnalyzer::SetMailData(CString mail) { return MimeDecode(mail, mail_); }

int MailAnalyzer::SetMailData(MimeFormatStruct& mail) {
    mail_ = mail;
    return 1;
}

int MailAnalyzer::MailAnalysis(CString mail) { return SetMailData(mail) ? MailAnalysis() : not_decoded; }

int MailAnalyzer::MailAnalysis(MimeFormatStruct& mail) {
    SetMailData(mail);
    return MailAnalysis();
}

// The order of the tests matters: a refusal from a mailer daemon is a refusal, and a receipt counts from any
// sender.
int MailAnalyzer::MailAnalysis() {
    if (CString id; reception::FirstMessageID(mail_.m_aHeader, "message-id", id)) message_id_ = id;
    reception::TakeFromAddress(mail_, from_address_);
    SetMailBodyAndAttachFileArray(mail_);
    if (HeaderOf(mail_, "subject")) subject_ = reception::SubjectOf(mail_);
    reception::TakeSendDate(mail_, send_date_);
    TakeReports();
    CString original;
    if (CheckMDNsMail()) {
        type_ = disposition_notification;
        original = OriginalOfReceipt();
    } else if (CheckRefuseMail()) {
        type_ = refuse;
    } else if (CheckRegisterMail()) {
        type_ = regist;
    } else if (CheckErrorMail()) {
        type_ = error_mail;
        original = OriginalOfBounce();
    } else {
        type_ = ordinary;
    }
    if (original.IsEmpty()) reception::TakeReferencedID(mail_, original);
    original_message_id_ = original;
    return analysed;
}

int MailAnalyzer::CheckMDNsMail() const {
    CString const* value = HeaderOf(mail_, "content-type");
    if (!value) return 0;
    Type type;
    SplitContentType(ReformatHeaderBodyString(*value), type.type, type.subtype, type.params);
    auto const report = mime::ParameterIn(type.params.View(), "report-type=", parameter_form);
    return Is(type, "multipart", "report") && report &&
           mime::EqualNoCase(*report, "disposition-notification");
}

int MailAnalyzer::CheckRefuseMail() const {
    CString const line(FirstLine(body_));
    return ContainsNoCase(line.View(), refuse_tag) || (refuse_by_keyword_ && xcstristr(line, keyword_));
}

// The last dot of a fetched text is the closing line of the server.
int MailAnalyzer::CheckRegisterMail() {
    if (ContainsNoCase(FirstLine(body_), register_tag)) return 1;
    if (!regist_when_empty_ || !IsBlank(body_.View().substr(0, body_.View().rfind('.')))) return 0;
    body_ = CString(register_tag) + "<EMAIL>" + from_address_ + "</EMAIL>";
    return 1;
}

int MailAnalyzer::CheckErrorMail() const {
    std::string_view const from = from_address_.View(), subject = subject_.View();
    return std::any_of(
               std::begin(daemons), std::end(daemons),
               [&](std::string_view name) { return mime::EqualNoCase(from.substr(0, name.size()), name); }) ||
           std::any_of(
               std::begin(subjects_of_bounces), std::end(subjects_of_bounces), [&](auto const& words) {
                   return std::all_of(words.begin(), words.end(),
                                      [&](std::string_view word) { return ContainsNoCase(subject, word); });
               });
}

void MailAnalyzer::TakeReports() {
    auto const of_delivery = [&](std::string_view field) {
        return reception::ReportField(mail_, "message/delivery-status", field);
    };
    auto const of_disposition = [&](std::string_view field) {
        return reception::ReportField(mail_, "message/disposition-notification", field);
    };
    delivery_report_ = {of_delivery("Action"), of_delivery("Status"), of_delivery("Diagnostic-Code"),
                        of_delivery("Final-Recipient")};
    disposition_report_ = {of_disposition("Disposition"), of_disposition("Original-Message-ID").Trim("<>")};
}

CString MailAnalyzer::OriginalOfReceipt() {
    CString id;
    if (mail_.m_aChild.GetSize() < 2) return id;
    MimeFormatStruct const& report = mail_.m_aChild[1];
    if (!Is(TypeOf(report), "message", "disposition-notification") || !report.m_aChild.IsEmpty()) return id;
    Headers lines;
    SplitMailHeader(report.m_strBody, lines);
    reception::FirstMessageID(lines, "original-message-id", id);
    return id;
}

CString MailAnalyzer::OriginalOfBounce() {
    CString id;
    Headers lines;
    for (MimeFormatStruct const& child : mail_.m_aChild) {
        Type const type = TypeOf(child);
        if (Is(type, "message", "rfc822") && !child.m_aChild.IsEmpty())
            if (CString const* value = HeaderOf(child.m_aChild[0], "message-id"))
                reception::TakeMessageID(value->View(), id);
        if (id.IsEmpty() && Is(type, "text", "rfc822-headers") && child.m_aChild.IsEmpty()) {
            SplitMailHeader(child.m_strBody, lines);
            reception::FirstMessageID(lines, "message-id", id);
        }
        if (!id.IsEmpty()) return id;
    }
    if (!mail_.m_aChild.IsEmpty()) return id;
    std::string_view const body = body_.View();
    for (std::string_view const mark : copy_marks) {
        std::size_t const at = body.find(mark);
        if (at == npos) continue;
        std::string_view copy = body.substr(at + mark.size());
        copy.remove_prefix(std::min(copy.find_first_not_of(line_ends), copy.size()));
        std::size_t const end = copy.find("\r\n\r\n");
        SplitMailHeader(end == npos ? CString(copy) + "\r\n" : CString(copy.substr(0, end + 2)), lines);
        reception::FirstMessageID(lines, "message-id", id);
        break;
    }
    return id;
}

// Depth first, in order, without using the stack.
void MailAnalyzer::SetMailBodyAndAttachFileArray(MimeFormatStruct const& mail) {
    std::vector<MimeFormatStruct const*> waiting = {&mail};
    while (!waiting.empty()) {
        MimeFormatStruct const& entity = *waiting.back();
        waiting.pop_back();
        if (entity.m_aChild.IsEmpty()) TakeLeaf(entity);
        for (int i = entity.m_aChild.GetSize(); i-- > 0;) waiting.push_back(&entity.m_aChild[i]);
    }
}

void MailAnalyzer::TakeLeaf(MimeFormatStruct const& leaf) {
    Type const type = TypeOf(leaf);
    bool const typed = HeaderOf(leaf, "content-type") != nullptr;
    if (body_found_ || (typed && !ContainsNoCase(type.type.View(), "text"))) {
        attachments_.push_back(leaf);
        return;
    }
    auto const charset = mime::ParameterIn(type.params.View(), "charset=", parameter_form);
    body_ = mime::TextOfEntity(leaf, charset.value_or("")).text;
    body_found_ = 1;
}

int MailAnalyzer::GetAttachFileData(int index, MimeFormatStruct& part) const {
    if (index < 0 || index >= GetAttachFileNum()) return 0;
    part = attachments_[static_cast<std::size_t>(index)];
    return 1;
}

CString MailAnalyzer::ReformatHeaderBodyString(CString value) {
    return CString(std::string_view(reception::WithoutComments(value.View())));
}
