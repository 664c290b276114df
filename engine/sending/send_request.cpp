#include "engine/sending/send_request.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/customers/customer_table.h"
#include "engine/customers/testers.h"
#include "engine/mails/states.h"
#include "engine/sending/current_customers.h"
#include "engine/sending/draft_record.h"
#include "engine/sending/outcome_file.h"
#include "engine/sending/recipient_bounces.h"
#include "engine/sending/send_history.h"
#include "engine/sending/sending.h"
#include "engine/targets/target.h"

namespace engine {
namespace {

void TellRecipients(FrontEnd& front, std::vector<int> const& ids, Mailing::Fetch const& fetch) {
    OneCustomer customer;
    for (int const id : ids)
        if (fetch(id, customer) == Standing::recipient)
            front.Result(std::to_string(id) + " " + Out(OnOneLine(customer.Email.View())));
    front.Result(Grouped(ids.size()) + "通を送ります (--dry-run なので送っていません)。");
}

void TellFailure(FrontEnd& front, Delivery const& delivery) {
    if (delivery.outcome == Outcome::sent || delivery.course == Delivery::cut_off) return;
    bool const left_out = delivery.course == Delivery::left_out;
    front.Notice(std::string(left_out ? "見送り" : WordOf(delivery.outcome)) + " " +
                 std::to_string(delivery.id) + " <" + Out(delivery.address) + ">: " + delivery.reply);
}

// Throws Failure for a mailing that stopped, or in which a mail was not sent. The last two say what can be
// done then.
void RequireAllSent(Mailing const& mailing, std::size_t recipients, std::string const& after_stop = {},
                    std::string const& after_refusal = {}) {
    if (!mailing.Stopped().empty()) throw Failure(mailing.StopKind(), mailing.Stopped() + after_stop);
    if (mailing.Sent() + mailing.LeftOut() < recipients)
        throw Failure(Failure::not_all_sent, "送れなかった宛先があります。" + after_refusal);
}

constexpr int no_mail = -1;

// --- A draft, of which the environment keeps nothing ---

std::vector<int> RecipientsOfDraft(Session& session, std::string const& to) {
    CDatabaseEdit& customers = session.Customers();
    std::vector<int> ids;
    if (to == "all") {
        CArray<int, int> live;
        customers.GetDBIDWithoutDelete(live);
        ids.assign(live.begin(), live.end());
    } else {
        ids = IdsIn(to, "--to は all か、--to");
        for (int const id : ids)
            if (customers.FindCustomerID(id, CDatabaseEdit::find_live) != 1) ThrowUnknownCustomer(id);
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    DropRefusers(session, ids);
    return ids;
}

void SendDraft(Session& session, SendRequest const& request, Draft const& draft) {
    Mailbox const from = SenderOf(session, draft.from);
    MailContent const content = ContentOf(draft);
    std::vector<int> ids = RecipientsOfDraft(session, request.to);
    if (ids.empty()) throw Failure(Failure::no_recipients, "送る相手がいません。");
    if (request.dry_run) return TellRecipients(session.Front(), ids, FetchFrom(session.Customers()));
    ServerSettings const server = ServerOf(session, request.smtp);
    CurrentCustomers customers(session);
    Mailing::Fetch const fetch = FetchFrom(customers);
    std::optional<DraftRecord> report;
    if (!request.report.empty()) {
        report.emplace(request.report, request.resume, fetch);
        auto const settled = std::erase_if(ids, [&](int id) { return report->Settled().contains(id); });
        if (settled > 0) session.Front().Notice("前回までに済んだ " + Grouped(settled) + "通は送りません。");
    }
    RecipientBounces bounces(session, no_mail);
    Mailing mailing(
        session.Front(), content, from, server, fetch,
        [&](Delivery const& delivery) {
            if (report) report->Add(delivery);
            bounces.Take(delivery);
            TellFailure(session.Front(), delivery);
        },
        report ? report->Intents() : nullptr);
    RunMailing(session, mailing, ids, request.threads);
    if (report) report->End();
    bounces.Save();
    RequireAllSent(mailing, ids.size(),
                   (report ? "\n同じコマンドに --resume をつけると、続きを送れます。"
                           : "\n--report をつけて送ると、次からは --resume で続きを送れます。"));
}

// --- A stored mail to the test customers ---

void SendTest(Session& session, SendRequest const& request, int mail) {
    std::vector<OneCustomer> const testers = Testers(session);
    if (testers.empty())
        throw Failure(
            Failure::no_testers,
            "テスト送信の相手がいません。「tessaly testers add ENV メールアドレス=...」で登録してください。");
    MailContent content = ContentOf(session, mail);
    content.mail.reset();  // the testers' numbers are not those of customers: no answer may lead to one
    Mailbox const from = SenderOf(session);
    auto const fetch = [&](int id, OneCustomer& customer) {
        auto const found = std::find_if(testers.begin(), testers.end(),
                                        [&](OneCustomer const& tester) { return tester.CustomerID == id; });
        if (found == testers.end()) return Standing::gone;
        customer = *found;
        return Standing::recipient;
    };
    std::vector<int> ids;
    ids.reserve(testers.size());
    for (OneCustomer const& tester : testers) ids.push_back(tester.CustomerID);
    if (request.dry_run) return TellRecipients(session.Front(), ids, fetch);
    ServerSettings const server = ServerOf(session, request.smtp);
    Mailing mailing(session.Front(), content, from, server, fetch,
                    [&](Delivery const& delivery) { TellFailure(session.Front(), delivery); });
    RunMailing(session, mailing, ids, request.threads);
    RequireAllSent(mailing, ids.size());
}

// --- A stored mail to its recipients ---

// The recipients who are still to get the mail. Tells the front end how many are left out, and why.
class Remaining {
  public:
    Remaining(Session& session, MailHistory& history)
        : session_(session), customers_(session.Customers()), history_(history), rows_(history.Rows()) {}

    std::vector<int> ToRetry() {
        CArray<int, int> waiting_rows;
        if (rows_.GetRetryAddress(waiting_rows) < 0)
            throw Failure(Failure::operation_failed, TextOf(rows_.GetErrMsg()));
        std::vector<int> ids(waiting_rows.begin(), waiting_rows.end());
        std::erase_if(ids, [&](int id) { return history_.IsUnknown(id) || IsGone(id); });
        unknown_ = history_.Unknown().size();
        Tell();
        DropRefusers(session_, ids);
        return ids;
    }
    std::vector<int> ToSend(std::vector<int> ids) {
        std::erase_if(ids, [&](int id) {
            return IsUnknown(id) || IsComplete(id) || IsGone(id) || IsRefused(id) || MayNotRetry(id);
        });
        Tell();
        DropRefusers(session_, ids);
        return ids;
    }

  private:
    bool IsUnknown(int id) { return Counted(history_.IsUnknown(id), unknown_); }
    bool IsComplete(int id) { return Counted(history_.StateOf(id) == RecipientState::complete, complete_); }
    bool IsGone(int id) {
        return Counted(customers_.FindCustomerID(id, CDatabaseEdit::find_live) != 1, gone_);
    }
    bool IsRefused(int id) { return Counted(history_.IsRefused(id), refused_); }
    bool MayNotRetry(int id) {
        int number = -1;
        bool const attempted =
            rows_.DBID2RowNumber(id) >= 0 &&
            rows_.TransferRetryNum(id, number, HistoryListViewer::transfer_read) == HistoryListViewer::ok &&
            number >= 0;
        return Counted(attempted && rows_.CheckRetrySendOK(id, HistoryListViewer::not_if_complete) < 0,
                       given_up_);
    }
    static bool Counted(bool left_out, std::size_t& count) {
        if (left_out) ++count;
        return left_out;
    }
    void Tell() const {
        auto const tell = [&](char const* who, std::size_t count) {
            if (count > 0) session_.Front().Notice(who + (" " + Grouped(count)) + "人には送りません。");
        };
        tell("もう届いている", complete_);
        tell("届いたかどうか分からない", unknown_);
        tell("削除された顧客", gone_);
        tell("サーバーが宛先を断った", refused_);
        tell("再送信の上限に達した", given_up_);
    }

    Session& session_;
    CDatabaseEdit& customers_;
    MailHistory& history_;
    HistoryListViewer& rows_;
    std::size_t complete_ = 0, unknown_ = 0, gone_ = 0, refused_ = 0, given_up_ = 0;
};

// The status and the counts after a run, whatever else is going on in the environment. false when the front
// end stops the waiting for it.
bool PutResultInList(Session& session, int mail, SendHistory& history,
                     std::initializer_list<MailStatus> staying) {
    try {
        PutInList(session, {ResultOf(mail, StatusAfter(history), history.Rows())}, staying,
                  Session::Patience::endless);
        return true;
    } catch (Failure const& failure) {
        if (failure.GetKind() != Failure::stopped) throw;
        session.Front().Notice(
            "結果は履歴にありますが、メールの一覧の状態と数は直せませんでした。次の send で直ります。");
        return false;
    }
}

void RunStored(Session& session, SendRequest const& request, int mail, SendHistory& history,
               std::vector<int> const& ids) {
    MailContent content = ContentOf(session, mail);
    content.asks_receipt = request.ask_receipt;
    Mailbox const from = SenderOf(session);
    ServerSettings const server = ServerOf(session, request.smtp);
    WayBack const way_back = WayBackOf(session);
    CurrentCustomers customers(session);
    RecipientBounces bounces(session, mail);
    bounces.Take(history);
    std::optional<OutcomeFile> report;
    if (!request.report.empty()) report.emplace(request.report, request.resume);
    history.Begin(ids);
    PutInList(session, {ResultOf(mail, MailStatus::sending, history.Rows())});
    Mailing mailing(
        session.Front(), content, from, server, FetchFrom(customers),
        [&](Delivery const& delivery) {
            history.Record(delivery);
            bounces.Take(delivery);
            if (report && delivery.course != Delivery::cut_off) report->Add(delivery);
            TellFailure(session.Front(), delivery);
        },
        &history, way_back);
    RunMailing(session, mailing, ids, request.threads);
    history.End();
    if (report) report->End();
    bounces.Save();
    bool const listed = PutResultInList(session, mail, history, {MailStatus::deleted});
    std::string const name = std::to_string(mail);
    RequireAllSent(mailing, ids.size(),
                   "\n同じコマンドをもう一度実行すると、まだ届いていない人に続きを送ります。",
                   "「tessaly report " + session.EnvFile() + " " + name + "」で見られ、「tessaly send " +
                       session.EnvFile() + " " + name + " --retry」で再送信できます。");
    if (!listed) throw Failure(Failure::stopped, "中断しました。");
}

std::vector<int> Chosen(Session& session, SendRequest const& request, int mail, MailHistory& history) {
    std::vector<int> const recipients = RecipientsOf(session, mail);
    if (recipients.empty())
        throw Failure(Failure::no_recipients, "宛先がありません。「tessaly target " + session.EnvFile() +
                                                  " " + std::to_string(mail) +
                                                  " --where ...」で選んでください。");
    Remaining remaining(session, history);
    return request.retry ? remaining.ToRetry() : remaining.ToSend(recipients);
}

// A run that was killed has left the mail as one that is being sent.
void EndWithoutMail(Session& session, SendRequest const& request, int mail, SendHistory& history) {
    if (history.Rows().GetRecordNumber() > 0) {
        RecipientBounces bounces(session, mail);
        bounces.Take(history);
        bounces.Save();
        history.End();
        PutResultInList(session, mail, history, {MailStatus::draft, MailStatus::deleted});
    }
    session.Front().Result(request.retry ? "再送信する相手はいません。" : "送る相手は残っていません。");
}

// The mail may have been changed until its lock is held, and is read behind that.
void SendStored(Session& session, SendRequest const& request, int mail) {
    RequireMail(session, mail);
    if (request.test) return SendTest(session, request, mail);
    if (request.dry_run) {
        MailHistory history(session, mail);
        return TellRecipients(session.Front(), Chosen(session, request, mail, history),
                              FetchFrom(session.Customers()));
    }
    SendHistory history(session, mail);
    session.ReadMailsAgain();
    RequireMail(session, mail);
    std::vector<int> const ids = Chosen(session, request, mail, history);
    if (ids.empty()) return EndWithoutMail(session, request, mail, history);
    RunStored(session, request, mail, history, ids);
}

}  // namespace

void SendRequest::Run(Access const& access, std::string const& env_file) const {
    bool const stored = mail.has_value();
    if (stored == !draft.empty())
        throw Failure(Failure::invalid_request,
                      "送るもの (メールの番号か --draft のどちらか) を1つ書いてください。");
    if (resume && report.empty())
        throw Failure(Failure::invalid_request, "--resume には --report が要ります。");
    if (!stored && (retry || test))
        throw Failure(Failure::invalid_request, "--retry と --test は、保存したメールだけに使えます。");
    if (stored && to != "all")
        throw Failure(Failure::invalid_request, "保存したメールの宛先は「tessaly target」で選びます。");
    if (stored) {
        Session session(access, env_file, Session::For::reading);
        return SendStored(session, *this, *mail);
    }
    std::vector<Finding> findings;
    Draft const text = ReadDraft(draft, findings);
    TellFindings(FrontOf(access), findings, force);
    Session session(access, env_file, Session::For::reading);
    SendDraft(session, *this, text);
}

}  // namespace engine
