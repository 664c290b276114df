#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace engine {

// Which file stands under a name, and in which state: it differs for a file that was replaced or written
// since. All zero for one that is not there.
struct FileIdentity {
    std::uint64_t device = 0, inode = 0;
    std::int64_t bytes = 0, written_ns = 0, changed_ns = 0;
    bool operator==(FileIdentity const&) const = default;
};

// One system call.
inline FileIdentity IdentityOf(std::string const& path) {
    struct stat file {};
    if (stat(path.c_str(), &file) != 0) return {};
    auto const nanoseconds = [](timespec const& time) {
        return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    };
    return {file.st_dev, file.st_ino, file.st_size, nanoseconds(file.st_mtim), nanoseconds(file.st_ctim)};
}

}  // namespace engine
