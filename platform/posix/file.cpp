#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <stdexcept>

#include "platform/posix/descriptor.h"
#include "tessaly/platform/path.h"
#include "tessaly/platform/replacement.h"

namespace platform {
namespace {

constexpr std::size_t block_size = 256 * 1024;
constexpr std::size_t largest_whole_file = 0x7FFFFFFF;  // no string of the library holds more

using posix::Descriptor;

// The host path; for a null or empty path one that does not exist.
std::string HostPathOf(char const* path) { return path && *path ? HostPath(path) : std::string(); }

bool Examine(char const* path, struct stat& status) { return stat(HostPathOf(path).c_str(), &status) == 0; }

// A block at a time, so that the bytes that the string clears are still in the cache when the file's bytes
// replace them.
bool ReadToEnd(Descriptor const& file, std::string& content) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) return false;
    if (status.st_size > static_cast<off_t>(largest_whole_file)) return false;
    if (status.st_size > 0) content.reserve(static_cast<std::size_t>(status.st_size) + 1);
    for (;;) {
        std::size_t const size = content.size();
        content.resize(std::max(size + 1, std::min(content.capacity(), size + block_size)));
        long const count = posix::ReadSome(file.Get(), content.data() + size, content.size() - size);
        content.resize(size + static_cast<std::size_t>(std::max(count, 0L)));
        if (count <= 0) return count == 0;
        if (content.size() > largest_whole_file) return false;
    }
}

bool CopyContent(Descriptor const& from, int to) {
    auto const block = std::make_unique_for_overwrite<char[]>(block_size);
    for (;;) {
        long const count = posix::ReadSome(from.Get(), block.get(), block_size);
        if (count <= 0) return count == 0;
        std::string_view const content(block.get(), static_cast<std::size_t>(count));
        if (posix::WriteAll(to, content) != content.size()) return false;
    }
}

void CopyTimes(struct stat const& from, int to) {
    timespec const times[] = {from.st_atim, from.st_mtim};
    static_cast<void>(futimens(to, times) == 0);
}

}  // namespace

bool ReadWholeFile(char const* path, std::string& content) {
    Descriptor const file = posix::OpenPath(path, O_RDONLY);
    if (!file) return false;
    try {
        std::string read;
        if (!ReadToEnd(file, read)) return false;
        content = std::move(read);
        return true;
    } catch (std::bad_alloc const&) {
        return false;
    } catch (std::length_error const&) {
        return false;
    }
}

bool WriteWholeFile(char const* path, std::string_view content) {
    Replacement file(HostPathOf(path));
    return file.Get() >= 0 && posix::WriteAll(file.Get(), content) == content.size() && file.Commit();
}

bool Exists(char const* path) {
    struct stat status;
    return Examine(path, status);
}

bool IsDirectory(char const* path) {
    struct stat status;
    return Examine(path, status) && S_ISDIR(status.st_mode);
}

bool IsFile(char const* path) {
    struct stat status;
    return Examine(path, status) && !S_ISDIR(status.st_mode);
}

std::int64_t FileSize(char const* path) {
    struct stat status;
    return Examine(path, status) && !S_ISDIR(status.st_mode) ? status.st_size : -1;
}

bool MakeDirectory(char const* path) { return mkdir(HostPathOf(path).c_str(), 0777) == 0; }

bool RemoveDirectory(char const* path) { return rmdir(HostPathOf(path).c_str()) == 0; }

bool RemoveFile(char const* path) { return unlink(HostPathOf(path).c_str()) == 0; }

bool RenameFile(char const* from, char const* to) {
    if (rename(HostPathOf(from).c_str(), HostPathOf(to).c_str()) == 0) return true;
    // Drives may lie on different file systems.
    return errno == EXDEV && CopyFile(from, to, false) && RemoveFile(from);
}

bool CopyFile(char const* from, char const* to, bool fail_if_exists) {
    Descriptor const source = posix::OpenPath(from, O_RDONLY);
    struct stat source_status, target_status;
    if (!source || fstat(source.Get(), &source_status) != 0) return false;
    if (Examine(to, target_status)) {
        bool const same =
            source_status.st_dev == target_status.st_dev && source_status.st_ino == target_status.st_ino;
        if (fail_if_exists || same) return false;
    }
    // As a copy by the system's shell: not readable for more users than the source.
    Replacement copy(HostPathOf(to), Replacement::keep_links, source_status.st_mode & 0777);
    if (copy.Get() < 0 || !CopyContent(source, copy.Get())) return false;
    CopyTimes(source_status, copy.Get());
    return copy.Commit();
}

bool FileTimes(char const* path, std::int64_t* created, std::int64_t* modified) {
    struct statx status {};
    if (statx(AT_FDCWD, HostPathOf(path).c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return false;
    *modified = status.stx_mtime.tv_sec;
    *created = status.stx_mask & STATX_BTIME
                   ? status.stx_btime.tv_sec
                   : std::min({status.stx_atime.tv_sec, status.stx_mtime.tv_sec, status.stx_ctime.tv_sec});
    return true;
}

}  // namespace platform
