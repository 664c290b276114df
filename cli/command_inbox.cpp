#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/receiving/kept_mails.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int number = 0;
    std::string format = "table";
};

constexpr char const* no_date = "(日付なし)";

void List(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session const session(arguments.access, arguments.env_file, Session::For::reading);
    std::vector<KeptMailRow> const mails = ListKeptMails(session);
    Listing listing(std::cout, format, {"番号", "日時", "差出人", "件名"});
    for (KeptMailRow const& mail : mails) {
        bool const says_none = mail.date.empty() && format == ListFormat::table;
        listing.Add({std::to_string(mail.number), says_none ? no_date : mail.date, mail.from, mail.subject});
    }
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(mails.size()) << "件\n";
}

void Show(Arguments const& arguments) {
    Session const session(arguments.access, arguments.env_file, Session::For::reading);
    KeptMailText const mail = ReadKeptMail(session, arguments.number);
    std::cout << "差出人: " << mail.head.from
              << "\n日時: " << (mail.head.date.empty() ? no_date : mail.head.date)
              << "\n件名: " << mail.head.subject << "\nファイル: " << mail.file
              << "\n添付: " << mail.attachments.size() << "件\n";
    for (KeptAttachment const& attachment : mail.attachments)
        std::cout << "  " << attachment.name << " (" << Grouped(attachment.size) << "バイト)\n";
    if (!mail.whole) std::cout << "部分が多すぎるため、途中までです\n";
    std::cout << "\n" << mail.body << "\n";
}

}  // namespace

void AddInboxCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("inbox", "受信して残したメールを表示します");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    AddFormat(*AddOne(*family, "list", "受信箱の一覧を表示します", arguments, List), arguments->format);
    AddOne(*family, "show", "受信したメールを1通表示します", arguments, Show)
        ->add_option("N", arguments->number, "番号")
        ->required()
        ->check(NumberFrom(1))
        ->type_name("");
}

}  // namespace cli
