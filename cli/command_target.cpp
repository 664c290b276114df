#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "cli/shown.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/customers/elements.h"
#include "engine/mails/mail_store.h"
#include "engine/targets/conditions.h"
#include "engine/targets/target.h"

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

void PrintConditions(Elements const& elements, ExtractAction& set) {
    const std::vector<std::string> lines = DescribeConditions(elements, set);
    if (lines.empty()) std::cout << "条件: なし\n";
    for (std::size_t i = 0; i < lines.size(); ++i)
        std::cout << (i ? "または: " : "条件: ") << lines[i] << "\n";
}

CString FullName(ERDetailPlusDB const& entry) {
    return entry.KanjiSei + (entry.KanjiSei.IsEmpty() || entry.KanjiMei.IsEmpty() ? "" : " ") +
           entry.KanjiMei;
}

void PrintRecipients(Session& session, Arguments const& arguments, ListFormat format) {
    ExtractResultDetail list;
    LoadRecipients(session, {TargetOwner::mail, arguments.mail}, list);
    int unknown = 0;
    const std::vector<ERDetailPlusDB> entries =
        EntriesOf(session, arguments.mail, arguments.limit, list, unknown);
    Listing listing(std::cout, format, {"個人情報ID", "メールアドレス", "名前", "会社名"});
    for (ERDetailPlusDB const& entry : entries)
        listing.Add({std::to_string(entry.CustomerID).c_str(), entry.Email, FullName(entry), entry.Company});
    listing.End();
    auto const total = static_cast<std::size_t>(list.GetRecordNumber());
    if (format == ListFormat::table)
        std::cout << Grouped(total) << "件"
                  << (entries.size() < total ? "のうち " + Grouped(entries.size()) + "件" : "") << "\n";
    if (unknown > 0)
        std::cerr << "ほかに、顧客データにいない宛先が " << Grouped(static_cast<std::size_t>(unknown))
                  << "件あります (送られません)。\n";
}

void Show(Session& session, Elements const& elements, Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    if (format == ListFormat::table) {
        ExtractAction set;
        LoadConditions(session, {TargetOwner::mail, arguments.mail}, set);
        std::cout << "メール " << NameOfMail(session, arguments.mail) << "\n";
        PrintConditions(elements, set);
    }
    PrintRecipients(session, arguments, format);
}

void Choose(Session& session, Elements const& elements, Arguments const& arguments, ExtractAction& set,
            ExtractResultDetail& list) {
    if (arguments.apply) {
        LoadConditions(session, {TargetOwner::mail, arguments.mail}, set);
        // Without conditions everyone is chosen, which then was asked for before.
        if (!HasConditions(set) && RecipientCount(session, arguments.mail) == 0)
            throw Failure(Failure::no_conditions,
                          "まだ条件がありません。--where で条件を書くか、--all で全員を選んでください。");
    } else {
        MakeEmptyConditions(session, set);
        FillConditions(elements, arguments.conditions, set);
    }
    ChooseRecipients(session, arguments.mail, set, list);
}

void Change(Session& session, Elements const& elements, Arguments const& arguments) {
    ExtractAction set;
    ExtractResultDetail list;
    if (arguments.clear) {
        MakeEmptyConditions(session, set);
        MakeEmptyRecipients(list);
    } else {
        Choose(session, elements, arguments, set, list);
    }
    StoreTarget(session, arguments.mail, set, list);
    // A listing for programs stands alone.
    bool const listing = arguments.show && ListFormatOf(arguments.format) != ListFormat::table;
    std::ostream& out = listing ? std::cerr : std::cout;
    if (arguments.clear)
        out << "条件と宛先を消しました。\n";
    else
        TellChosen(session, list.GetRecordNumber(), out);
}

void Run(Arguments const& arguments) {
    if ((!arguments.conditions.empty()) + arguments.all + arguments.apply + arguments.clear > 1)
        throw Failure(Failure::invalid_request,
                      "条件 (--where、--or)、--all、--apply、--clear は一緒に使えません。");
    ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file,
                    arguments.Changes() ? Session::For::changing : Session::For::reading);
    RequireMail(session, arguments.mail, arguments.Changes() ? Deleted::refuse : Deleted::allow);
    const Elements elements(session);
    if (arguments.Changes()) Change(session, elements, arguments);
    if (arguments.show || !arguments.Changes()) Show(session, elements, arguments);
}

// An --or starts what the --where behind it join.
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
