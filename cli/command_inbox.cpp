#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/base/failure.h"
#include "engine/receiving/inbox_decision.h"
#include "engine/receiving/kept_mails.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    InboxDecision decision;
    bool ignore = false, unclear = false;
    std::string format = "table";
};

constexpr char const* no_date = "(日付なし)";

void List(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session const session(arguments.access, arguments.env_file, Session::For::reading);
    std::vector<KeptMailRow> const mails = ListKeptMails(session);
    Listing listing(std::cout, format, {"番号", "種類", "日時", "差出人", "件名"});
    std::size_t shown = 0;
    for (KeptMailRow const& mail : mails) {
        if (arguments.unclear && mail.kind != AnswerKind::unclear_refusal) continue;
        ++shown;
        bool const says_none = mail.date.empty() && format == ListFormat::table;
        listing.Add({std::to_string(mail.number), mail.kind ? WordOf(*mail.kind) : "",
                     says_none ? no_date : mail.date, mail.from, mail.subject});
    }
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(shown) << "件\n";
}

void Show(Arguments const& arguments) {
    Session const session(arguments.access, arguments.env_file, Session::For::reading);
    KeptMailText const mail = ReadKeptMail(session, arguments.decision.number);
    std::cout << "差出人: " << mail.head.from
              << "\n日時: " << (mail.head.date.empty() ? no_date : mail.head.date)
              << "\n件名: " << mail.head.subject << "\nファイル: " << mail.file
              << "\n添付: " << mail.attachments.size() << "件\n";
    for (KeptAttachment const& attachment : mail.attachments)
        std::cout << "  " << attachment.name << " (" << Grouped(attachment.size) << "バイト)\n";
    if (!mail.whole) std::cout << "部分が多すぎるため、途中までです\n";
    std::cout << "\n" << mail.body << "\n";
}

void Resolve(Arguments const& arguments) {
    if (arguments.decision.refuses == arguments.ignore)
        throw Failure(Failure::invalid_request, "--refuse か --ignore のどちらかを書いてください。");
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    std::cout << Decide(session, arguments.decision) << "\n";
}

void AddNumber(CLI::App& command, int& number) {
    command.add_option("N", number, "番号")->required()->check(NumberFrom(1))->type_name("");
}

}  // namespace

void AddInboxCommands(CLI::App& program) {
    CLI::App* family =
        program.add_subcommand("inbox", "受信して残したメールを表示し、要確認のものをどうするかを決めます");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    InboxDecision& decision = arguments->decision;
    CLI::App* list = AddOne(*family, "list", "受信箱の一覧を表示します", arguments, List);
    list->add_flag("--unclear", arguments->unclear, "要確認のものだけを表示します");
    AddFormat(*list, arguments->format);
    AddNumber(*AddOne(*family, "show", "受信したメールを1通表示します", arguments, Show), decision.number);
    CLI::App* resolve =
        AddOne(*family, "resolve", "要確認のメールが配信停止の申し出かどうかを決めます", arguments, Resolve);
    AddNumber(*resolve, decision.number);
    resolve->add_flag("--refuse", decision.refuses, "配信停止の申し出です: その人には送らないようにします");
    resolve->add_flag("--ignore", arguments->ignore, "配信停止の申し出ではありません");
    resolve->add_option("--customer", decision.customer, "申し出た顧客の個人情報ID (なければ差出人)")
        ->check(NumberFrom(0))
        ->type_name("ID");
}

}  // namespace cli
