#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include "platform/file.h"
#include "platform/path.h"

namespace platform {
namespace {

std::atomic<int> writes_left{-1};  // below 0: no limit

bool MayWrite() noexcept {
    int left = writes_left.load(std::memory_order_relaxed);
    while (left > 0 && !writes_left.compare_exchange_weak(left, left - 1, std::memory_order_relaxed))
        continue;
    if (left == 0) errno = ENOSPC;
    return left != 0;
}

}  // namespace

void FailWritesAfter(int writes) noexcept { writes_left.store(writes, std::memory_order_relaxed); }

namespace posix {

bool Descriptor::Close() noexcept {
    // After EINTR the descriptor is closed all the same.
    return value_ < 0 || ::close(Release()) == 0 || errno == EINTR;
}

Descriptor OpenFile(std::string const& host_path, int flags) {
    int opened;
    do opened = ::open(host_path.c_str(), flags | O_CLOEXEC | O_NOCTTY, 0666);
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
    ssize_t count;
    do count = ::read(descriptor, buffer, size);
    while (count < 0 && errno == EINTR);
    return count;
}

std::size_t WriteAll(int descriptor, std::string_view content) noexcept {
    if (!content.empty() && !MayWrite()) return 0;
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = ::write(descriptor, content.data() + written, content.size() - written);
        if (count > 0)
            written += static_cast<std::size_t>(count);
        else if (count == 0 || errno != EINTR)
            break;
    }
    return written;
}

}  // namespace posix
}  // namespace platform
