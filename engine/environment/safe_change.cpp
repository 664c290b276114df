#include "engine/environment/safe_change.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/environment/copies.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/kept_changes.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// The copies are complete while their folder has its final name.
constexpr char const* in_the_making = "/.undo.new";
constexpr char const* complete = "/.undo";
constexpr char const* done_with = "/.undo.old";

void Require(bool on_disk, std::string const& path) {
    if (!on_disk) throw Failure(Failure::not_written, "環境に書き込めません: " + path);
}

[[noreturn]] void NotWhole(std::string const& file) {
    throw Failure(
        Failure::damaged_file,
        "前の操作が途中で終わったので元に戻すところですが、そのための写しが欠けているか壊れています: " +
            file + "\n何も変えていません。.undo をほかの場所に移すと、今のファイルのままで続けられます。",
        {.file = file});
}

// With the records of the tables among them.
std::vector<std::string> WithRecords(std::vector<std::string> const& paths) {
    std::vector<std::string> all = paths;
    for (std::string const& path : paths)
        if (path.ends_with(".dat")) all.push_back(path + ".record");
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
}

// Of a list by an earlier version, which holds the paths alone. It becomes one of the present form, so that
// an attempt to put the copies back can be cut off. None for another list.
std::optional<Copies> EarlierCopies(std::string const& folder) {
    Copies copies;
    std::ifstream list(folder + "/list", std::ios::binary);
    for (std::string path; std::getline(list, path);) {
        bool const known = path == settings_file || path.starts_with("DB/") || path.starts_with("MAIL/") ||
                           path.starts_with("EXTRACT/");
        if (!known || list.eof()) return {};
        copies.paths.push_back({path, CopiedPath::none, {}});
    }
    if (copies.paths.empty()) return {};
    ListCopies(folder, copies);
    return copies;
}

// Each copy is in its folder, or was put back by an attempt that was cut off.
void RequireWholeCopies(Copies const& copies, std::string const& folder, std::string const& data) {
    for (std::size_t i = 0; i < copies.paths.size(); ++i) {
        CopiedPath const& copied = copies.paths[i];
        std::string const number = std::to_string(i), target = data + "/" + copied.path;
        bool const put_back = copied.kind != CopiedPath::none && !fs::exists(folder + "/" + number);
        if (put_back && !fs::exists(target)) NotWhole(target);
        for (FileSum const& sum : copied.files) {
            std::string const file =
                put_back ? target + sum.name.substr(number.size()) : folder + "/" + sum.name;
            if (!Holds(file, sum)) NotWhole(file);
        }
    }
}

// By a rename where that is possible, since a full disk does not stop it.
void PutBack(std::string const& copy, std::string const& target) {
    if (!fs::exists(copy)) return;
    MakeFolder(fs::path(target).parent_path().string());
    if (fs::is_directory(copy)) RemoveTree(target);
    if (!fs::is_symlink(target) && rename(copy.c_str(), target.c_str()) == 0) {
        Require(Sync(fs::path(target).parent_path().string()), target);
        return;
    }
    // A link to a file, or another disk.
    if (fs::is_directory(copy)) return CopyTree(copy, target);
    Require(ReplaceFile(target, ReadWholeFile(copy, "写し")), target);
}

void Forget(std::string const& data) {
    RemoveTree(data + done_with);
    MoveEntry(data + complete, data + done_with);
    RemoveWork(data + done_with);
}

// The files and folders, and the folders above them.
void SyncPaths(std::string const& data, std::vector<std::string> const& paths) {
    std::vector<std::string> folders;
    for (std::string const& path : paths) {
        Require(SyncAll(data + "/" + path), data + "/" + path);
        for (std::string above = fs::path(path).parent_path().string();;
             above = fs::path(above).parent_path().string()) {
            folders.push_back(above);
            if (above.empty()) break;
        }
    }
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    for (std::string const& folder : folders)
        if (fs::exists(data + "/" + folder)) Require(Sync(data + "/" + folder), data + "/" + folder);
}

}  // namespace

SafeChange::SafeChange(std::string data_directory, std::vector<std::string> const& paths, std::string what)
    : data_directory_(std::move(data_directory)), paths_(WithRecords(paths)), what_(std::move(what)) {
    std::string const copies = data_directory_ + in_the_making;
    RemoveTree(copies);
    Copies list{what_, Out(NowText()), {}};
    for (std::string const& path : paths_) list.paths.push_back({path, CopiedPath::none, {}});
    try {
        MakeCopies(copies, data_directory_, list);
        MoveEntry(copies, data_directory_ + complete);
    } catch (...) {
        RemoveWork(copies);
        TryToRecover();
        throw;
    }
}

SafeChange::~SafeChange() {
    if (!kept_) TryToRecover();
}

void SafeChange::TryToRecover() noexcept {
    try {
        Recover(data_directory_);
    } catch (std::exception const&) {  // tried again when the environment is next opened
    }
}

void SafeChange::Keep() {
    SyncPaths(data_directory_, paths_);
    if (what_.empty()) {
        Forget(data_directory_);
    } else {
        WriteAfter(data_directory_ + complete, data_directory_);
        MoveEntry(data_directory_ + complete, PlaceForCopies(data_directory_));
        DropOldCopies(data_directory_);
    }
    kept_ = true;
}

bool SafeChange::Open(std::string const& data_directory) { return fs::exists(data_directory + complete); }

void SafeChange::Recover(std::string const& data_directory) {
    std::string const folder = data_directory + complete;
    RemoveTree(data_directory + in_the_making);
    if (!fs::exists(folder)) return RemoveWork(data_directory + done_with);
    std::optional<Copies> copies = ReadCopies(folder);
    if (!copies) copies = EarlierCopies(folder);
    if (!copies) NotWhole(folder + "/list");
    RequireWholeCopies(*copies, folder, data_directory);
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < copies->paths.size(); ++i) {
        CopiedPath const& copied = copies->paths[i];
        std::string const target = data_directory + "/" + copied.path;
        if (copied.kind == CopiedPath::none)
            RemoveTree(target);
        else
            PutBack(folder + "/" + std::to_string(i), target);
        paths.push_back(copied.path);
    }
    SyncPaths(data_directory, paths);
    Forget(data_directory);
}

}  // namespace engine
