#include "engine/environment/safe_change.h"

#include <filesystem>
#include <fstream>

#include "engine/base/failure.h"
#include "engine/base/whole_file.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// The copies are complete while their folder has its final name.
constexpr char const* in_the_making = ".undo.new";
constexpr char const* complete = ".undo";
constexpr char const* done_with = ".undo.old";
constexpr char const* list_name = "list";

// The copies, or what is to stand without them, are on the disk before the next step counts on them.
void Require(bool on_disk, fs::path const& data) {
    if (!on_disk) throw Failure(Failure::not_written, "環境に書き込めません: " + data.string());
}

void Forget(fs::path const& data) {
    fs::remove_all(data / done_with);
    fs::rename(data / complete, data / done_with);
    fs::remove_all(data / done_with);
}

}  // namespace

SafeChange::SafeChange(std::string data_directory, std::vector<std::string> const& paths)
    : data_directory_(std::move(data_directory)), paths_(paths) {
    fs::path const data = data_directory_, copies = data / in_the_making;
    try {
        fs::remove_all(copies);
        fs::create_directory(copies);
        std::ofstream list(copies / list_name, std::ios::binary);
        for (std::size_t i = 0; i < paths.size(); ++i) {
            list << paths[i] << "\n";
            if (fs::exists(data / paths[i]))
                fs::copy(data / paths[i], copies / std::to_string(i), fs::copy_options::recursive);
        }
        list.close();
        Require(list && SyncAll(copies.string()), data);
        fs::rename(copies, data / complete);
        Require(Sync(data_directory_), data);
    } catch (fs::filesystem_error const& error) {
        throw Failure(Failure::not_written,
                      "環境に書き込めません: " + data_directory_ + "\n" + error.code().message());
    }
}

SafeChange::~SafeChange() {
    if (kept_) return;
    try {
        Recover(data_directory_);
    } catch (std::exception const&) {  // tried again when the environment is next opened
    }
}

void SafeChange::Keep() {
    fs::path const data = data_directory_;
    for (std::string const& path : paths_) Require(SyncAll((data / path).string()), data);
    kept_ = true;
    Forget(data);
}

bool SafeChange::Open(std::string const& data_directory) {
    return fs::exists(fs::path(data_directory) / complete);
}

void SafeChange::Recover(std::string const& data_directory) {
    fs::path const data = data_directory, copies = data / complete;
    try {
        fs::remove_all(data / in_the_making);
        if (!fs::exists(copies)) return;
        std::ifstream list(copies / list_name, std::ios::binary);
        std::string path;
        for (std::size_t i = 0; std::getline(list, path); ++i) {
            fs::remove_all(data / path);
            if (fs::exists(copies / std::to_string(i)))
                fs::copy(copies / std::to_string(i), data / path, fs::copy_options::recursive);
            Require(SyncAll((data / path).string()), data);
        }
        Forget(data);
    } catch (fs::filesystem_error const& error) {
        throw Failure(Failure::not_written, "前の操作が途中で終わった跡を元に戻せません: " + data_directory +
                                                "\n" + error.code().message());
    }
}

}  // namespace engine
