#include "engine/reports/mail_report.h"

#include "engine/base/crossing.h"
#include "engine/base/full_name.h"
#include "engine/incoming/bounce_reason.h"
#include "engine/mails/mail_store.h"
#include "engine/sending/send_history.h"
#include "engine/sending/unknown_recipients.h"
#include "engine/targets/target.h"

namespace engine {
namespace {

constexpr int family_name = 2, given_name = 3;  // elements of a customer

bool HasNoMailbox(LastReply const* reply) {
    return reply && ReasonOf({reply->enhanced, reply->code}, reply->text, {}).kind == AnswerKind::hard;
}

void Count(MailHistory& history, HistorySet const& row, MailCounts& counts) {
    counts.attempts += std::int64_t{row.RetryNumber} + 1;
    if (row.OpenFlag == "Y") ++counts.opened;
    if (history.IsUnknown(row.CustomerID)) {
        counts.attempts += std::int64_t{history.Unknown().at(row.CustomerID).number} - row.RetryNumber;
        ++counts.unknown;
        return;
    }
    switch (RecipientStateOf(row.State.View()).value_or(RecipientState::failed)) {
        case RecipientState::waiting: ++counts.waiting; break;
        case RecipientState::complete: ++counts.sent; break;
        default: ++(HasNoMailbox(history.ReplyTo(row.CustomerID)) ? counts.no_mailbox : counts.other_errors);
    }
}

// A mail without a history waits for all its recipients.
MailCounts CountsOf(Session& session, int mail, MailHistory& history) {
    CArray<HistorySet, HistorySet> rows;
    history.Rows().GetHDataFromMemoryToStruct(rows, HistoryListViewer::all_rows, HistoryListViewer::all_rows);
    MailCounts counts;
    counts.recipients = static_cast<int>(rows.GetSize());
    if (counts.recipients == 0) counts.recipients = counts.waiting = RecipientCount(session, mail);
    for (HistorySet const& row : rows) Count(history, row, counts);
    return counts;
}

// What the row cannot say of the last attempt.
void TakeLastAttempt(MailHistory const& history, RecipientOutcome& one) {
    if (history.IsUnknown(one.customer)) {
        UnknownAttempt const& attempt = history.Unknown().at(one.customer);
        one.state = {RecipientState::unknown, {}};
        one.attempts = attempt.number + 1;
        one.message_id = Out(attempt.message_id);
        one.last_sent = Out(attempt.time);
        one.reason = ReasonOf(attempt);
    } else if (LastReply const* const reply = history.ReplyTo(one.customer)) {
        one.code = reply->code > 0 ? std::to_string(reply->code) : "";
        if (!reply->enhanced.empty()) one.code += (one.code.empty() ? "" : " ") + reply->enhanced;
        one.reason = reply->text;
    }
}

CString NameOfCustomer(CDatabaseEdit& customers, int id) {
    return FullName(customers.GetCustomerDataPinPoint(id, family_name),
                    customers.GetCustomerDataPinPoint(id, given_name));
}

}  // namespace

std::vector<MailSummary> SummariesOfMails(Session& session, bool deleted) {
    CArray<int, int> ids;
    unsigned long views = CMailListViewer::view_not_deleted;
    if (deleted) views |= CMailListViewer::view_deleted;
    session.Mails().CountMailByViewType(views, &ids);
    AnswerCounts answers = CountAnswers(session.DataDirectory());
    std::vector<MailSummary> mails;
    for (int const id : ids) {
        MailHistory history(session, id);
        COneMailData row;
        session.Mails().GetMailData(id, row);
        MailSummary mail;
        mail.mail = id;
        mail.subject = Out(row.GetMailTitle());
        mail.status = StoredMailStatus(row.GetStatus());
        mail.counts = CountsOf(session, id, history);
        mail.refusals = answers[id][AnswerKind::refusal] + answers[id][AnswerKind::complaint];
        CString changed;
        session.Mails().GetMailDataPinPoint(id, CMailListViewer::column_renewal_date, changed);
        mail.changed = Out(changed);
        mails.push_back(mail);
    }
    return mails;
}

MailOutcomes OutcomesOfMail(Session& session, int mail) {
    RequireMail(session, mail, Deleted::allow);
    MailHistory history(session, mail);
    CArray<HistorySet, HistorySet> rows;
    history.Rows().GetHDataFromMemoryToStruct(rows, HistoryListViewer::all_rows, HistoryListViewer::all_rows);
    CDatabaseEdit& customers = session.Customers();
    MailOutcomes outcomes;
    for (int i = 0; i < rows.GetSize(); ++i) {
        HistorySet const& row = rows[i];
        RecipientOutcome one;
        one.customer = row.CustomerID;
        one.address = Out(customers.GetCustomerDataPinPoint(row.CustomerID, customers::element_address));
        one.name = Out(NameOfCustomer(customers, row.CustomerID));
        one.state = StoredRecipientState(row.State);
        one.attempts = std::int64_t{row.RetryNumber} + 1;
        one.failures = one.state == RecipientState::complete ? one.attempts - 1 : one.attempts;
        one.opened = Out(row.OpenFlag);
        one.message_id = Out(row.MessageID);
        if (one.attempts > 0)
            one.last_sent =
                Out(history.Rows().GetStringElement(HistoryListViewer::element_last_send_date, i));
        TakeLastAttempt(history, one);
        outcomes.recipients.push_back(one);
    }
    outcomes.counts = CountsOf(session, mail, history);
    return outcomes;
}

}  // namespace engine
