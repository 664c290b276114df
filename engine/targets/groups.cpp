#include "engine/targets/groups.h"

#include <algorithm>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/listed_mail.h"
#include "engine/environment/safe_change.h"

namespace engine {
namespace {

constexpr int no_group = -1;

Group GroupOf(int id, CString const& name) { return {id, Out(OnOneLine(name.View()))}; }

std::vector<ExtractViewData> AllOf(ExtractListViewer& groups, GroupState state) {
    std::vector<ExtractViewData> all;
    for (int row = 0; row < groups.GetRecordNumber(); ++row) {
        ExtractViewData group;
        groups.SetExtractViewData(group, row);
        if ((group.DeleteFlag == "Y") == (state == GroupState::deleted)) all.push_back(group);
    }
    return all;
}

void RefuseTaken(ExtractListViewer& groups, CString const& name, int own_id) {
    for (ExtractViewData const& group : AllOf(groups, GroupState::live))
        if (group.ExtractID != own_id && group.Name == name)
            throw Failure(Failure::group_exists,
                          "その名前の宛先はもうあります: " + std::to_string(group.ExtractID) + ": " +
                              GroupOf(group.ExtractID, name).name);
}

CString NewName(ExtractListViewer& groups, std::string const& text, int own_id) {
    auto const is_control = [](char c) { return (c >= 0 && c < ' ') || c == 127; };
    if (text.empty() || std::any_of(text.begin(), text.end(), is_control))
        throw Failure(Failure::invalid_value, "名前は空にできず、改行なども入れられません。");
    if (WholeNumber(text))
        throw Failure(Failure::invalid_value, "数だけの名前は、番号と見分けがつきません: " + text);
    CString name = Into(text, "名前");
    RefuseTaken(groups, name, own_id);
    return name;
}

ExtractViewData GroupNamed(ExtractListViewer& groups, std::string const& text, GroupState state) {
    CString const name = Into(text, "名前");
    auto const find = [&](GroupState where) {
        std::vector<ExtractViewData> const all = AllOf(groups, where);
        auto const number = WholeNumber(text);
        auto const found = std::find_if(all.begin(), all.end(), [&](ExtractViewData const& group) {
            return number ? group.ExtractID == *number : group.Name == name;
        });
        return found == all.end() ? std::optional<ExtractViewData>() : *found;
    };
    bool const live = state == GroupState::live;
    if (auto const wanted = find(state)) return *wanted;
    if (find(live ? GroupState::deleted : GroupState::live))
        throw live ? Failure(Failure::deleted, "削除した宛先です: " + text + " (group restore で戻せます)")
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

// `change` gets the list and the group, and gives the list's result.
template <class Change>
Group ChangeOne(Session& session, std::string const& text, GroupState state, Change change) {
    ExtractListViewer& groups = session.Groups();
    ExtractViewData const group = GroupNamed(groups, text, state);
    if (change(groups, group) != ExtractListViewer::done) NotChanged(groups);
    session.SaveGroups();
    CString name;
    groups.GetExtractName(group.ExtractID, name);
    return GroupOf(group.ExtractID, name);
}

// No result for a damaged file, which is told, so that the other groups are still listed.
template <class Read>
auto UnlessDamaged(Session& session, Read read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (Failure const& failure) {
        session.NoticeOnce(failure.what());
        return {};
    }
}

}  // namespace

SavedGroup SaveGroup(Session& session, int mail_id, std::string const& text) {
    RequireMail(session, mail_id);
    TargetOwner const mail{TargetOwner::mail, mail_id};
    CString const name = NewName(session.Groups(), text, no_group);
    ExtractAction set;
    LoadConditions(session, mail, set);
    ExtractResultDetail list;
    LoadRecipients(session, mail, list);
    if (!HasConditions(set) && list.GetRecordNumber() == 0)
        throw Failure(Failure::no_conditions,
                      "このメールの宛先はまだ選ばれていません。「tessaly target」で選べます。");
    TargetOwner const group{TargetOwner::group, AddToIndex(session.Groups(), name)};
    SafeChange whole(session.DataDirectory(), {groups_file, group.ConditionsFile(), group.RecipientsFile()});
    session.SaveGroups();
    SaveConditions(session, group, set);
    SaveRecipients(session, group, list);
    whole.Keep();
    return {GroupOf(group.id, name), static_cast<std::size_t>(list.GetRecordNumber())};
}

Group RenameGroup(Session& session, std::string const& text, std::string const& new_name) {
    return ChangeOne(
        session, text, GroupState::live, [&](ExtractListViewer& groups, ExtractViewData const& group) {
            CString const name = NewName(groups, new_name, group.ExtractID);
            return groups.CorrectExtractListPinPoint(name, group.ExtractID, ExtractListViewer::column_name);
        });
}

Group DeleteGroup(Session& session, std::string const& text) {
    return ChangeOne(session, text, GroupState::live,
                     [](ExtractListViewer& groups, ExtractViewData const& group) {
                         return groups.DeleteExtractList(group.ExtractID);
                     });
}

// Its name may have been given to another meanwhile.
Group RestoreGroup(Session& session, std::string const& text) {
    return ChangeOne(session, text, GroupState::deleted,
                     [](ExtractListViewer& groups, ExtractViewData const& group) {
                         RefuseTaken(groups, group.Name, group.ExtractID);
                         return groups.UnDeleteExtractList(group.ExtractID);
                     });
}

Choice ApplyGroup(Session& session, std::string const& text, int mail, Apply apply) {
    RequireMail(session, mail);
    TargetOwner const group{TargetOwner::group,
                            GroupNamed(session.Groups(), text, GroupState::live).ExtractID};
    ExtractAction set;
    LoadConditions(session, group, set);
    ExtractResultDetail stored, chosen;
    LoadRecipients(session, group, stored);
    if (apply == Apply::anew)
        ChooseRecipients(session, mail, set, chosen);
    else
        DropStopped(session, stored);
    ExtractResultDetail& list = apply == Apply::anew ? chosen : stored;
    StoreTarget(session, mail, set, list);
    return ChoiceOf(session, list);
}

std::vector<GroupSummary> ListGroups(Session& session, GroupState state) {
    Elements const elements(session);
    std::vector<GroupSummary> groups;
    for (ExtractViewData const& group : AllOf(session.Groups(), state)) {
        TargetOwner const owner{TargetOwner::group, group.ExtractID};
        auto const recipients = UnlessDamaged(session, [&] {
            ExtractResultDetail list;
            LoadRecipients(session, owner, list);
            return static_cast<std::size_t>(list.GetRecordNumber());
        });
        auto const conditions = UnlessDamaged(session, [&] {
            ExtractAction set;
            LoadConditions(session, owner, set);
            return DescribeInOneLine(elements, set);
        });
        groups.push_back(
            {{group.ExtractID, Out(group.Name)}, Out(DateText(group.LastUpdate)), recipients, conditions});
    }
    return groups;
}

}  // namespace engine
