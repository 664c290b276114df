#include <algorithm>
#include <charconv>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "command.h"
#include "conditions.h"
#include "crossing.h"
#include "elements.h"
#include "failure.h"
#include "listing.h"
#include "mail_store.h"
#include "progress.h"
#include "safe_change.h"
#include "target.h"

namespace app {
namespace {

constexpr char const* index_file = "EXTRACT/extrlist.dat";

struct Arguments {
    Access access;
    std::string env_file;
    int mail = new_mail;
    std::string group;
    std::string name;
    bool apply = false;
    bool deleted = false;
    std::string format = "table";
};

std::optional<int> NumberIn(std::string_view text) {
    int number = -1;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return {};
    return number;
}

CString NameOf(ExtractListViewer& groups, int id) {
    CString name;
    groups.GetExtractName(id, name);
    return name;
}

std::string Label(ExtractListViewer& groups, int id) {
    return std::to_string(id) + ": " + Out(OnOneLine(NameOf(groups, id).View()));
}

std::vector<int> DeletedGroups(ExtractListViewer& groups) {
    CArray<int, int> ids;
    groups.GetDeleteExtractIDList(ids);
    return {ids.begin(), ids.end()};
}

std::vector<int> LiveGroups(ExtractListViewer& groups) {
    CArray<ExtractViewData*, ExtractViewData*> rows;
    groups.GetExtractList(rows);
    std::vector<int> ids;
    for (ExtractViewData const* row : rows) ids.push_back(row->ExtractID);
    return ids;
}

// A name that stands for one group only, among those in use.
CString NewName(ExtractListViewer& groups, std::string const& text, int own_id) {
    const CString name = Into(text, "名前");
    if (text.empty() ||
        std::any_of(text.begin(), text.end(), [](char c) { return c >= 0 && (c < ' ' || c == 127); }))
        throw Failure("名前は空にできず、改行なども入れられません。");
    if (NumberIn(text)) throw Failure("数だけの名前は、番号と見分けがつきません: " + text);
    for (int const id : LiveGroups(groups))
        if (id != own_id && NameOf(groups, id) == name)
            throw Failure("その名前の宛先はもうあります: " + Label(groups, id));
    return name;
}

// A group in use, or a deleted one, by its number or its name.
enum class State { live, deleted };
int GroupNamed(ExtractListViewer& groups, std::string const& text, State state) {
    const std::vector<int> live = LiveGroups(groups), deleted = DeletedGroups(groups);
    const CString name = Into(text, "名前");
    auto const find = [&](std::vector<int> const& ids) {
        auto const number = NumberIn(text);
        auto const found = std::find_if(ids.begin(), ids.end(), [&](int id) {
            return number ? id == *number : NameOf(groups, id) == name;
        });
        return found == ids.end() ? std::optional<int>() : *found;
    };
    if (auto const wanted = find(state == State::live ? live : deleted)) return *wanted;
    if (find(state == State::live ? deleted : live))
        throw Failure(state == State::live ? "削除した宛先です: " + text + " (group restore で戻せます)"
                                           : "この宛先は削除されていません: " + text);
    throw Failure("その番号か名前の宛先はありません: " + text + "\n「tessaly group list」で見られます。");
}

[[noreturn]] void NotChanged(ExtractListViewer& groups) {
    throw Failure("保存した宛先の一覧を変えられません。\n" + TextOf(groups.GetErrMsg()));
}

int AddToIndex(ExtractListViewer& groups, CString const& name) {
    ExtractViewData row;
    row.ExtractID = groups.GetNewExtractID();
    row.Name = name;
    if (row.ExtractID < 0 || groups.InsertExtractList(row) != ExtractListViewer::done) NotChanged(groups);
    return row.ExtractID;
}

void Save(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireMail(session, arguments.mail);
    const TargetOwner mail{TargetOwner::mail, arguments.mail};
    const CString name = NewName(session.Groups(), arguments.name, -1);
    ExtractAction set;
    LoadConditions(session, mail, set);
    ExtractResultDetail list;
    LoadRecipients(session, mail, list);
    if (!HasConditions(set) && list.GetRecordNumber() == 0)
        throw Failure("このメールの宛先はまだ選ばれていません。「tessaly target」で選べます。");
    const TargetOwner group{TargetOwner::group, AddToIndex(session.Groups(), name)};
    SafeChange whole(session.DataDirectory(), {index_file, group.ConditionsFile(), group.RecipientsFile()});
    session.SaveGroups();
    SaveConditions(session, group, set);
    SaveRecipients(session, group, list);
    whole.Keep();
    std::cout << "保存しました。 " << Label(session.Groups(), group.id) << " (宛先 "
              << Grouped(static_cast<std::size_t>(list.GetRecordNumber())) << "件)\n";
}

// What a damaged file holds cannot be told, which keeps nobody from seeing the others.
template <class Text>
std::string OrDamage(Text text) {
    try {
        return text();
    } catch (Failure const&) {
        return "読めません";
    }
}

void ListGroups(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    ExtractListViewer& groups = session.Groups();
    const Elements elements(session);
    const std::vector<int> ids = arguments.deleted ? DeletedGroups(groups) : LiveGroups(groups);
    Listing listing(std::cout, format, {"番号", "名前", "登録日時", "宛先", "条件"});
    for (int const id : ids) {
        const TargetOwner group{TargetOwner::group, id};
        CString date;
        groups.GetExtractLaseUpdate(id, date);
        const std::string recipients = OrDamage([&] {
            ExtractResultDetail list;
            LoadRecipients(session, group, list);
            return std::to_string(list.GetRecordNumber());
        });
        const std::string conditions = OrDamage([&] {
            ExtractAction set;
            LoadConditions(session, group, set);
            return DescribeInOneLine(elements, set);
        });
        listing.Add({std::to_string(id).c_str(), NameOf(groups, id), date, Into(recipients, "宛先"),
                     Into(conditions, "条件")});
    }
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(ids.size()) << "件\n";
}

void Use(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireMail(session, arguments.mail);
    const TargetOwner group{TargetOwner::group, GroupNamed(session.Groups(), arguments.group, State::live)};
    ExtractAction set;
    LoadConditions(session, group, set);
    ExtractResultDetail stored;
    LoadRecipients(session, group, stored);
    ExtractResultDetail chosen;
    if (arguments.apply) ChooseRecipients(session, arguments.mail, set, chosen);
    ExtractResultDetail& list = arguments.apply ? chosen : stored;
    StoreTarget(session, arguments.mail, set, list);
    TellChosen(session, list.GetRecordNumber(), std::cout);
}

// `change` gets the list and the group's ID, and gives the list's result.
template <class Change>
void ChangeOne(Arguments const& arguments, State state, char const* done, Change change) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    ExtractListViewer& groups = session.Groups();
    int const id = GroupNamed(groups, arguments.group, state);
    if (change(groups, id) != ExtractListViewer::done) NotChanged(groups);
    session.SaveGroups();
    std::cout << done << " " << Label(groups, id) << "\n";
}

void Rename(Arguments const& arguments) {
    ChangeOne(arguments, State::live, "名前を変えました。", [&](ExtractListViewer& groups, int id) {
        return groups.CorrectExtractListPinPoint(NewName(groups, arguments.name, id), id,
                                                 ExtractListViewer::column_name);
    });
}

void Delete(Arguments const& arguments) {
    ChangeOne(arguments, State::live, "削除しました (group restore で戻せます)。",
              [](ExtractListViewer& groups, int id) { return groups.DeleteExtractList(id); });
}

// Its name may have been given to another meanwhile.
void Restore(Arguments const& arguments) {
    ChangeOne(arguments, State::deleted, "戻しました。", [](ExtractListViewer& groups, int id) {
        NewName(groups, Out(NameOf(groups, id)), id);
        return groups.UnDeleteExtractList(id);
    });
}

CLI::App* AddOne(CLI::App& family, char const* name, char const* text,
                 std::shared_ptr<Arguments> const& arguments, void (*run)(Arguments const&)) {
    CLI::App* command = family.add_subcommand(name, text);
    AddEnvFile(*command, arguments->env_file);
    AddAccess(*command, arguments->access);
    command->callback([arguments, run] { run(*arguments); });
    return command;
}

}  // namespace

void AddGroupCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("group", "メールの宛先に名前をつけて保存し、また使います");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();

    auto const add_mail = [&](CLI::App* command) {
        command->add_option("MAIL", arguments->mail, "メールの番号")
            ->required()
            ->check(CLI::Range(0, std::numeric_limits<int>::max()))
            ->type_name("");
    };
    auto const add_group = [&](CLI::App* command) {
        command->add_option("GROUP", arguments->group, "保存した宛先の番号か名前")->required()->type_name("");
    };
    auto const add_name = [&](CLI::App* command) {
        command->add_option("NAME", arguments->name, "つける名前")->required()->type_name("");
    };
    CLI::App* save = AddOne(*family, "save", "メールの条件と宛先を、名前をつけて保存します", arguments, Save);
    add_mail(save);
    add_name(save);
    CLI::App* list = AddOne(*family, "list", "保存した宛先の一覧を表示します", arguments, ListGroups);
    list->add_flag("--deleted", arguments->deleted, "削除したものの一覧にします");
    list->add_option("--format", arguments->format, "table、csv、json のどれか")->type_name("FORMAT");
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

}  // namespace app
