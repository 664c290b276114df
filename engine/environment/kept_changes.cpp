#include "engine/environment/kept_changes.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/copies.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/safe_change.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* folder_name = "/UNDO";
constexpr char const* gone_end = ".gone";  // such a folder means nothing

}  // namespace

void SaveCustomersUndoably(Session& session, std::string const& what) {
    SafeChange change(session.DataDirectory(), {customers_file}, what);
    session.SaveCustomers();
    change.Keep();
}

std::vector<KeptChange> KeptChanges(std::string const& data_directory) {
    std::vector<KeptChange> changes;
    std::error_code none;
    for (auto const& entry : fs::directory_iterator(data_directory + folder_name, none)) {
        auto const number = WholeNumber(entry.path().filename().string());
        if (!number || !entry.is_directory()) continue;
        Copies const copies = ReadCopies(entry.path().string()).value_or(Copies{});
        changes.push_back({*number, copies.what, copies.when, entry.path().string()});
    }
    std::sort(changes.begin(), changes.end(),
              [](KeptChange const& a, KeptChange const& b) { return a.number < b.number; });
    return changes;
}

std::string PlaceForCopies(std::string const& data_directory) {
    std::vector<KeptChange> const changes = KeptChanges(data_directory);
    MakeFolder(data_directory + folder_name);
    for (auto const& entry : fs::directory_iterator(data_directory + folder_name))
        if (entry.path().extension() == gone_end) RemoveWork(entry.path().string());
    char name[16];
    std::snprintf(name, sizeof name, "/%06d", changes.empty() ? 1 : changes.back().number + 1);
    return data_directory + folder_name + name;
}

void DropOldCopies(std::string const& data_directory) {
    std::vector<KeptChange> const changes = KeptChanges(data_directory);
    for (std::size_t i = 0; i + most_kept_changes < changes.size(); ++i) DropCopies(changes[i]);
}

void DropCopies(KeptChange const& change) {
    std::string const gone = change.folder + gone_end;
    RemoveTree(gone);
    MoveEntry(change.folder, gone);
    RemoveWork(gone);
}

std::size_t ForgetKeptChanges(std::string const& data_directory) {
    std::size_t const count = KeptChanges(data_directory).size();
    RemoveTree(data_directory + folder_name);
    return count;
}

}  // namespace engine
