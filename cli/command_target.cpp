#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/shown.h"
#include "engine/base/failure.h"
#include "engine/environment/listed_mail.h"
#include "engine/targets/target_choice.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int mail = 0;
    std::vector<std::string> where, other;
    std::vector<StatedCondition> conditions;  // both in the order in which they were written
    bool all = false;
    bool apply = false;
    bool clear = false;
    bool show = false;
    int limit = 0;
    std::string format = "table";

    bool Changes() const { return !conditions.empty() || all || apply || clear; }
};

void PrintConditions(std::vector<std::string> const& lines) {
    if (lines.empty()) std::cout << "条件: なし\n";
    for (std::size_t i = 0; i < lines.size(); ++i)
        std::cout << (i ? "または: " : "条件: ") << lines[i] << "\n";
}

void PrintRecipients(RecipientList const& list, ListFormat format) {
    Listing listing(std::cout, format, {"個人情報ID", "メールアドレス", "名前", "会社名"});
    for (Recipient const& one : list.recipients)
        listing.Add({std::to_string(one.customer), one.address, one.name, one.company});
    listing.End();
    std::size_t const shown = list.recipients.size();
    if (format == ListFormat::table)
        std::cout << Grouped(list.total) << "件"
                  << (shown < list.total ? "のうち " + Grouped(shown) + "件" : "") << "\n";
    if (list.unknown > 0)
        std::cerr << "ほかに、顧客データにいない宛先が " << Grouped(list.unknown)
                  << "件あります (送られません)。\n";
}

void Show(Session& session, Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    if (format == ListFormat::table) {
        std::vector<std::string> const conditions = ConditionsOf(session, arguments.mail);
        std::cout << "メール " << NameOfMail(session, arguments.mail) << "\n";
        PrintConditions(conditions);
    }
    PrintRecipients(ListRecipients(session, arguments.mail, arguments.limit), format);
}

void Change(Session& session, Arguments const& arguments) {
    // In CSV and JSON no other line stands on standard output.
    bool const listing = arguments.show && ListFormatOf(arguments.format) != ListFormat::table;
    std::ostream& out = listing ? std::cerr : std::cout;
    if (arguments.clear) {
        ClearTargets(session, arguments.mail);
        out << "条件と宛先を消しました。\n";
        return;
    }
    TellChoice(arguments.apply ? SelectTargetsAgain(session, arguments.mail)
                               : SelectTargets(session, arguments.mail, arguments.conditions),
               out);
}

void Run(Arguments const& arguments) {
    if ((!arguments.conditions.empty()) + arguments.all + arguments.apply + arguments.clear > 1)
        throw Failure(Failure::invalid_request,
                      "条件 (--where、--or)、--all、--apply、--clear は一緒に使えません。");
    ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file,
                    arguments.Changes() ? Session::For::changing : Session::For::reading);
    if (arguments.Changes()) Change(session, arguments);
    if (arguments.show || !arguments.Changes()) Show(session, arguments);
}

// An --or starts a tab, to which the --where behind it add conditions.
std::vector<StatedCondition> InOrder(CLI::App const& command, CLI::Option const* where,
                                     CLI::Option const* other) {
    std::vector<StatedCondition> conditions;
    std::size_t of_where = 0, of_other = 0;
    for (CLI::Option const* option : command.parse_order()) {
        if (option == where) conditions.push_back({where->results()[of_where++], false});
        if (option == other) conditions.push_back({other->results()[of_other++], true});
    }
    return conditions;
}

CLI::Option const* AddCondition(CLI::App& command, char const* name, std::vector<std::string>& given,
                                char const* text) {
    return command.add_option(name, given, text)->allow_extra_args(false)->type_name("COND");
}

}  // namespace

void AddTargetCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = program.add_subcommand("target", "メールの宛先を選び、表示します");
    AddEnvFile(*command, arguments->env_file);
    AddMail(*command, arguments->mail)->required();
    CLI::Option const* where =
        AddCondition(*command, "--where", arguments->where, "宛先にする顧客の条件 (前の条件は消えます)");
    CLI::Option const* other = AddCondition(*command, "--or", arguments->other, "別の条件を始めます");
    command->add_flag("--all", arguments->all, "DMを受け取る顧客の全員を宛先にします");
    command->add_flag("--apply", arguments->apply, "今の条件で、今の顧客から選び直します");
    command->add_flag("--clear", arguments->clear, "条件と宛先を消します");
    command->add_flag("--show", arguments->show, "条件と宛先を表示します (ほかに何も書かなければこれです)");
    command->add_option("--limit", arguments->limit, "表示する件数の上限")
        ->check(NumberFrom(1))
        ->type_name("N");
    AddFormat(*command, arguments->format);
    AddAccess(*command, arguments->access);
    command->footer(condition_help);
    command->callback([arguments, command, where, other] {
        arguments->conditions = InOrder(*command, where, other);
        Run(*arguments);
    });
}

}  // namespace cli
