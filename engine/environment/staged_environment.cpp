#include "engine/environment/staged_environment.h"

#include <filesystem>
#include <utility>

#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/environment/access.h"
#include "engine/environment/private_files.h"

namespace fs = std::filesystem;

namespace engine {

StagedEnvironment::StagedEnvironment(std::string const& env_file)
    : final_file_(fs::absolute(env_file).string()), final_data_(DataDirectoryOf(env_file)) {
    fs::path const file = final_file_;
    name_ = file.filename().string();
    folder_ = (file.parent_path() / ("." + name_ + ".new")).string();
    if (!file.has_extension())
        throw Failure(Failure::invalid_value,
                      "環境ファイルの名前には拡張子が必要です (例: shop.tsl): " + env_file);
    if (!fs::is_directory(file.parent_path()))
        throw Failure(Failure::file_not_found, "ディレクトリがありません: " + file.parent_path().string());
    if (fs::is_directory(folder_)) RemoveWhatWasLeft();
    for (std::string const& path : {final_file_, final_data_})
        if (fs::exists(path)) throw Failure(Failure::file_exists, "もうあります。上書きはしません: " + path);
    MakeFolder(folder_);
    if (auto lock = FolderLock::IfFree(folder_, "新しい環境"))
        lock_.emplace(*std::move(lock));
    else
        throw Failure(Failure::environment_busy, "ほかの tessaly がこの環境を作っています: " + env_file);
    MakeFolder(DataDirectory());
}

StagedEnvironment::~StagedEnvironment() {
    if (lock_) RemoveWork(folder_);
}

std::string StagedEnvironment::DataDirectory() const {
    return folder_ + "/" + fs::path(name_).stem().string();
}

// A data directory that got its place while the file did not is nothing that anybody could have opened.
void StagedEnvironment::RemoveWhatWasLeft() const {
    auto const lock = FolderLock::IfFree(folder_, "新しい環境");
    if (!lock) return;
    bool const cut_between = fs::exists(EnvFile()) && !fs::exists(DataDirectory());
    if (cut_between && !fs::exists(final_file_)) RemoveTree(final_data_);
    RemoveTree(folder_);
}

void StagedEnvironment::PutInPlace() {
    MakePrivate(EnvFile());
    MakePrivate(DataDirectory());
    if (!SyncAll(DataDirectory()) || !Sync(EnvFile()) || !Sync(folder_))
        throw Failure(Failure::not_written, "環境を書き込めませんでした: " + final_file_);
    try {
        MoveEntry(DataDirectory(), final_data_);
        MoveEntry(EnvFile(), final_file_);
    } catch (Failure const&) {
        bool const has_data = !fs::exists(DataDirectory());
        if (has_data && !fs::exists(final_file_)) RemoveWork(final_data_);
        throw;
    }
}

}  // namespace engine
