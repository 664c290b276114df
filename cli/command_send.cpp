#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "cli/command.h"
#include "cli/progress.h"
#include "cli/shown.h"
#include "cli/terminal.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/customers/testers.h"
#include "engine/mails/mail_status.h"
#include "engine/sending/send_history.h"
#include "engine/sending/send_report.h"
#include "engine/sending/sending.h"
#include "engine/targets/target.h"

namespace cli {
namespace {

constexpr int most_threads = 64;

struct Arguments {
    Access access;
    std::string env_file;
    int mail = new_mail;
    std::string draft;
    std::string to = "all";
    std::string smtp;
    int threads = 0;
    std::string report;
    bool resume = false;
    bool retry = false;
    bool test = false;
    bool ask_receipt = false;
    bool dry_run = false;
    bool force = false;
};

void ShowRecipients(std::vector<int> const& ids, Mailing::Fetch const& fetch) {
    OneCustomer customer;
    for (int const id : ids)
        if (fetch(id, customer)) std::cout << id << " " << Out(OnOneLine(customer.Email.View())) << "\n";
    std::cout << Grouped(ids.size()) << "通を送ります (--dry-run なので送っていません)。\n";
}

// --- A draft, without a trace in the environment ---

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
            if (customers.FindCustomerID(id, 0) != 1)
                throw Failure("その個人情報IDの顧客はいません: " + std::to_string(id));
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    DropRefusers(session, ids);
    return ids;
}

void SendDraft(Session& session, Arguments const& arguments, Draft const& draft) {
    const Mailbox from = SenderOf(session, draft.from);
    const MailContent content = ContentOf(draft);
    const Mailing::Fetch fetch = FetchFrom(session.Customers());
    std::vector<int> ids = RecipientsOfDraft(session, arguments.to);
    if (ids.empty()) throw Failure("送る相手がいません。");
    if (arguments.dry_run) return ShowRecipients(ids, fetch);
    const ServerSettings server = ServerOf(session, arguments.smtp);
    std::optional<Report> report;
    if (!arguments.report.empty()) {
        report.emplace(arguments.report, arguments.resume);
        auto const settled = std::erase_if(ids, [&](int id) { return report->Settled().contains(id); });
        if (settled > 0) std::cerr << "前回までに済んだ " << Grouped(settled) << "通は送りません。\n";
    }
    Mailing mailing(session.Front(), content, from, server, fetch, [&](Delivery const& delivery) {
        if (report) report->Add(delivery);
        ShowFailure(delivery);
    });
    RunMailing(session, mailing, ids, arguments.threads);
    if (!mailing.Stopped().empty()) {
        throw Failure(mailing.Stopped() +
                      (report ? "\n同じコマンドに --resume をつけると、続きを送れます。"
                              : "\n--report をつけて送ると、次からは --resume で続きを送れます。"));
    }
    if (mailing.Sent() < ids.size()) throw Failure("送れなかった宛先があります。");
}

// --- A stored mail to the test customers ---

void SendTest(Session& session, Arguments const& arguments) {
    const std::vector<OneCustomer> testers = Testers(session);
    if (testers.empty())
        throw Failure(
            "テスト送信の相手がいません。「tessaly testers add ENV メールアドレス=...」で登録してください。");
    const MailContent content = ContentOf(session, arguments.mail);
    const Mailbox from = SenderOf(session);
    auto const fetch = [&](int id, OneCustomer& customer) {
        auto const found = std::find_if(testers.begin(), testers.end(),
                                        [&](OneCustomer const& tester) { return tester.CustomerID == id; });
        if (found == testers.end()) return false;
        customer = *found;
        return true;
    };
    std::vector<int> ids;
    for (OneCustomer const& tester : testers) ids.push_back(tester.CustomerID);
    if (arguments.dry_run) return ShowRecipients(ids, fetch);
    const ServerSettings server = ServerOf(session, arguments.smtp);
    Mailing mailing(session.Front(), content, from, server, fetch, ShowFailure);
    RunMailing(session, mailing, ids, arguments.threads);
    if (!mailing.Stopped().empty()) throw Failure(mailing.Stopped());
    if (mailing.Sent() < ids.size()) throw Failure("送れなかった宛先があります。");
}

// --- A stored mail to its recipients ---

// Who is still to get the mail; says whom it leaves out, and why.
class Choice {
  public:
    Choice(Session& session, HistoryListViewer& history)
        : session_(session), customers_(session.Customers()), history_(history) {}

    std::vector<int> ToRetry() {
        CArray<int, int> waiting_rows;
        if (history_.GetRetryAddress(waiting_rows) < 0) throw Failure(TextOf(history_.GetErrMsg()));
        std::vector<int> ids(waiting_rows.begin(), waiting_rows.end());
        std::erase_if(ids, [&](int id) { return IsGone(id); });
        Tell();
        DropRefusers(session_, ids);
        return ids;
    }
    std::vector<int> ToSend(std::vector<int> ids) {
        std::erase_if(ids, [&](int id) { return IsComplete(id) || IsGone(id) || MayNotRetry(id); });
        Tell();
        DropRefusers(session_, ids);
        return ids;
    }

  private:
    CString State(int id) {
        return history_.DBID2RowNumber(id) < 0 ? "" : history_.GetElementFromMemoryPinPoint(id, 1);
    }
    bool IsComplete(int id) { return Counted(State(id) == "C", complete_); }
    bool IsGone(int id) { return Counted(customers_.FindCustomerID(id, 0) != 1, gone_); }
    bool MayNotRetry(int id) {
        int number = -1;
        bool const attempted =
            history_.DBID2RowNumber(id) >= 0 && history_.TransferRetryNum(id, number, 0) == 0 && number >= 0;
        return Counted(attempted && history_.CheckRetrySendOK(id, 0) < 0, given_up_);
    }
    static bool Counted(bool left_out, std::size_t& count) {
        if (left_out) ++count;
        return left_out;
    }
    void Tell() const {
        if (complete_ > 0) std::cerr << "もう届いている " << Grouped(complete_) << "人には送りません。\n";
        if (gone_ > 0) std::cerr << "削除された顧客 " << Grouped(gone_) << "人には送りません。\n";
        if (given_up_ > 0)
            std::cerr << "再送信の上限に達した " << Grouped(given_up_) << "人には送りません。\n";
    }

    Session& session_;
    CDatabaseEdit& customers_;
    HistoryListViewer& history_;
    std::size_t complete_ = 0, gone_ = 0, given_up_ = 0;
};

void RunStored(Session& session, Arguments const& arguments, SendHistory& history,
               std::vector<int> const& ids) {
    MailContent content = ContentOf(session, arguments.mail);
    content.asks_receipt = arguments.ask_receipt;
    const Mailbox from = SenderOf(session);
    const ServerSettings server = ServerOf(session, arguments.smtp);
    std::optional<Report> report;
    if (!arguments.report.empty()) report.emplace(arguments.report, arguments.resume);
    history.Begin(ids);
    PutInList(session, arguments.mail, status_sending, history.Rows());
    Mailing mailing(session.Front(), content, from, server, FetchFrom(session.Customers()),
                    [&](Delivery const& delivery) {
                        history.Record(delivery);
                        if (report) report->Add(delivery);
                        ShowFailure(delivery);
                    });
    RunMailing(session, mailing, ids, arguments.threads);
    history.End();
    PutInList(session, arguments.mail, StatusAfter(history.Rows()), history.Rows());
    const std::string name = std::to_string(arguments.mail);
    if (!mailing.Stopped().empty())
        throw Failure(mailing.Stopped() +
                      "\n同じコマンドをもう一度実行すると、まだ届いていない人に続きを送ります。");
    if (mailing.Sent() < ids.size())
        throw Failure("送れなかった宛先があります。「tessaly report " + arguments.env_file + " " + name +
                      "」で見られ、「tessaly send " + arguments.env_file + " " + name +
                      " --retry」で再送信できます。");
}

void SendStored(Session& session, Arguments const& arguments) {
    RequireMail(session, arguments.mail);
    if (arguments.test) return SendTest(session, arguments);
    const std::vector<int> recipients = RecipientsOf(session, arguments.mail);
    if (recipients.empty())
        throw Failure("宛先がありません。「tessaly target " + arguments.env_file + " " +
                      std::to_string(arguments.mail) + " --where ...」で選んでください。");
    auto const choose = [&](HistoryListViewer& history) {
        Choice choice(session, history);
        return arguments.retry ? choice.ToRetry() : choice.ToSend(recipients);
    };
    if (arguments.dry_run) {
        HistoryListViewer history;
        LoadHistory(session, arguments.mail, history);
        return ShowRecipients(choose(history), FetchFrom(session.Customers()));
    }
    SendHistory history(session, arguments.mail);
    const std::vector<int> ids = choose(history.Rows());
    if (ids.empty()) {
        std::cout << (arguments.retry ? "再送信する相手はいません。\n" : "送る相手は残っていません。\n");
        return;
    }
    RunStored(session, arguments, history, ids);
}

void Send(Arguments const& arguments) {
    bool const stored = arguments.mail != new_mail;
    if (stored == !arguments.draft.empty())
        throw Failure("送るもの (メールの番号か --draft のどちらか) を1つ書いてください。", exit_usage);
    if (arguments.resume && arguments.report.empty())
        throw Failure("--resume には --report が要ります。", exit_usage);
    if (!stored && (arguments.retry || arguments.test))
        throw Failure("--retry と --test は、保存したメールだけに使えます。", exit_usage);
    if (stored && arguments.to != "all")
        throw Failure("保存したメールの宛先は「tessaly target」で選びます。", exit_usage);
    if (stored) {
        Session session(arguments.access, arguments.env_file, Session::For::reading);
        return SendStored(session, arguments);
    }
    std::vector<Finding> findings;
    const Draft draft = ReadDraft(arguments.draft, findings);
    TellFindings(Terminal(), findings, arguments.force);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    SendDraft(session, arguments, draft);
}

}  // namespace

void AddSendCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = program.add_subcommand("send", "宛先の一人ひとりにメールを送ります");
    AddEnvFile(*command, arguments->env_file);
    AddMail(*command, arguments->mail);
    command
        ->add_option("--draft", arguments->draft,
                     "保存したメールの代わりに送る下書き (Subject などの見出し、空の行、本文。UTF-8)")
        ->type_name("FILE");
    command
        ->add_option("--to", arguments->to,
                     "--draft の宛先: all (DMを受け取る顧客の全員)、または個人情報ID (カンマ区切り)")
        ->type_name("TO");
    CLI::Option* retry =
        command->add_flag("--retry", arguments->retry, "前に送れず、再送信が許される宛先だけに送ります");
    command->add_flag("--test", arguments->test, "テスト送信の相手 (testers) に送ります。履歴に残りません")
        ->excludes(retry);
    command->add_option("--smtp", arguments->smtp, "送信サーバー (なければ設定のもの)")
        ->type_name("HOST:PORT");
    command->add_option("--threads", arguments->threads, "同時に使う接続の数")
        ->check(NumberFrom(1, most_threads))
        ->type_name("N");
    command->add_option("--report", arguments->report, "宛先ごとの結果を書くCSVファイル")->type_name("FILE");
    command->add_flag("--resume", arguments->resume,
                      "--report のファイルに書き足します。--draft では、そこにある前回の続きを送ります");
    command->add_flag("--ask-receipt", arguments->ask_receipt, "開封の通知を求めます (保存したメールだけ)");
    command->add_flag("--dry-run", arguments->dry_run, "送らずに、宛先だけを表示します");
    command->add_flag("--force", arguments->force, "下書きに指摘があっても送ります");
    AddAccess(*command, arguments->access);
    command->callback([arguments] { Send(*arguments); });
}

}  // namespace cli
