#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/shown.h"
#include "engine/targets/groups.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int mail = 0;
    std::string group;
    std::string name;
    bool apply = false;
    bool deleted = false;
    std::string format = "table";
};

std::string Label(Group const& group) { return std::to_string(group.id) + ": " + group.name; }

void Save(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    SavedGroup const saved = SaveGroup(session, arguments.mail, arguments.name);
    std::cout << "保存しました。 " << Label(saved.group) << " (宛先 " << Grouped(saved.recipients) << "件)\n";
}

void List(Arguments const& arguments) {
    constexpr char const* damaged = "読めません";
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    std::vector<GroupSummary> const groups =
        ListGroups(session, arguments.deleted ? GroupState::deleted : GroupState::live);
    Listing listing(std::cout, format, {"番号", "名前", "登録日時", "宛先", "条件"});
    for (GroupSummary const& one : groups)
        listing.Add({std::to_string(one.group.id), one.group.name, one.saved,
                     one.recipients ? std::to_string(*one.recipients) : damaged,
                     one.conditions.value_or(damaged)});
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(groups.size()) << "件\n";
}

void Use(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    TellChoice(
        ApplyGroup(session, arguments.group, arguments.mail, arguments.apply ? Apply::anew : Apply::stored),
        std::cout);
}

void Rename(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    Group const group = RenameGroup(session, arguments.group, arguments.name);
    std::cout << "名前を変えました。 " << Label(group) << "\n";
}

void Delete(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    Group const group = DeleteGroup(session, arguments.group);
    std::cout << "削除しました (group restore で戻せます)。 " << Label(group) << "\n";
}

void Restore(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    Group const group = RestoreGroup(session, arguments.group);
    std::cout << "戻しました。 " << Label(group) << "\n";
}

}  // namespace

void AddGroupCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("group", "メールの宛先に名前をつけて保存し、また使います");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();

    auto const add_mail = [&](CLI::App* command) { AddMail(*command, arguments->mail)->required(); };
    auto const add_group = [&](CLI::App* command) {
        command->add_option("GROUP", arguments->group, "保存した宛先の番号か名前")->required()->type_name("");
    };
    auto const add_name = [&](CLI::App* command) {
        command->add_option("NAME", arguments->name, "つける名前")->required()->type_name("");
    };
    CLI::App* save = AddOne(*family, "save", "メールの条件と宛先を、名前をつけて保存します", arguments, Save);
    add_mail(save);
    add_name(save);
    CLI::App* list = AddOne(*family, "list", "保存した宛先の一覧を表示します", arguments, List);
    list->add_flag("--deleted", arguments->deleted, "削除したものの一覧にします");
    AddFormat(*list, arguments->format);
    CLI::App* use = AddOne(*family, "use", "保存した条件と宛先をメールに写します", arguments, Use);
    add_group(use);
    add_mail(use);
    use->add_flag("--apply", arguments->apply, "保存した条件で、今の顧客から選び直します");
    CLI::App* rename = AddOne(*family, "rename", "名前を変えます", arguments, Rename);
    add_group(rename);
    add_name(rename);
    add_group(AddOne(*family, "delete", "削除します (戻せます)", arguments, Delete));
    add_group(AddOne(*family, "restore", "削除した宛先を戻します", arguments, Restore));
}

}  // namespace cli
