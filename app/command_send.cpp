#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "command.h"
#include "crossing.h"
#include "elements.h"
#include "failure.h"
#include "mail_text.h"
#include "mailing.h"
#include "progress.h"
#include "report.h"
#include "terminal.h"
#include "tessaly/text.h"

namespace app {
namespace {

constexpr std::size_t findings_shown = 20;
constexpr int most_threads = 64;

struct Arguments {
    Access access;
    std::string env_file;
    std::string draft;
    std::string to = "all";
    std::string smtp;
    int threads = 0;
    std::string report;
    bool resume = false;
    bool dry_run = false;
    bool force = false;
    int customer = -1;
};

bool ReadNumber(std::string_view text, int& value) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

void ShowFindings(std::vector<Finding> const& findings) {
    for (std::size_t i = 0; i < std::min(findings.size(), findings_shown); ++i)
        std::cerr << "下書き " << findings[i].line << "行" << findings[i].column
                  << "文字目: " << findings[i].text << "\n";
    if (findings.size() > findings_shown)
        std::cerr << "… ほか " << findings.size() - findings_shown << "か所\n";
}

Mailbox SenderOf(Session& session, Draft const& draft) {
    if (!draft.from.address.IsEmpty()) return draft.from;
    const std::string address = session.Setting("from.address");
    if (address.empty())
        throw Failure(
            "差出人がありません。「settings ENV from.address=...」で決めるか、下書きに From "
            "を書いてください。");
    Mailbox from{Into(session.Setting("from.name"), "差出人の名前"), Into(address, "差出人のアドレス")};
    if (MailAddressChecker(from.address) != 1)
        throw Failure("差出人のメールアドレスが正しくありません: " + address);
    return from;
}

// "HOST:PORT", "[v6 address]:PORT", or a host alone.
void ReadServer(std::string const& text, ServerSettings& server) {
    const std::size_t colon = text.rfind(':');
    bool const bracketed = text.starts_with('[');
    const std::size_t close = text.find(']');
    bool const with_port =
        colon != text.npos && (!bracketed || close == colon - 1) && (bracketed || text.find(':') == colon);
    std::string host = with_port ? text.substr(0, colon) : text;
    if (bracketed && close != text.npos) host = text.substr(1, close - 1);
    server.host = Into(host, "送信サーバーの名前");
    if (with_port && (!ReadNumber(std::string_view(text).substr(colon + 1), server.port) || server.port < 1 ||
                      server.port > 65535))
        throw Failure("--smtp のポート番号が正しくありません: " + text, exit_usage);
}

ServerSettings ServerOf(Session& session, Arguments const& arguments) {
    ServerSettings server;
    server.host = Into(session.Setting("smtp.host"), "smtp.host");
    server.port = session.NumberSetting("smtp.port");
    server.auth = session.Setting("smtp.auth");
    server.user = Into(session.Setting("smtp.user"), "smtp.user");
    server.password = Into(session.Setting("smtp.password"), "smtp.password");
    server.timeout_milliseconds = static_cast<unsigned>(session.NumberSetting("smtp.timeout")) * 1000U;
    server.mailer = Into(session.Setting("mailer"), "mailer");
    if (!arguments.smtp.empty()) ReadServer(arguments.smtp, server);
    if (server.host.IsEmpty())
        throw Failure(
            "送信サーバーがありません。「settings ENV smtp.host=...」で決めるか、--smtp をつけてください。");
    return server;
}

bool Accepts(CDatabaseEdit& customers, int id) {
    return customers.GetCustomerDataPinPoint(id, customers::element_direct_mail) == "Y";
}

// Those who get the mail, in the order of their IDs.
std::vector<int> Recipients(CDatabaseEdit& customers, std::string const& to) {
    CArray<int, int> live;
    customers.GetDBIDWithoutDelete(live);
    std::vector<int> ids(live.begin(), live.end());
    if (to != "all") {
        ids.clear();
        for (std::string_view rest = to; !rest.empty();) {
            const std::size_t comma = std::min(rest.find(','), rest.size());
            int id = 0;
            if (!ReadNumber(rest.substr(0, comma), id))
                throw Failure("--to は all か、個人情報IDをカンマで並べたものです: " + to, exit_usage);
            if (customers.FindCustomerID(id, 0) != 1)
                throw Failure("その個人情報IDの顧客はいません: " + std::to_string(id));
            ids.push_back(id);
            rest.remove_prefix(std::min(comma + 1, rest.size()));
        }
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    const std::size_t asked = ids.size();
    std::erase_if(ids, [&](int id) { return !Accepts(customers, id); });
    if (asked > ids.size())
        std::cerr << "DMを受け取らない顧客 " << Grouped(asked - ids.size()) << "人には送りません。\n";
    return ids;
}

void ShowTotals(Mailing const& mailing, std::size_t asked, double seconds) {
    const std::uint64_t done = mailing.Done(), sent = mailing.Sent();
    std::cout << "送信 " << Grouped(sent) << "通、送れず " << Grouped(done - sent) << "通";
    if (done < asked) std::cout << "、残り " << Grouped(asked - done) << "通";
    std::cout << " (" << static_cast<long>(seconds * 10) / 10.0 << "秒、毎秒"
              << Grouped(static_cast<std::uint64_t>(seconds > 0 ? static_cast<double>(done) / seconds : 0))
              << "通)\n";
}

// The transfer logs belong to the environment, not beside the library, where a sender can seldom write.
void KeepLogIn(std::string const& folder) {
    std::error_code ignored;
    std::filesystem::create_directory(folder, ignored);
    platform::SetModuleDirectory(folder);
}

void Dispatch(Session& session, Arguments const& arguments, Draft const& draft, Mailbox const& from,
              std::vector<int> ids) {
    const ServerSettings server = ServerOf(session, arguments);
    KeepLogIn(session.DataDirectory() + "/LOG");
    std::optional<Report> report;
    if (!arguments.report.empty()) {
        report.emplace(arguments.report, arguments.resume);
        const std::size_t all = ids.size();
        std::erase_if(ids, [&](int id) { return report->Settled().contains(id); });
        if (all > ids.size())
            std::cerr << "前回までに済んだ " << Grouped(all - ids.size()) << "通は送りません。\n";
    }
    Mailing mailing(session.Customers(), draft, from, server, [&](Delivery const& delivery) {
        if (report) report->Add(delivery);
        if (delivery.outcome != Outcome::sent)
            Say(std::string(NameOf(delivery.outcome)) + " " + std::to_string(delivery.id) + " <" +
                Out(delivery.address) + ">: " + delivery.reply);
    });
    int const threads =
        std::min<int>(arguments.threads > 0 ? arguments.threads : session.NumberSetting("send.threads"),
                      static_cast<int>(std::max<std::size_t>(ids.size(), 1)));
    auto const start = std::chrono::steady_clock::now();
    {
        const Progress progress("送信", "通", ids.size(), [&] { return mailing.Done(); });
        mailing.Run(ids, threads);
    }
    ShowTotals(mailing, ids.size(),
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (!mailing.Stopped().empty()) {
        throw Failure(mailing.Stopped() +
                      (report ? "\n同じコマンドに --resume をつけると、続きを送れます。"
                              : "\n--report をつけて送ると、次からは --resume で続きを送れます。"));
    }
    if (mailing.Sent() < ids.size()) throw Failure("送れなかった宛先があります。");
}

void Send(Arguments const& arguments) {
    if (arguments.resume && arguments.report.empty())
        throw Failure("--resume には --report が要ります。", exit_usage);
    std::vector<Finding> findings;
    const Draft draft = ReadDraft(arguments.draft, findings);
    ShowFindings(findings);
    if (!findings.empty() && !arguments.force)
        throw Failure("下書きに直すところがあるので送りません。このまま送るなら --force をつけてください。");
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    const Mailbox from = SenderOf(session, draft);
    const std::vector<int> ids = Recipients(session.Customers(), arguments.to);
    if (ids.empty()) throw Failure("送る相手がいません。");
    if (!arguments.dry_run) return Dispatch(session, arguments, draft, from, ids);
    for (int const id : ids)
        std::cout << id << " "
                  << Out(session.Customers().GetCustomerDataPinPoint(id, customers::element_address)) << "\n";
    std::cout << Grouped(ids.size()) << "通を送ります (--dry-run なので送っていません)。\n";
}

void Preview(Arguments const& arguments) {
    std::vector<Finding> findings;
    const Draft draft = ReadDraft(arguments.draft, findings);
    ShowFindings(findings);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    OneCustomer customer;
    if (session.Customers().GetOneCustomerForEdit(customer, arguments.customer) < 0)
        throw Failure("その個人情報IDの顧客はいません: " + std::to_string(arguments.customer));
    const MailText text = Merge(draft, customer);
    auto const show = [](char const* name, Mailbox const& mailbox) {
        std::cout << name << Out(mailbox.name) << (mailbox.name.IsEmpty() ? "" : " ") << "<"
                  << Out(mailbox.address) << ">\n";
    };
    show("差出人: ", SenderOf(session, draft));
    if (!draft.reply_to.address.IsEmpty()) show("返信先: ", draft.reply_to);
    show("宛先: ", {text.to_name, text.to_address});
    std::cout << "件名: " << Out(text.subject) << "\n\n";
    CString body = text.body;
    body.Replace("\r\n", "\n");
    std::cout << Out(body) << (body.Right(1) == "\n" ? "" : "\n");
}

CLI::App* AddOne(CLI::App& program, char const* name, char const* text,
                 std::shared_ptr<Arguments> const& arguments) {
    CLI::App* command = program.add_subcommand(name, text);
    AddEnvFile(*command, arguments->env_file);
    command->add_option("--draft", arguments->draft, "下書き: Subject などの見出し、空の行、本文 (UTF-8)")
        ->required()
        ->type_name("FILE");
    AddAccess(*command, arguments->access);
    return command;
}

}  // namespace

void AddPreviewCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddOne(program, "preview", "1人の顧客に届く文面を表示します", arguments);
    command->add_option("--customer", arguments->customer, "個人情報ID")
        ->required()
        ->check(CLI::Range(0, std::numeric_limits<int>::max()))
        ->type_name("ID");
    command->callback([arguments] { Preview(*arguments); });
}

void AddSendCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddOne(program, "send", "顧客の一人ひとりにメールを送ります", arguments);
    command
        ->add_option("--to", arguments->to, "all (DMを受け取る顧客の全員)、または個人情報ID (カンマ区切り)")
        ->type_name("TO");
    command->add_option("--smtp", arguments->smtp, "送信サーバー (なければ設定のもの)")
        ->type_name("HOST:PORT");
    command->add_option("--threads", arguments->threads, "同時に使う接続の数")
        ->check(CLI::Range(1, most_threads))
        ->type_name("N");
    command->add_option("--report", arguments->report, "宛先ごとの結果を書くCSVファイル")->type_name("FILE");
    command->add_flag("--resume", arguments->resume, "--report のファイルにある前回の続きを送ります");
    command->add_flag("--dry-run", arguments->dry_run, "送らずに、宛先だけを表示します");
    command->add_flag("--force", arguments->force, "下書きに指摘があっても送ります");
    command->callback([arguments] { Send(*arguments); });
}

}  // namespace app
