#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/base/failure.h"
#include "engine/sending/sending.h"
#include "engine/sending/unknown_recipients.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int mail = 0;
    bool list = false;
    std::string resend, settle;  // IDs, or all
    std::string format = "table";
};

void List(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    std::vector<UnknownRecipient> const rows = ListUnknown(session, arguments.mail);
    Listing listing(
        std::cout, format,
        {"個人情報ID", "メールアドレス", "名前", "何回目", "送信日時", "Message-ID", "分からない理由"});
    for (UnknownRecipient const& row : rows)
        listing.Add({std::to_string(row.customer), row.address, row.name, std::to_string(row.attempt),
                     row.time, row.message_id, row.reason});
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(rows.size()) << "人\n";
}

void Settle(Arguments const& arguments) {
    bool const resend = !arguments.resend.empty();
    std::string const& given = resend ? arguments.resend : arguments.settle;
    std::vector<int> ids;
    if (given != "all") ids = IdsIn(given, resend ? "--resend" : "--settle");
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    std::size_t const settled =
        SettleUnknown(session, arguments.mail, ids, resend ? Settlement::to_resend : Settlement::as_sent);
    std::cout << Grouped(settled)
              << (resend ? "人を、次の send で送り直すようにしました。\n" : "人を、届いたものとしました。\n");
}

void Run(Arguments const& arguments) {
    if (arguments.list + !arguments.resend.empty() + !arguments.settle.empty() > 1)
        throw Failure(Failure::invalid_request, "--list、--resend、--settle は一緒に使えません。");
    if (arguments.resend.empty() && arguments.settle.empty())
        List(arguments);
    else
        Settle(arguments);
}

}  // namespace

void AddUnknownCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddOne(program, "unknown",
                               "届いたかどうか分からない宛先を表示し、どうするかを決めます", arguments, Run);
    AddMail(*command, arguments->mail)->required();
    command->add_flag("--list", arguments->list, "表示します (ほかに何も書かなければこれです)");
    command
        ->add_option("--resend", arguments->resend,
                     "次の send で送り直します: 個人情報ID (カンマ区切り)、または all")
        ->type_name("IDS");
    command
        ->add_option("--settle", arguments->settle,
                     "届いたものとします: 個人情報ID (カンマ区切り)、または all")
        ->type_name("IDS");
    AddFormat(*command, arguments->format);
}

}  // namespace cli
