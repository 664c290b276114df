#include "engine/upkeep/list_repair.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <utility>

#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/consent/refusals.h"
#include "engine/consent/suspensions.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/backup_archive.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/file_record.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

struct KnownList {
    char const* path;
    EventFile (*file)(std::string const& data_directory);
};
constexpr KnownList known_lists[] = {
    {refusals_file, RefusalsFile},
    {suspensions_file, SuspensionsFile},
};

EventFile FileOf(Session& session, std::string const& path) {
    auto const known = std::find_if(std::begin(known_lists), std::end(known_lists),
                                    [&](KnownList const& list) { return path == list.path; });
    return known->file(session.DataDirectory());
}

using Events = std::vector<EventFile::Cells>;

// Of the backup's list; none where it has none.
Events EventsIn(Session& session, std::string const& path, std::string const& backup) {
    Events events;
    if (backup.empty() || !IsArchive(backup)) return events;
    std::string const folder = session.DataDirectory() + "/.restore", copy = folder + "/list";
    RemoveTree(folder);
    MakeFolder(folder);
    ReadArchive(backup, [&](std::string const& name) {
        return name == std::string(backup_data) + path ? copy : std::string();
    });
    EventFile list = FileOf(session, path);
    auto const take = [&](EventFile::Cells const& cells) { events.push_back(cells); };
    bool const whole = !fs::exists(copy) || list.ReadText(ReadWholeFile(copy, "控え"), take);
    RemoveWork(folder);
    if (!whole)
        throw Failure(Failure::unsuitable_file, "控えの" + path + "が壊れています: " + backup,
                      {.file = backup});
    return events;
}

constexpr std::size_t time_cell = 1;

}  // namespace

std::vector<ListState> StateOfLists(Session& session) {
    std::vector<ListState> lists;
    for (KnownList const& known : known_lists) {
        EventFile file = known.file(session.DataDirectory());
        FileRecord const record(file.File());
        if (!fs::exists(file.File()) && record.GetState() == FileRecord::none) continue;
        ListState state{known.path, file.Name()};
        state.record_damaged = record.GetState() == FileRecord::damaged;
        state.whole = file.Read([](EventFile::Cells const&) {});
        state.events = file.Count();
        state.lost = file.Lost();
        lists.push_back(state);
    }
    return lists;
}

std::string DescribeList(ListState const& list) {
    std::string const events = Grouped(list.events) + "行";
    std::string text = list.name + " (" + list.path + "): ";
    if (list.whole)
        text += "完全です。" + events;
    else
        text += "欠けているか壊れています。だれにも送りません。読めるのは " + events;
    if (list.lost > 0) text += "、読めないのは " + Grouped(list.lost) + "行";
    if (list.record_damaged) text += "。記録のファイルが壊れています";
    return text;
}

void RepairList(Session& session, ListState const& list, std::string const& backup) {
    EventFile file = FileOf(session, list.path);
    Events events;
    file.Read([&](EventFile::Cells const& cells) { events.push_back(cells); });
    std::set<EventFile::Cells> const present(events.begin(), events.end());
    std::size_t const readable = events.size();
    for (EventFile::Cells& cells : EventsIn(session, list.path, backup))
        if (cells.size() > time_cell && !present.contains(cells)) events.push_back(std::move(cells));
    std::size_t const from_backup = events.size() - readable;
    auto const earlier = [](EventFile::Cells const& a, EventFile::Cells const& b) {
        return a[time_cell] < b[time_cell];
    };
    if (from_backup > 0) std::stable_sort(events.begin(), events.end(), earlier);
    FrontEnd& front = session.Front();
    if (!list.whole && fs::exists(file.File()))
        front.Result("直す前のファイルを残しました: " + KeepDamaged(file.File()));
    file.RemoveAll();
    for (EventFile::Cells const& cells : events) file.Add(cells);
    file.Save();
    front.Result(list.name + "の " + Grouped(readable) + "行を救い出しました: " + list.path);
    if (from_backup > 0)
        front.Result(list.name + "の " + Grouped(from_backup) + "行を控えから戻しました: " + list.path);
    else if (!list.whole)
        front.Result(list.name + "の読めない行は失われました: " + list.path);
}

void ListRefusersAgain(Session& session) {
    KeptRefusals refusals(session, session.Customers(), {});
    std::size_t const listed = refusals.List().Size();
    if (refusals.Settle()) session.SaveCustomers();
    session.Front().Result("配信停止の申し出は、DM送付可否 が N の顧客も入れて " + Grouped(listed) +
                           "件です。");
}

}  // namespace engine
