#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "cli/shown.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/customers/elements.h"
#include "engine/environment/safe_change.h"
#include "engine/mails/mail_store.h"
#include "engine/targets/conditions.h"
#include "engine/targets/target.h"
#include "tessaly/text.h"

namespace cli {
namespace {

constexpr char const* index_file = "EXTRACT/extrlist.dat";
constexpr int no_group = -1;

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

std::string Label(int id, CString const& name) {
    return std::to_string(id) + ": " + Out(OnOneLine(name.View()));
}

enum class State { live, deleted };

std::vector<ExtractViewData> AllOf(ExtractListViewer& groups, State state) {
    std::vector<ExtractViewData> all;
    for (int row = 0; row < groups.GetRecordNumber(); ++row) {
        ExtractViewData group;
        groups.SetExtractViewData(group, row);
        if ((group.DeleteFlag == "Y") == (state == State::deleted)) all.push_back(group);
    }
    return all;
}

// A name stands for one group only, among those in use.
void RefuseTaken(ExtractListViewer& groups, CString const& name, int own_id) {
    for (ExtractViewData const& group : AllOf(groups, State::live))
        if (group.ExtractID != own_id && group.Name == name)
            throw Failure(Failure::group_exists,
                          "その名前の宛先はもうあります: " + Label(group.ExtractID, name));
}

CString NewName(ExtractListViewer& groups, std::string const& text, int own_id) {
    auto const is_control = [](char c) { return (c >= 0 && c < ' ') || c == 127; };
    if (text.empty() || std::any_of(text.begin(), text.end(), is_control))
        throw Failure(Failure::invalid_value, "名前は空にできず、改行なども入れられません。");
    if (WholeNumber(text))
        throw Failure(Failure::invalid_value, "数だけの名前は、番号と見分けがつきません: " + text);
    const CString name = Into(text, "名前");
    RefuseTaken(groups, name, own_id);
    return name;
}

// A group by its number or its name.
ExtractViewData GroupNamed(ExtractListViewer& groups, std::string const& text, State state) {
    const CString name = Into(text, "名前");
    auto const find = [&](State where) {
        const std::vector<ExtractViewData> all = AllOf(groups, where);
        auto const number = WholeNumber(text);
        auto const found = std::find_if(all.begin(), all.end(), [&](ExtractViewData const& group) {
            return number ? group.ExtractID == *number : group.Name == name;
        });
        return found == all.end() ? std::optional<ExtractViewData>() : *found;
    };
    if (auto const wanted = find(state)) return *wanted;
    if (find(state == State::live ? State::deleted : State::live))
        throw state == State::live
            ? Failure(Failure::deleted, "削除した宛先です: " + text + " (group restore で戻せます)")
            : Failure(Failure::not_deleted, "この宛先は削除されていません: " + text);
    throw Failure(Failure::group_not_found,
                  "その番号か名前の宛先はありません: " + text + "\n「tessaly group list」で見られます。");
}

[[noreturn]] void NotChanged(ExtractListViewer& groups) {
    throw Failure(Failure::operation_failed,
                  "保存した宛先の一覧を変えられません。\n" + TextOf(groups.GetErrMsg()));
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
    const CString name = NewName(session.Groups(), arguments.name, no_group);
    ExtractAction set;
    LoadConditions(session, mail, set);
    ExtractResultDetail list;
    LoadRecipients(session, mail, list);
    if (!HasConditions(set) && list.GetRecordNumber() == 0)
        throw Failure(Failure::no_conditions,
                      "このメールの宛先はまだ選ばれていません。「tessaly target」で選べます。");
    const TargetOwner group{TargetOwner::group, AddToIndex(session.Groups(), name)};
    SafeChange whole(session.DataDirectory(), {index_file, group.ConditionsFile(), group.RecipientsFile()});
    session.SaveGroups();
    SaveConditions(session, group, set);
    SaveRecipients(session, group, list);
    whole.Keep();
    std::cout << "保存しました。 " << Label(group.id, name) << " (宛先 "
              << Grouped(static_cast<std::size_t>(list.GetRecordNumber())) << "件)\n";
}

// What a damaged file holds cannot be told, which keeps nobody from seeing the others.
template <class Text>
CString OrDamage(Text text) {
    try {
        return Into(text(), "宛先");
    } catch (Failure const&) {
        return Into("読めません", "宛先");
    }
}

std::vector<CString> RowOf(Session& session, Elements const& elements, ExtractViewData const& group) {
    const TargetOwner owner{TargetOwner::group, group.ExtractID};
    char date[date_data_size];
    Convert_COleDateTime2DateData(group.LastUpdate, date);
    const CString recipients = OrDamage([&] {
        ExtractResultDetail list;
        LoadRecipients(session, owner, list);
        return std::to_string(list.GetRecordNumber());
    });
    const CString conditions = OrDamage([&] {
        ExtractAction set;
        LoadConditions(session, owner, set);
        return DescribeInOneLine(elements, set);
    });
    return {std::to_string(group.ExtractID).c_str(), group.Name, date, recipients, conditions};
}

void ListGroups(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    const Elements elements(session);
    Listing listing(std::cout, format, {"番号", "名前", "登録日時", "宛先", "条件"});
    const std::vector<ExtractViewData> groups =
        AllOf(session.Groups(), arguments.deleted ? State::deleted : State::live);
    for (ExtractViewData const& group : groups) listing.Add(RowOf(session, elements, group));
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(groups.size()) << "件\n";
}

void Use(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireMail(session, arguments.mail);
    const TargetOwner group{TargetOwner::group,
                            GroupNamed(session.Groups(), arguments.group, State::live).ExtractID};
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

// `change` gets the list and the group, and gives the list's result.
template <class Change>
void ChangeOne(Arguments const& arguments, State state, char const* done, Change change) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    ExtractListViewer& groups = session.Groups();
    const ExtractViewData group = GroupNamed(groups, arguments.group, state);
    if (change(groups, group) != ExtractListViewer::done) NotChanged(groups);
    session.SaveGroups();
    CString name;
    groups.GetExtractName(group.ExtractID, name);
    std::cout << done << " " << Label(group.ExtractID, name) << "\n";
}

void Rename(Arguments const& arguments) {
    ChangeOne(arguments, State::live, "名前を変えました。",
              [&](ExtractListViewer& groups, ExtractViewData const& group) {
                  const CString name = NewName(groups, arguments.name, group.ExtractID);
                  return groups.CorrectExtractListPinPoint(name, group.ExtractID,
                                                           ExtractListViewer::column_name);
              });
}

void Delete(Arguments const& arguments) {
    ChangeOne(arguments, State::live, "削除しました (group restore で戻せます)。",
              [](ExtractListViewer& groups, ExtractViewData const& group) {
                  return groups.DeleteExtractList(group.ExtractID);
              });
}

// Its name may have been given to another meanwhile.
void Restore(Arguments const& arguments) {
    ChangeOne(arguments, State::deleted, "戻しました。",
              [](ExtractListViewer& groups, ExtractViewData const& group) {
                  RefuseTaken(groups, group.Name, group.ExtractID);
                  return groups.UnDeleteExtractList(group.ExtractID);
              });
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
    CLI::App* list = AddOne(*family, "list", "保存した宛先の一覧を表示します", arguments, ListGroups);
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
