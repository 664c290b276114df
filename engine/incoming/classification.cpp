#include "engine/incoming/classification.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/trimmed.h"
#include "engine/incoming/bounce_reason.h"
#include "engine/incoming/classification_table.h"
#include "engine/incoming/delivery_status.h"
#include "engine/incoming/folded_text.h"
#include "engine/incoming/word_search.h"
#include "engine/incoming/written_text.h"

namespace engine {
namespace {

constexpr std::string_view daemon_names[] = {
    "mailer-daemon", "mailerdaemon", "mailer_daemon", "maildaemon",  "mail-daemon", "mail_daemon",
    "mdaemon",       "daemon",       "mail.daemon",   "mmdf",        "mail-system", "bounce",
    "bounces",       "mail-error",   "errormail",     "mailer-agent"};
// Also of people.
constexpr std::string_view master_names[] = {
    "postmaster",           "post-master", "post_master", "mailmaster",
    "system administrator", "sysadmin",    "admin",       "mailadmin"};
constexpr std::string_view daemon_titles[] = {
    "mail delivery sub",     "mail delivery sys",  "mail administrator",
    "mail delivery service", "mailer-daemon",      "internet mail delivery",
    "システム管理者",        "メール配信システム", "メール配送システム"};
constexpr std::string_view complaint_names[] = {"abuse", "fbl",   "feedback", "complaint",    "complaints",
                                                "staff", "scomp", "jmrpp",    "fbl-no-reply", "feedbackloop"};

std::string_view StartOf(std::string_view fields) { return fields.substr(0, read_of_texts); }

bool IsOneOf(std::string_view name, auto const& names) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// The words of mails in one search, those that must be found besides behind the others.
class MailWordSearch {
  public:
    MailWordSearch() : search_(Words()) {}
    std::vector<bool> In(std::string_view folded) const {
        std::vector<bool> found(2 * WordsOfMails().size(), false);
        search_.Find(folded, found);
        return found;
    }
    static MailWordSearch const& Instance() {
        static MailWordSearch const search;
        return search;
    }

  private:
    static std::vector<std::string_view> Words() {
        static constexpr std::string_view never("\0", 1);
        std::vector<std::string_view> words;
        for (MailWords const& row : WordsOfMails()) words.push_back(row.words);
        for (MailWords const& row : WordsOfMails())
            words.push_back(row.more_words.empty() ? never : row.more_words);
        return words;
    }

    WordSearch search_;
};

class Judging {
  public:
    Judging(IncomingMail const& mail, std::size_t message)
        : mail_(mail),
          message_(message),
          head_(mail.Messages()[message]),
          subject_(FoldSubject(head_.Decoded("Subject"))) {}

    Classification Run() {
        for (auto const step : {&Judging::Complaint, &Judging::Receipt, &Judging::DeliveryReport})
            if (auto const result = (this->*step)()) return *result;
        text_ = TextOfMessage(mail_, message_);
        own_ = BeforeReturnedCopy(text_);
        folded_ = Folded(own_);
        in_subject_ = MailWordSearch::Instance().In(subject_.text);
        in_text_ = MailWordSearch::Instance().In(folded_);
        for (auto const step : {&Judging::PlainBounce, &Judging::Challenge, &Judging::PlainReceipt,
                                &Judging::PlainComplaint, &Judging::AutoReply})
            if (auto const result = (this->*step)()) return *result;
        return {};
    }

  private:
    using Result = std::optional<Classification>;

    static Result Of(AnswerKind kind, std::string_view decided_by) {
        Classification result;
        result.kind = kind;
        result.decided_by = decided_by;
        return result;
    }

    // A report that somebody forwards is none.
    IncomingPart const* Part(std::string_view type) const {
        if (subject_.is_answer && !FieldFolded("Content-Type").starts_with("multipart/report"))
            return nullptr;
        for (IncomingPart const& part : mail_.Parts())
            if (part.message == message_ && part.type == type) return &part;
        return nullptr;
    }
    std::string FieldFolded(std::string_view name) const { return Folded(head_.Field(name)); }

    // The words of this kind that the mail holds; null for none.
    MailWords const* Find(AnswerKind kind, bool subject_alone = false) const {
        auto const rows = WordsOfMails();
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (rows[i].kind != kind) continue;
            switch (rows[i].place) {
                using enum MailWords::Place;
                case subject_start:
                    if (subject_.text.starts_with(rows[i].words)) return &rows[i];
                    break;
                case subject:
                    if (in_subject_[i]) return &rows[i];
                    break;
                case opening:
                case text:
                    if (in_text_[i] && !subject_alone) return &rows[i];
                    break;
                case subject_and_text:
                    if (in_subject_[i] && in_text_[rows.size() + i]) return &rows[i];
                    break;
            }
        }
        return nullptr;
    }

    // RFC 5965 3.1. A report of another kind, such as of failed authentication, accuses nobody.
    Result Complaint() const {
        IncomingPart const* const part = Part("message/feedback-report");
        return part ? ComplaintIn(StartOf(part->content)) : std::nullopt;
    }
    static Result ComplaintIn(std::string_view fields) {
        std::string type = "abuse";
        for (auto const& [name, value] : FieldsIn(fields))
            if (name == "feedback-type") type = Folded(value);
        constexpr std::string_view no_complaints[] = {"not-spam", "auth-failure", "dmarc", "virus"};
        bool const is_one = !IsOneOf(type, no_complaints);
        return Of(is_one ? AnswerKind::complaint : AnswerKind::auto_reply, "Feedback-Type: " + type);
    }

    // RFC 8098 3.2.6.2
    static Result ReceiptOf(std::string_view disposition) {
        std::string const folded = Folded(disposition);
        std::string const by = "Disposition: " + OnOneLine(disposition);
        if (folded.find("deleted") != folded.npos) return Of(AnswerKind::deleted_unread, by);
        constexpr std::string_view others[] = {"dispatched", "processed", "denied", "failed"};
        for (std::string_view const other : others)
            if (folded.find(other) != folded.npos) return Of(AnswerKind::auto_reply, by);
        return Of(AnswerKind::receipt, by);
    }
    Result Receipt() const {
        IncomingPart const* const part = Part("message/disposition-notification");
        if (!part) return {};
        for (auto const& [name, value] : FieldsIn(StartOf(part->content)))
            if (name == "disposition") return ReceiptOf(value);
        return ReceiptOf("");
    }

    Result DeliveryReport() const {
        IncomingPart const* part = Part("message/delivery-status");
        if (!part) part = Part("message/global-delivery-status");
        if (!part) return {};
        std::vector<RecipientReport> const reports = ReadDeliveryStatus(StartOf(part->content));
        // The gravest counts: of a mail to several addresses, one may have got it.
        RecipientReport const* gravest = nullptr;
        for (RecipientReport const& report : reports)
            if (!gravest || Gravity(report) > Gravity(*gravest)) gravest = &report;
        if (!gravest) return {};
        int const gravity = Gravity(*gravest);
        if (gravity == success) return Reported(*gravest, AnswerKind::delivered);
        if (gravity == delay) return Reported(*gravest, AnswerKind::delayed);
        return Failed(*gravest);
    }
    enum : int { success, delay, failure };
    static int Gravity(RecipientReport const& report) {
        constexpr std::string_view successes[] = {"delivered", "relayed", "expanded"};
        if (IsOneOf(report.action, successes)) return success;
        if (report.action.starts_with("delay")) return delay;
        return report.action.empty() && report.status.starts_with('2') ? success : failure;
    }
    static Result Reported(RecipientReport const& report, AnswerKind kind) {
        Classification result;
        result.kind = kind;
        result.status = report.status;
        result.reply = CodesIn(report.diagnostic).reply;
        result.text = report.diagnostic;
        result.decided_by = report.action.empty() ? report.status : "Action: " + report.action;
        return result;
    }
    // What the report itself does not tell may stand in the text.
    Result Failed(RecipientReport const& report) const {
        std::string const text = TextOfMessage(mail_, message_);
        std::string_view const own = BeforeReturnedCopy(text);
        std::string said = report.diagnostic;
        StatusCodes codes = CodesIn(said);
        bool const known = !report.status.empty() && !report.status.starts_with('2');
        if ((!known || IsUnspecific(report.status)) && codes.status.empty() && codes.reply == 0 &&
            !HasBounceWords(said)) {
            said = WhatServerSaid(own);
            codes = CodesIn(said);
        }
        bool const better = !codes.status.empty() && IsUnspecific(report.status) &&
                            !IsUnspecific(codes.status) && codes.status[0] == report.status[0];
        if (known && !better) codes.status = report.status;
        return Bounced(ReasonOf(codes, said, own), codes,
                       report.diagnostic.empty() ? said : report.diagnostic);
    }

    // How sure it is that a mail system wrote the mail.
    enum class Writer { person, may_be_system, likely_system, system };
    Writer WhoWrote() const {
        std::string const from = Folded(Out(IntoWithGeta(head_.Decoded("From"))));
        std::string const name = NameIn(from);
        std::string_view const path = head_.Field("Return-Path");
        bool const no_path = !path.empty() && Trimmed(path, "<> \t").empty();
        bool const report = FieldFolded("Content-Type").find("delivery-status") != std::string::npos ||
                            FieldFolded("Content-Class").find(":dsn") != std::string::npos;
        bool const titled =
            std::any_of(std::begin(daemon_titles), std::end(daemon_titles),
                        [&](std::string_view title) { return from.find(title) != from.npos; });
        if (IsOneOf(name, daemon_names) || !head_.Field("X-Failed-Recipients").empty() || report || titled)
            return Writer::system;
        bool const master = IsOneOf(name, master_names);
        if ((master && no_path) || IsOneOf(NameIn(Folded(path)), daemon_names)) return Writer::likely_system;
        // A mail without a sender, or with the words and the copy of a bounce.
        bool const no_sender = name.empty() && !from.empty();
        bool const returns = Find(AnswerKind::soft, true) && (own_.size() < text_.size() || OpensAsBounce());
        return master || no_path || no_sender || returns ? Writer::may_be_system : Writer::person;
    }
    // What stands in front of the "@" of an address.
    static std::string NameIn(std::string_view field) {
        std::string const address = AddressIn(field);
        return std::string(Trimmed(std::string_view(address).substr(0, address.find('@')), " \"\\"));
    }
    bool OpensAsBounce() const {
        constexpr std::size_t first_lines = 3;
        std::string opening;
        std::vector<std::string_view> const lines = OwnLines(own_);
        for (std::size_t i = 0; i < lines.size() && i < first_lines; ++i)
            opening.append(lines[i]).append("\n");
        std::vector<bool> const found = MailWordSearch::Instance().In(Folded(opening));
        auto const rows = WordsOfMails();
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (rows[i].place == MailWords::Place::opening && found[i]) return true;
        return false;
    }

    Result PlainBounce() const {
        Writer const writer = WhoWrote();
        if (writer == Writer::person || subject_.is_answer) return {};
        if (MailWords const* const words = Find(AnswerKind::delivered))
            return Of(AnswerKind::delivered, words->words);
        if (MailWords const* const words = Find(AnswerKind::delayed))
            return Of(AnswerKind::delayed, words->words);
        bool const failed = Find(AnswerKind::soft, writer == Writer::may_be_system);
        if (!failed && (writer == Writer::may_be_system || Find(AnswerKind::auto_reply))) return {};
        std::string const said = WhatServerSaid(own_);
        StatusCodes const codes = CodesIn(said);
        if (!failed && writer != Writer::system && codes.status.empty() && codes.reply == 0 &&
            !HasBounceWords(folded_))
            return {};
        BounceReason const reason = ReasonOf(codes, said, subject_.text + "\n" + std::string(own_));
        return Bounced(reason, codes, said);
    }
    static Classification Bounced(BounceReason const& reason, StatusCodes const& codes,
                                  std::string const& said) {
        return {reason.kind, codes.status, codes.reply, OnOneLine(said), reason.decided_by};
    }

    // The lines that hold a code, else those that hold known words, with what continues them.
    static std::string WhatServerSaid(std::string_view text) {
        constexpr std::size_t enough = 400;
        std::vector<std::string_view> lines;
        for (std::string_view rest = text; !rest.empty();) {
            std::size_t const end = std::min(rest.find('\n'), rest.size());
            lines.push_back(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        for (bool const by_code : {true, false})
            for (std::size_t i = 0; i < lines.size(); ++i) {
                StatusCodes const codes = CodesIn(lines[i]);
                bool const has_code = !codes.status.empty() || codes.reply > 0;
                if (by_code ? !has_code : !HasBounceWords(lines[i])) continue;
                std::string said(Trimmed(lines[i]));
                for (std::size_t next = i + 1; next < lines.size() && said.size() < enough; ++next) {
                    std::string_view const line = Trimmed(lines[next]);
                    if (line.empty()) break;
                    said += " " + std::string(line);
                }
                return said;
            }
        return {};
    }

    bool IsAutomatic() const {
        std::string const submitted = FieldFolded("Auto-Submitted");
        return !submitted.empty() && !submitted.starts_with("no");
    }

    // A person who answers may quote one.
    Result Challenge() const {
        bool const linked = folded_.find("http") != folded_.npos || IsAutomatic();
        MailWords const* const words = Find(AnswerKind::challenge);
        return words && linked && OwnLinesHold(words->words) ? Of(AnswerKind::challenge, words->words)
                                                             : Result();
    }
    bool OwnLinesHold(std::string_view words) const {
        std::string text;
        for (std::string_view const line : OwnLines(own_)) text.append(line).append("\n");
        return Folded(text).find(words) != std::string::npos;
    }

    Result PlainReceipt() const {
        for (IncomingField const& field : head_.fields) {
            std::string const name = Folded(field.name);
            if (name.starts_with("x-") && name.ends_with("disposition")) return ReceiptOf(field.value);
        }
        if (FieldFolded("Content-Class").find(":mdn") != std::string::npos ||
            FieldFolded("Content-Type").find("disposition-notification") != std::string::npos) {
            for (auto const& [name, value] : FieldsIn(own_))
                if (name == "disposition") return ReceiptOf(value);
            return ReceiptOf(Find(AnswerKind::deleted_unread) ? "deleted" : "");
        }
        if (MailWords const* const words = Find(AnswerKind::deleted_unread))
            return Of(AnswerKind::deleted_unread, words->words);
        if (MailWords const* const words = Find(AnswerKind::receipt))
            return Of(AnswerKind::receipt, words->words);
        return {};
    }

    // A report that was forwarded as text keeps its fields.
    Result PlainComplaint() const {
        MailWords const* const words = Find(AnswerKind::complaint);
        if (words && IsOneOf(NameIn(Folded(head_.Field("From"))), complaint_names))
            return Of(AnswerKind::complaint, words->words);
        std::size_t at = folded_.find("feedback-type:");
        if (at == folded_.npos || folded_.find("user-agent:") == folded_.npos) return {};
        std::string fields;
        for (std::string_view rest = text_; !rest.empty();) {
            std::size_t const end = std::min(rest.find('\n'), rest.size());
            fields += std::string(Trimmed(rest.substr(0, end), "> \t\r")) + "\n";
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        bool has_type = false, has_agent = false;
        for (auto const& [name, value] : FieldsIn(fields)) {
            has_type |= name == "feedback-type";
            has_agent |= name == "user-agent";
        }
        return has_type && has_agent ? ComplaintIn(fields) : std::nullopt;
    }

    // RFC 3834 5, and the fields from before it.
    Result AutoReply() const {
        if (IsAutomatic()) return Of(AnswerKind::auto_reply, "Auto-Submitted");
        constexpr char const* fields[] = {"X-Autoreply",      "X-Autorespond",         "X-Auto-Reply",
                                          "X-Autoreply-From", "X-Mail-Autoreply",      "X-Autoresponder",
                                          "X-Vacation",       "X-FC-MachineGenerated", "X-Autoreply-Domain",
                                          "X-Away",           "X-AutoReply-Date"};
        for (char const* const field : fields)
            if (!head_.Field(field).empty()) return Of(AnswerKind::auto_reply, field);
        std::string const precedence = FieldFolded("Precedence") + FieldFolded("X-Precedence");
        if (precedence.find("auto_reply") != precedence.npos ||
            precedence.find("auto-reply") != precedence.npos)
            return Of(AnswerKind::auto_reply, "Precedence");
        // Mailing lists have it too.
        bool const from_list = !head_.Field("List-Id").empty() || !head_.Field("List-Unsubscribe").empty();
        bool const answers = !head_.Field("In-Reply-To").empty() || !head_.Field("References").empty();
        bool const low = precedence == "bulk" || precedence == "junk";
        if (low && answers && !from_list) return Of(AnswerKind::auto_reply, "Precedence");
        MailWords const* const words = subject_.is_answer ? nullptr : Find(AnswerKind::auto_reply);
        return words ? Of(AnswerKind::auto_reply, words->words) : Result();
    }

    IncomingMail const& mail_;
    std::size_t const message_;
    IncomingMessage const& head_;
    FoldedSubject const subject_;
    std::string text_, folded_;
    std::string_view own_;  // the text before a returned copy
    std::vector<bool> in_subject_, in_text_;
};

}  // namespace

Classification Classify(IncomingMail const& mail, std::size_t message) {
    return Judging(mail, message).Run();
}

}  // namespace engine
