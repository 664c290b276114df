#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/file.h"
#include "tessaly/platform/path.h"

namespace platform {
namespace {

// Below 0: no limit.
std::atomic<int> writes_left{-1};
std::atomic<int> reads_left{-1};

// Takes one of the accesses that are left; false, with `reason` in errno, when there is none.
bool Take(std::atomic<int>& accesses, int reason) noexcept {
    int left = accesses.load(std::memory_order_relaxed);
    while (left > 0 && !accesses.compare_exchange_weak(left, left - 1, std::memory_order_relaxed)) continue;
    if (left == 0) errno = reason;
    return left != 0;
}

}  // namespace

void FailWritesAfter(int writes) noexcept { writes_left.store(writes, std::memory_order_relaxed); }
void FailReadsAfter(int reads) noexcept { reads_left.store(reads, std::memory_order_relaxed); }

namespace posix {

bool Descriptor::Close() noexcept {
    // After EINTR the descriptor is closed all the same.
    return value_ < 0 || ::close(Release()) == 0 || errno == EINTR;
}

Descriptor OpenFile(std::string const& host_path, int flags, unsigned mode) {
    int opened;
    do opened = ::open(host_path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode);
    while (opened < 0 && errno == EINTR);
    Descriptor file(opened);
    struct stat status {};
    if (!file || fstat(opened, &status) != 0 || !S_ISDIR(status.st_mode)) return file;
    file.Close();
    errno = EISDIR;
    return file;
}

Descriptor OpenPath(char const* path, int flags) {
    if (path && *path) return OpenFile(HostPath(path), flags);
    errno = ENOENT;
    return {};
}

long ReadSome(int descriptor, void* buffer, std::size_t size) noexcept {
    if (!Take(reads_left, EIO)) return -1;
    ssize_t count;
    do count = ::read(descriptor, buffer, size);
    while (count < 0 && errno == EINTR);
    return count;
}

long ReadAt(int descriptor, void* buffer, std::size_t size, std::int64_t place) noexcept {
    if (!Take(reads_left, EIO)) return -1;
    ssize_t count;
    do count = ::pread(descriptor, buffer, size, static_cast<off_t>(place));
    while (count < 0 && errno == EINTR);
    return count;
}

std::size_t WriteAll(int descriptor, std::string_view content) noexcept {
    if (!content.empty() && !Take(writes_left, ENOSPC)) return 0;
    std::size_t written = 0;
    while (written < content.size()) {
        ssize_t const count = ::write(descriptor, content.data() + written, content.size() - written);
        if (count > 0)
            written += static_cast<std::size_t>(count);
        else if (count == 0 || errno != EINTR)
            break;
    }
    return written;
}

}  // namespace posix
}  // namespace platform
