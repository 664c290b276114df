#include "engine/receiving/answers.h"

#include <algorithm>
#include <set>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/customers/elements.h"
#include "engine/mails/mail_store.h"
#include "engine/mails/received_text.h"
#include "engine/mails/states.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr char const* yes = "Y";
constexpr char const* no = "N";
constexpr int forgiving = 0;  // a bad field is left out

// Whether the consent to mail in a registration is only the default of a new customer. A recorded refusal
// stands unless the registration states the consent.
bool IsAssumed(int element, CString text) {
    text.Remove('\r');
    text.Remove('\n');
    bool const consents = text.Find("<DMOK>Y</DMOK>") >= 0, declines = text.Find("<DMOK>N</DMOK>") >= 0;
    return element == customers::element_other_mail ||
           (element == customers::element_direct_mail && !consents && !declines);
}

bool Holds(CString const& text, char const* word) { return MimeDecodeTool::stristr(text, word) != nullptr; }

}  // namespace

Answers::Answers(Session& session, bool apply)
    : session_(session),
      apply_(apply),
      retry_(session),
      register_mode_(session.Setting("receive.register")),
      refuse_keyword_(Into(session.Setting("receive.refuse-keyword"), "receive.refuse-keyword")) {
    session_.Customers();
    session_.Mails();
}

Answer Answers::Take(std::string const& text) {
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(CString(std::string_view(text)), mail);
    MakeReadable(mail);
    analyzer_.InitMember();
    analyzer_.SetResistWithEmpty(register_mode_ == "empty");
    analyzer_.SetRefuseWithKeyword(!refuse_keyword_.IsEmpty(), refuse_keyword_);
    analyzer_.MailAnalysis(mail);
    Answer answer;
    answer.from = analyzer_.GetFromAddress();
    original_id_ = analyzer_.GetOriginalMessageID();
    if (original_id_.IsEmpty()) original_id_ = analyzer_.GetDispositionReport().original_message_id;
    if (auto const original = OriginalOf(original_id_)) {
        answer.mail = original->mail;
        answer.customer = original->customer;
        Settle(answer);
    }
    switch (analyzer_.GetMailType()) {
        case MailAnalyzer::error_mail: Bounce(answer); break;
        case MailAnalyzer::disposition_notification: Receipt(answer); break;
        case MailAnalyzer::refuse: Refusal(answer); break;
        case MailAnalyzer::regist: Registration(answer); break;
        default: answer.keep = true;
    }
    if (answer.settles && !answer.postponed)
        answer.effect =
            "不明だったのが、送れていたと分かりました" + (answer.effect.empty() ? "" : "。" + answer.effect);
    return answer;
}

std::optional<Answers::Original> Answers::OriginalOf(CString const& message_id) {
    if (message_id.IsEmpty()) return {};
    std::string const id(message_id.View());
    if (auto const numbers = NumbersIn(id); numbers && session_.Mails().FindMailData(numbers->mail) == 0)
        return Original{numbers->mail, numbers->customer};
    ReadOldHistories();
    auto const found = old_ids_.find(id);
    return found == old_ids_.end() ? std::nullopt : std::optional(found->second);
}

// Message-IDs without numbers, of mails that an earlier version sent.
void Answers::ReadOldHistories() {
    if (old_ids_read_) return;
    old_ids_read_ = true;
    CArray<int, int> mails;
    session_.Mails().CountMailByViewType(CMailListViewer::view_not_deleted | CMailListViewer::view_deleted,
                                         &mails);
    for (int const mail : mails) {
        MailHistory history(session_, mail);
        CArray<HistorySet, HistorySet> rows;
        history.Rows().GetHDataFromMemoryToStruct(rows, HistoryListViewer::all_rows,
                                                  HistoryListViewer::all_rows);
        for (HistorySet const& row : rows)
            if (!row.MessageID.IsEmpty() && !NumbersIn(row.MessageID.View()))
                old_ids_.try_emplace(std::string(row.MessageID.View()), Original{mail, row.CustomerID});
    }
}

MailHistory* Answers::HistoryOf(Answer& answer) {
    if (!apply_) {
        auto& history = looked_at_[answer.mail];
        if (!history) history = std::make_unique<MailHistory>(session_, answer.mail);
        return history.get();
    }
    auto const [place, is_new] = histories_.try_emplace(answer.mail);
    Opened& opened = place->second;
    if (is_new) try {
            opened.history = std::make_unique<SendHistory>(session_, answer.mail, MailLock::For::changing);
        } catch (Failure const& failure) {
            opened.trouble = failure.what();
        }
    answer.postponed = !opened.history;
    if (answer.postponed) answer.effect = opened.trouble;
    return opened.history.get();
}

// Where the history cannot be changed now, only an effect on it is postponed, not one on the customer.
void Answers::Settle(Answer& answer) {
    MailHistory* const history = HistoryOf(answer);
    answer.postponed = false;
    answer.effect.clear();
    if (!history) return;
    auto const unknown = history->Unknown().find(answer.customer);
    if (unknown == history->Unknown().end() || unknown->second.message_id != original_id_) return;
    answer.settles = true;
    if (apply_) histories_.at(answer.mail).history->SettleAsSent(answer.customer);
}

// Whether the answer is to the last mail that the customer was sent, and not to an attempt before that.
bool Answers::IsCurrent(HistoryListViewer& history, Answer& answer) const {
    CString id;
    if (history.DBID2RowNumber(answer.customer) < 0 ||
        history.TransferMessageID(answer.customer, id, HistoryListViewer::transfer_read) < 0) {
        answer.effect = "送信履歴にない宛先です";
        answer.keep = true;
        return false;
    }
    if (answer.settles || id == original_id_) return true;
    answer.effect = "前の送信への返事です";
    return false;
}

void Answers::Bounce(Answer& answer) {
    DeliveryReport const& report = analyzer_.GetDeliveryReport();
    bool const for_good = report.status.Left(1) == "5";
    answer.kind = for_good ? AnswerKind::hard : AnswerKind::soft;
    if (Holds(report.action, "delayed")) {
        answer.kind = AnswerKind::delayed;
        answer.effect = "まだ届けようとしています";
        return;
    }
    if (answer.mail < 0) {
        answer.effect = "どのメールのものか分かりません";
        answer.keep = true;
        return;
    }
    MailHistory* const opened = HistoryOf(answer);
    if (!opened || !IsCurrent(opened->Rows(), answer)) return;
    HistoryListViewer* const history = &opened->Rows();
    CString state;
    int number = 0;
    history->TransferState(answer.customer, state, HistoryListViewer::transfer_read);
    history->TransferRetryNum(answer.customer, number, HistoryListViewer::transfer_read);
    if (!answer.settles && RecipientStateOf(state.View()) != RecipientState::complete) {
        answer.effect = "もう記録されています";
        return;
    }
    RecipientState const after = for_good ? RecipientState::failed : retry_.AfterFailure(number);
    state = LetterOf(after);
    if (apply_) history->TransferState(answer.customer, state, HistoryListViewer::transfer_store);
    answer.effect = after == RecipientState::waiting ? "再送信を待つようにしました" : "エラーにしました";
    if (!report.diagnostic_code.IsEmpty())
        answer.effect += ": " + OnOneLine(GuessedText(report.diagnostic_code.View()));
}

void Answers::Receipt(Answer& answer) {
    answer.kind = AnswerKind::receipt;
    if (answer.mail < 0) {
        answer.effect = "どのメールのものか分かりません";
        answer.keep = true;
        return;
    }
    if (Holds(analyzer_.GetDispositionReport().disposition, "deleted")) {
        answer.effect = "読まずに削除されました";
        return;
    }
    MailHistory* const opened = HistoryOf(answer);
    if (!opened) return;
    HistoryListViewer* const history = &opened->Rows();
    CString flag;
    if (history->DBID2RowNumber(answer.customer) < 0 ||
        history->TransferOpenFlag(answer.customer, flag, HistoryListViewer::transfer_read) < 0) {
        answer.effect = "送信履歴にない宛先です";
        answer.keep = true;
        return;
    }
    answer.effect = flag == yes ? "もう記録されています" : "開封にしました";
    flag = yes;
    if (apply_) history->TransferOpenFlag(answer.customer, flag, HistoryListViewer::transfer_store);
}

int Answers::CustomerBehind(Answer const& answer) {
    if (answer.customer >= 0 &&
        session_.Customers().FindCustomerID(answer.customer, CDatabaseEdit::find_all) == 1)
        return answer.customer;
    if (answer.from.IsEmpty()) return -1;
    int const id = session_.Customers().SearchCustomerOneElement(
        customers::element_address, answer.from, OneCustomer::no_id, customers::direction_forward);
    return id < 0 ? -1 : id;
}

void Answers::Store(OneCustomer& customer) {
    if (!apply_) return;
    if (session_.Customers().SetOneCustomerInfo(customer, CDatabaseEdit::store_in_memory) < 0)
        throw Failure(Failure::operation_failed,
                      "顧客を書き込めません: " + TextOf(session_.Customers().GetErrMsg()));
    customers_changed_ = true;
}

void Answers::Refusal(Answer& answer) {
    answer.kind = AnswerKind::refusal;
    answer.customer = CustomerBehind(answer);
    OneCustomer customer;
    if (answer.customer < 0 || session_.Customers().GetOneCustomerForEdit(customer, answer.customer) < 0) {
        answer.effect = "どの顧客のものか分かりません";
        answer.keep = true;
        return;
    }
    answer.effect = customer.DMOk == no ? "もう停止しています" : "DMを送らないようにしました";
    if (customer.DMOk == no) return;
    customer.DMOk = no;
    Store(customer);
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
    int const known = session_.Customers().SearchCustomerOneElement(
        customers::element_address, given.Email, OneCustomer::no_id, customers::direction_forward);
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
    Store(customer);
    answer.customer = apply_ ? customer.CustomerID : known;
}

void Answers::Save() {
    if (customers_changed_) session_.SaveCustomers();
    customers_changed_ = false;
    for (auto& [mail, opened] : histories_) {
        SendHistory* const history = opened.history.get();
        if (!history) continue;
        history->End();
        // A mail that was changed after it was sent stays a draft.
        PutInList(session_, mail, StatusAfter(*history), history->Rows(),
                  {MailStatus::draft, MailStatus::deleted});
    }
    histories_.clear();
}

}  // namespace engine
