#include "engine/receiving/answers.h"

#include <algorithm>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/trimmed.h"
#include "engine/customers/elements.h"
#include "engine/environment/message_key.h"
#include "engine/mails/mail_store.h"
#include "engine/mails/states.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr char const* yes = "Y";
constexpr char const* no = "N";
constexpr int forgiving = 0;  // a bad field is left out
constexpr char const* of_no_mail = "どのメールのものか分かりません";

// Whether the consent to mail in a registration is only the default of a new customer. A recorded refusal
// stands unless the registration states the consent.
bool IsAssumed(int element, CString text) {
    text.Remove('\r');
    text.Remove('\n');
    bool const consents = text.Find("<DMOK>Y</DMOK>") >= 0, declines = text.Find("<DMOK>N</DMOK>") >= 0;
    return element == customers::element_other_mail ||
           (element == customers::element_direct_mail && !consents && !declines);
}

// Nothing but blanks, and the line that closes a mail on its way.
bool IsEmptyText(std::string_view text) {
    text = Trimmed(text);
    return text.empty() || text == "." || text == "\u3000";
}

// Whether somebody wrote a mail without content. One whose content could not be read is none.
bool HoldsNothing(IncomingMail const& mail) {
    auto const is_empty = [](IncomingPart const& part) { return part.text && IsEmptyText(part.content); };
    return mail.Whole() && mail.Messages().size() == 1 &&
           std::all_of(mail.Parts().begin(), mail.Parts().end(), is_empty);
}

// Of the innermost message above a place that is not an ordinary letter; else of the mail itself.
Classification KindAbove(IncomingMail const& mail, std::size_t message) {
    for (int above = message == 0 ? 0 : mail.Messages()[message].parent; above > 0;
         above = mail.Messages()[static_cast<std::size_t>(above)].parent) {
        Classification seen = Classify(mail, static_cast<std::size_t>(above));
        if (seen.kind != AnswerKind::other) return seen;
    }
    return Classify(mail);
}

// Of which a digest may hold several.
bool IsReport(AnswerKind kind) {
    return IsBounce(kind) || kind == AnswerKind::delayed || kind == AnswerKind::delivered ||
           kind == AnswerKind::receipt;
}

// Whether the server refused the mail for good.
bool IsForGood(Classification const& seen) {
    if (seen.kind == AnswerKind::hard) return true;
    return seen.status.empty() ? seen.reply / 100 == 5 : seen.status.starts_with('5');
}

}  // namespace

Answers::Answers(Session& session, bool apply)
    : session_(session),
      apply_(apply),
      retry_(session),
      register_mode_(session.Setting("receive.register")),
      refuse_keyword_(Into(session.Setting("receive.refuse-keyword"), "receive.refuse-keyword")),
      refusal_words_(session.Setting("receive.refuse-keyword"), session.Setting("receive.refuse-words")),
      signer_(ReadMessageKey(session.DataDirectory()).bytes),
      sent_(session, apply) {
    session_.Customers();
    session_.Mails();
}

// --- What a mail is ---

// false for a mail that cannot be read.
bool Answers::Analyse(IncomingMail const& mail) {
    analyzer_.InitMember();
    analyzer_.SetResistWithEmpty(register_mode_ == "empty" && HoldsNothing(mail));
    analyzer_.SetRefuseWithKeyword(!refuse_keyword_.IsEmpty(), refuse_keyword_);
    return !mail.Messages().front().fields.empty() && analyzer_.MailAnalysis(mail.ForAnalysis()) == 0;
}

std::vector<Answer> Answers::Take(CString const& text) {
    IncomingMail const mail(text.View());
    if (!Analyse(mail)) {
        Answer answer;
        answer.kind = AnswerKind::unreadable;
        answer.keep = true;
        answer.effect = "読めないメールです";
        return {answer};
    }
    Trace const trace(mail, text.View(), signer_, sent_);
    std::vector<Answer> answers;
    for (Traced const& traced : trace.All()) {
        answers.push_back(Judge({mail, trace, &traced}));
        if (!IsReport(answers.back().kind)) break;  // a letter answers one mail, whatever it quotes
    }
    if (answers.empty()) answers.push_back(Judge({mail, trace, nullptr}));
    return answers;
}

void Answers::TraceByAddress(Reading& reading, std::optional<Traced>& found) {
    if (reading.traced || !IsBounce(reading.seen.kind)) return;
    found = reading.trace.ByAddress([&](std::string const& address) { return sent_.LastMailTo(address); });
    if (found) reading.traced = &*found;
}

// The library's analysis takes it for a bounce by its sender or subject, it returns one of our mails, and it
// is no answer of a person.
bool Answers::IsReturnedMail(Reading const& reading) const {
    IncomingMessage const& mail = reading.mail.Messages().front();
    return reading.seen.kind == AnswerKind::other && analyzer_.GetMailType() == MailAnalyzer::error_mail &&
           reading.traced && mail.Field("In-Reply-To").empty() && mail.Field("References").empty();
}

Answer Answers::Judge(Reading reading) {
    Answer answer;
    answer.from = analyzer_.GetFromAddress();
    reading.seen = reading.traced ? KindAbove(reading.mail, reading.traced->message) : Classify(reading.mail);
    if (IsReturnedMail(reading)) reading.seen.kind = AnswerKind::soft;
    answer.kind = reading.seen.kind;
    std::optional<Traced> by_address;
    TraceByAddress(reading, by_address);
    if (Traced const* const traced = reading.traced) {
        answer.mail = traced->numbers.mail;
        answer.customer = traced->numbers.customer;
        answer.by_address = traced->how == Traced::by_address;
        if (!answer.by_address) Settle(answer, *traced);
    }
    switch (answer.kind) {
        case AnswerKind::hard:
        case AnswerKind::soft:
        case AnswerKind::mailbox_full:
        case AnswerKind::blocked:
        case AnswerKind::content_refused: Bounce(answer, reading); break;
        case AnswerKind::delayed: answer.effect = "まだ届けようとしています"; break;
        case AnswerKind::delivered: answer.effect = "届いたという知らせです"; break;
        case AnswerKind::challenge:
            answer.effect = "人が送ったことの確認を求めています";
            answer.keep = true;
            break;
        case AnswerKind::receipt: Receipt(answer); break;
        case AnswerKind::deleted_unread: answer.effect = "読まずに削除されました"; break;
        case AnswerKind::complaint: Complaint(answer); break;
        case AnswerKind::other: Written(answer, reading); break;
        default: answer.keep = true;  // an automatic reply
    }
    if (answer.by_address) answer.effect += " (宛先のアドレスからの判断)";
    if (answer.settles && !answer.postponed)
        answer.effect =
            "不明だったのが、送れていたと分かりました" + (answer.effect.empty() ? "" : "。" + answer.effect);
    return answer;
}

// A letter of a person.
void Answers::Written(Answer& answer, Reading const& reading) {
    RefusalSign sign =
        FindRefusal(reading.mail, AnswerKind::other, refusal_words_, reading.traced != nullptr);
    int const type = analyzer_.GetMailType();
    bool const certain = sign.certainty == RefusalSign::Certainty::certain || type == MailAnalyzer::refuse;
    if (auto const unsubscriber = reading.trace.Unsubscriber()) {
        answer.mail = unsubscriber->mail;
        return Refusal(answer, unsubscriber->customer, RefusedBy::list_unsubscribe);
    }
    if (certain) {
        int const customer = CustomerAt(answer.from);
        if (customer >= 0) return Refusal(answer, customer, RefusedBy::mail);
        return Unclear(answer, "差出人が顧客ではありません");
    }
    if (sign.certainty == RefusalSign::Certainty::unclear)
        return Unclear(answer, "配信停止の申し出かもしれません");
    if (type == MailAnalyzer::regist) return Registration(answer);
    answer.keep = true;
}

// --- Histories ---

MailHistory* Answers::HistoryOf(Answer& answer) {
    std::string trouble;
    MailHistory* const history = sent_.Get(answer.mail, trouble);
    answer.postponed = !history;
    if (!history) answer.effect = trouble;
    return history;
}

// Where the history cannot be changed now, only an effect on it is postponed, not one on the customer.
void Answers::Settle(Answer& answer, Traced const& traced) {
    MailHistory* const history = HistoryOf(answer);
    answer.postponed = false;
    answer.effect.clear();
    if (!history) return;
    auto const unknown = history->Unknown().find(answer.customer);
    if (unknown == history->Unknown().end()) return;
    if (!traced.message_id.empty() && !IsSameId(unknown->second.message_id.View(), traced.message_id)) return;
    answer.settles = true;
    if (apply_) sent_.Change(answer.mail).SettleAsSent(answer.customer);
}

// Whether the answer is to the last mail that the customer was sent, and not to an attempt before that.
bool Answers::IsCurrent(HistoryListViewer& history, Answer& answer, Traced const& traced) const {
    CString id;
    if (history.DBID2RowNumber(answer.customer) < 0 ||
        history.TransferMessageID(answer.customer, id, HistoryListViewer::transfer_read) < 0) {
        answer.effect = "送信履歴にない宛先です";
        answer.keep = true;
        return false;
    }
    if (answer.settles || traced.message_id.empty() || IsSameId(id.View(), traced.message_id)) return true;
    answer.effect = "前の送信への返事です";
    return false;
}

void Answers::Bounce(Answer& answer, Reading const& reading) {
    if (answer.mail < 0) {
        answer.effect = of_no_mail;
        answer.keep = true;
        return;
    }
    MailHistory* const opened = HistoryOf(answer);
    if (!opened) return;
    HistoryListViewer& history = opened->Rows();
    if (IsCurrent(history, answer, *reading.traced)) {
        CString state;
        int number = 0;
        history.TransferState(answer.customer, state, HistoryListViewer::transfer_read);
        history.TransferRetryNum(answer.customer, number, HistoryListViewer::transfer_read);
        if (!answer.settles && RecipientStateOf(state.View()) != RecipientState::complete) {
            answer.effect = "もう記録されています";
        } else {
            bool const for_good = IsForGood(reading.seen);
            RecipientState const after = for_good ? RecipientState::failed : retry_.AfterFailure(number);
            if (apply_)
                sent_.Change(answer.mail)
                    .Return(answer.customer, after,
                            {for_good ? Outcome::refused : Outcome::failed, reading.seen.reply,
                             reading.seen.status, reading.seen.text, NowText()});
            answer.effect =
                after == RecipientState::waiting ? "再送信を待つようにしました" : "エラーにしました";
            if (!reading.seen.text.empty()) answer.effect += ": " + reading.seen.text;
        }
    }
    if (!answer.keep) CountBounce(answer, reading);
}

// A mail that went to a former address of the customer tells nothing about the present one.
void Answers::CountBounce(Answer& answer, Reading const& reading) {
    bool const hard = reading.seen.kind == AnswerKind::hard;
    if (!hard && reading.seen.kind != AnswerKind::soft && reading.seen.kind != AnswerKind::mailbox_full)
        return;
    std::string const address = AddressOf(answer.customer);
    std::string const to(reading.mail.Messages()[reading.traced->message].Field("to"));
    bool const is_former = reading.traced->message > 0 && to.find('@') != to.npos &&
                           AddressKey(to).find(AddressKey(address)) == to.npos;
    if (address.empty() || is_former) return;
    if (!apply_) return;
    bool const was = Suspended().Contains(AddressKey(address));
    bool const is =
        Suspended().CountBounce(address, answer.mail, hard ? engine::Bounce::hard : engine::Bounce::soft,
                                std::string(NowText().View()), reading.seen.text);
    if (is && !was) answer.effect += "。この宛先には、これから送りません";
}

void Answers::Receipt(Answer& answer) {
    if (answer.mail < 0) {
        answer.effect = of_no_mail;
        answer.keep = true;
        return;
    }
    MailHistory* const opened = HistoryOf(answer);
    if (!opened) return;
    HistoryListViewer& history = opened->Rows();
    CString flag;
    if (history.DBID2RowNumber(answer.customer) < 0 ||
        history.TransferOpenFlag(answer.customer, flag, HistoryListViewer::transfer_read) < 0) {
        answer.effect = "送信履歴にない宛先です";
        answer.keep = true;
        return;
    }
    answer.effect = flag == yes ? "もう記録されています" : "開封にしました";
    if (flag == yes || !apply_) return;
    flag = yes;
    sent_.Change(answer.mail);
    history.TransferOpenFlag(answer.customer, flag, HistoryListViewer::transfer_store);
}

// --- Customers and lists ---

KeptRefusals& Answers::Refusers() {
    if (!refusers_) refusers_.emplace(session_, session_.Customers(), KeptRefusals::How{RefusedBy::mail});
    return *refusers_;
}

Suspensions& Answers::Suspended() {
    if (!suspended_) suspended_.emplace(session_);
    return *suspended_;
}

std::string Answers::AddressOf(int customer) {
    return Out(session_.Customers().GetCustomerDataPinPoint(customer, customers::element_address));
}

int Answers::CustomerAt(CString const& address) {
    if (address.IsEmpty()) return -1;
    int const id = session_.Customers().SearchCustomerOneElement(
        customers::element_address, address, OneCustomer::no_id, customers::direction_forward);
    return id < 0 ? -1 : id;
}

void Answers::Store(OneCustomer& customer) {
    if (!apply_) return;
    Refusers();
    if (session_.Customers().SetOneCustomerInfo(customer, CDatabaseEdit::store_in_memory) < 0)
        throw Failure(Failure::operation_failed,
                      "顧客を書き込めません: " + TextOf(session_.Customers().GetErrMsg()));
}

void Answers::Complaint(Answer& answer) {
    if (answer.customer < 0) return Unclear(answer, of_no_mail);
    int const customer = answer.customer;
    Refusal(answer, customer, RefusedBy::complaint);
    answer.kind = AnswerKind::complaint;
}

void Answers::Unclear(Answer& answer, std::string const& why) {
    answer.kind = AnswerKind::unclear_refusal;
    answer.effect = why;
    answer.keep = true;
}

void Answers::Refusal(Answer& answer, int customer, RefusedBy how) {
    answer.kind = AnswerKind::refusal;
    answer.customer = customer;
    OneCustomer row;
    if (session_.Customers().GetOneCustomerForEdit(row, customer) < 0)
        return Unclear(answer, "どの顧客のものか分かりません");
    answer.effect = row.DMOk == no ? "もう停止しています" : "DMを送らないようにしました";
    if (apply_) Refusers().List().Add({Out(row.Email), how, answer.mail});
    if (row.DMOk == no) return;
    row.DMOk = no;
    Store(row);
}

void Answers::Registration(Answer& answer) {
    answer.kind = AnswerKind::registration;
    if (register_mode_ == "off") {
        answer.effect = "登録を受けない設定です";
        answer.keep = true;
        return;
    }
    OneCustomer given;
    if (session_.Customers().ConvertEMailToOneCunstomer(analyzer_.GetDecodeMailBody(), given, forgiving) <
        0) {
        answer.effect = "登録できません: " + TextOf(session_.Customers().GetErrMsg());
        answer.keep = true;
        return;
    }
    int const known = CustomerAt(given.Email);
    OneCustomer customer = given;
    if (known >= 0) {
        session_.Customers().GetOneCustomerForEdit(customer, known);
        for (int element = 0; element < customers::element_count; ++element)
            if (auto const member = MemberOf(element);
                member && !(given.*member).IsEmpty() && !IsAssumed(element, analyzer_.GetDecodeMailBody()))
                customer.*member = given.*member;
        answer.effect = customer.DeleteFlag == yes ? "削除済みの顧客を戻しました" : "顧客を更新しました";
        customer.DeleteFlag.Empty();
    } else {
        answer.effect = "顧客を加えました";
    }
    if (apply_ && KeepRefusal(Refusers().List(), customer))
        answer.effect += "。配信停止の申し出のある宛先なので、DMは送りません";
    Store(customer);
    answer.customer = apply_ ? customer.CustomerID : known;
}

Answer Answers::Refuse(CString const& text, std::optional<int> customer) {
    IncomingMail const mail(text.View());
    if (!Analyse(mail)) throw Failure(Failure::unsuitable_mail, "読めないメールです");
    Trace const trace(mail, text.View(), signer_, sent_);
    std::vector<Traced> const traced = trace.All();
    Answer answer;
    answer.from = analyzer_.GetFromAddress();
    answer.mail = traced.empty() ? -1 : traced.front().numbers.mail;
    int const at_sender = CustomerAt(analyzer_.GetFromAddress());
    int const chosen = customer             ? *customer
                       : at_sender >= 0     ? at_sender
                       : traced.size() == 1 ? traced.front().numbers.customer
                                            : -1;
    if (chosen < 0)
        throw Failure(Failure::customer_not_found,
                      "どの顧客のものか分かりません。--customer で顧客を指定してください。");
    Refusal(answer, chosen, RefusedBy::user);
    if (answer.kind != AnswerKind::refusal)
        throw Failure(Failure::customer_not_found, "その顧客はいません: " + std::to_string(chosen));
    return answer;
}

void Answers::Save() {
    if (suspended_) suspended_->Save();
    if (refusers_) {
        refusers_->Settle();
        session_.SaveCustomers();
    }
    suspended_.reset();
    refusers_.reset();
    sent_.Save();
}

}  // namespace engine
