#include "engine/base/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "engine/base/failure.h"
#include "tessaly/storage.h"

namespace fs = std::filesystem;

namespace engine {

std::string ReadWholeFile(std::string const& file, std::string const& what) {
    std::ifstream in(file, std::ios::binary);
    if (!in || fs::is_directory(file))
        throw Failure(Failure::unreadable_file, what + "を開けません: " + file, {.file = file});
    std::string content{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) throw Failure(Failure::unreadable_file, what + "を読めません: " + file, {.file = file});
    return content;
}

bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write) {
    platform::Replacement file(target, platform::Replacement::always_beside);
    return file.Get() >= 0 && write(file.NewFile()) && file.Commit();
}

bool ReplaceFile(std::string const& target, std::string_view content) {
    return ReplaceFile(target, [&](std::string const& file) {
        std::ofstream out(file, std::ios::binary);
        out << content;
        out.close();
        return static_cast<bool>(out);
    });
}

bool Sync(std::string const& path) {
    int const descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    bool const done = fsync(descriptor) == 0;
    return close(descriptor) == 0 && done;
}

bool SyncAll(std::string const& path) {
    std::error_code error;
    fs::file_status const status = fs::symlink_status(path, error);
    if (!fs::exists(status)) return !error || error == std::errc::no_such_file_or_directory;
    if (fs::is_regular_file(status)) return Sync(path);
    if (!fs::is_directory(status)) return true;
    for (fs::recursive_directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error)) {
        bool const has_content = entry->is_directory() || entry->is_regular_file();
        if (!entry->is_symlink() && has_content && !Sync(entry->path().string())) return false;
    }
    return !error && Sync(path);
}

}  // namespace engine
