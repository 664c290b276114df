#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/file.h"
#include "platform/posix/descriptor.h"
#include "tessaly/platform/path.h"

namespace platform {
namespace {

// Requests only the needed fields, and never the times: after a request for them the next write stores a new
// time on the disk, which doubles its cost. With an empty path: the file of the descriptor.
bool Examine(int descriptor, char const* path, unsigned wanted, struct statx& status) noexcept {
    return statx(descriptor, path, *path ? 0 : AT_EMPTY_PATH, wanted, &status) == 0;
}

}  // namespace

AppendFile& AppendFile::operator=(AppendFile const& other) noexcept {
    if (this != &other) Close();
    return *this;
}

bool AppendFile::Open(char const* path) {
    Close();
    posix::Descriptor file = posix::OpenPath(path, O_RDWR | O_CREAT | O_APPEND);
    struct statx status {};
    if (!file || !Examine(file.Get(), "", STATX_INO, status)) return false;
    path_ = HostPath(path);
    device_[0] = status.stx_dev_major;
    device_[1] = status.stx_dev_minor;
    inode_ = status.stx_ino;
    descriptor_ = file.Release();
    return true;
}

// While the file is open its inode number is not used again, so one look at the file of the path is enough:
// equal numbers mean that it was not deleted, moved away or replaced.
bool AppendFile::StillThere() const noexcept {
    struct statx status {};
    return IsOpen() && Examine(AT_FDCWD, path_.c_str(), STATX_INO, status) && status.stx_ino == inode_ &&
           status.stx_dev_major == device_[0] && status.stx_dev_minor == device_[1];
}

std::int64_t AppendFile::Length() const noexcept {
    struct statx status {};
    if (!IsOpen() || !Examine(descriptor_, "", STATX_NLINK | STATX_SIZE, status) || status.stx_nlink == 0)
        return -1;
    return static_cast<std::int64_t>(status.stx_size);
}

bool AppendFile::Head(std::size_t count, std::string& head) const {
    head.assign(count, '\0');
    std::size_t size = 0;
    long read = IsOpen() ? 1 : -1;
    while (read > 0 && size < count) {
        read = posix::ReadAt(descriptor_, head.data() + size, count - size, static_cast<std::int64_t>(size));
        if (read > 0) size += static_cast<std::size_t>(read);
    }
    head.resize(size);
    return read >= 0;
}

bool AppendFile::Lock() noexcept {
    if (!IsOpen()) return false;
    int failed;
    do failed = flock(descriptor_, LOCK_EX);
    while (failed && errno == EINTR);
    return !failed;
}

void AppendFile::Unlock() noexcept {
    if (IsOpen()) flock(descriptor_, LOCK_UN);
}

bool AppendFile::Truncate() { return IsOpen() && ftruncate(descriptor_, 0) == 0; }

bool AppendFile::Append(std::string_view text) {
    if (!IsOpen()) return false;
    std::size_t const written = posix::WriteAll(descriptor_, text);
    if (written == text.size()) return true;
    // Removes a cut entry, which the caller will write again, unless another process wrote behind it.
    off_t const end = written ? lseek(descriptor_, 0, SEEK_CUR) : -1;
    struct stat status {};
    if (end >= 0 && fstat(descriptor_, &status) == 0 && status.st_size == end)
        static_cast<void>(ftruncate(descriptor_, end - static_cast<off_t>(written)) == 0);
    return false;
}

void AppendFile::Close() noexcept { posix::Descriptor(std::exchange(descriptor_, -1)).Close(); }

}  // namespace platform
