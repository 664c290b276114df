#include "durable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace app {
namespace {

bool Sync(const std::string& path, int flags) {
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool done = fsync(descriptor) == 0;
    return close(descriptor) == 0 && done;
}

}  // namespace

bool ReplaceFile(const std::string& target, const std::function<bool(const std::string& new_file)>& write) {
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
