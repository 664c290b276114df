#include "durable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace app {
namespace {

bool Sync(std::string const& path, int flags) {
    int const descriptor = open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0) return false;
    bool const done = fsync(descriptor) == 0;
    return close(descriptor) == 0 && done;
}

}  // namespace

bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write) {
    const std::string new_file = target + ".new";
    if (write(new_file) && Sync(new_file, O_RDONLY) && std::rename(new_file.c_str(), target.c_str()) == 0) {
        Sync(std::filesystem::path(target).parent_path().string(), O_RDONLY | O_DIRECTORY);
        return true;
    }
    std::error_code ignored;
    std::filesystem::remove(new_file, ignored);
    return false;
}

}  // namespace app
