#include "engine/environment/private_files.h"

#include <filesystem>

#include "engine/base/failure.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr fs::perms others = fs::perms::group_all | fs::perms::others_all;

bool IsPrivate(std::string const& path) {
    std::error_code unknown;
    return (fs::status(path, unknown).permissions() & others) == fs::perms::none;
}

void Give(fs::path const& path, bool folder) {
    fs::perms const owner = fs::perms::owner_read | fs::perms::owner_write;
    fs::permissions(path, folder ? owner | fs::perms::owner_exec : owner);
}

}  // namespace

void MakePrivate(std::string const& path) {
    try {
        if (fs::is_directory(path))
            for (auto const& entry : fs::recursive_directory_iterator(path))
                if (!entry.is_symlink() && !IsPrivate(entry.path().string()))
                    Give(entry.path(), entry.is_directory());
        Give(path, fs::is_directory(path));
    } catch (fs::filesystem_error const& error) {
        throw Failure(Failure::not_written, "読める人を限れません: " + error.path1().string() + " (" +
                                                error.code().message() + ")");
    }
}

// The folder comes last: while it is open to others, the work was not completed.
void MakeEnvironmentPrivate(FrontEnd& front, std::string const& env_file, std::string const& data_directory) {
    if (IsPrivate(env_file) && IsPrivate(data_directory)) return;
    try {
        MakePrivate(env_file);
        MakePrivate(data_directory);
        front.Notice("この環境のファイルを、ほかの人から読めないようにしました: " + env_file + "、" +
                     data_directory);
    } catch (Failure const& failure) {
        front.Notice("この環境のファイルは、ほかの人からも読めます。" + std::string(failure.what()));
    }
}

}  // namespace engine
