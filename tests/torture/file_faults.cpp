// A library for LD_PRELOAD that stands between a program and the system's file calls. It records every change
// below one folder, lets a chosen call fail, or ends the process there. Set by variables of the environment:
//
//   FILE_FAULTS_ROOT     the folder (without symbolic links in its path); without it nothing is recorded or
//   fails FILE_FAULTS_LOG      a file outside of it, to which each change is appended (struct Header, then
//   the texts) FILE_FAULTS_FAIL     KIND,...:N:ERROR  the N-th call of these kinds, from 1, fails with ENOSPC
//   or EIO;
//                        KIND,...:N+:ERROR  the later ones too, and the N-th writes half of its bytes if it
//                        writes
//   FILE_FAULTS_KILL     KIND,...:N  the process ends by SIGKILL in place of that call
//   FILE_FAULTS_NO_SYNC  set: syncs succeed and do nothing, wherever the file lies
//   FILE_FAULTS_TIME     seconds since 1970 at which the clock of the day stands
//   FILE_FAULTS_BOOT_ID  a file that is read in place of the kernel's boot id
//
// Kinds: create write truncate allocate sync rename link unlink mkdir rmdir; send is what goes to a socket,
// recorded only. What the C library writes by itself (stdio streams) passes unseen; disk.py notices where
// that matters.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "fault_log.h"

using namespace faults;

namespace {

// --- Writes ---

bool IsFull() { return Settings().fail.Stays() && Settings().fail.Error() == ENOSPC; }

// A full disk takes what goes where the file has its space already.
bool HasSpace(int file, std::size_t size, std::int64_t place) {
    struct stat status {};
    std::int64_t const at = place < 0 ? syscall(SYS_lseek, file, 0, SEEK_CUR) : place;
    bool const appends = (syscall(SYS_fcntl, file, F_GETFL) & O_APPEND) != 0;
    return !appends && fstat(file, &status) == 0 && at + static_cast<std::int64_t>(size) <= status.st_size;
}

// Whether this write is the first that meets a full disk, on which half of it still finds room.
bool HalfFits(std::size_t size) {
    Target next = Settings().fail;
    return size > 1 && next.Count("write") == Target::Meets::first;
}

template <class Call>
ssize_t Write(int file, void const* data, std::size_t size, std::int64_t place, Call call) {
    std::string const path = PathOf(file);
    if (path.empty()) return call(size);
    std::lock_guard const guard(Settings().order);
    Change change{"write", path, {}, 0, place};
    auto const complete = [&](Change& made, ssize_t written) {
        made.data = {static_cast<char const*>(data), static_cast<std::size_t>(written)};
        if (place < 0) made.place = syscall(SYS_lseek, file, 0, SEEK_CUR) - written;
    };
    bool const has_space = IsFull() && HasSpace(file, size, place);
    if (!has_space && !(IsFull() && HalfFits(size)))
        return Make(
            change, [&] { return call(size); }, complete);
    if (!has_space) Settings().fail.Count("write");
    ssize_t const written = call(has_space ? size : size / 2);
    if (written >= 0) complete(change, written);
    Append(change, written < 0 ? errno : 0);
    return written;
}

constexpr std::int64_t where_it_stands = -1;

ssize_t WriteHere(int file, void const* data, std::size_t size) {
    return Write(file, data, size, where_it_stands, [&](std::size_t part) {
        return static_cast<ssize_t>(syscall(SYS_write, file, data, part));
    });
}

// Each piece as a write of its own: a short one ends the call, as the system may do.
ssize_t WritePieces(int file, iovec const* pieces, int count, std::int64_t place) {
    ssize_t all = 0;
    for (int i = 0; i < count; ++i) {
        std::int64_t const at = place < 0 ? place : place + all;
        auto const call = [&](std::size_t part) {
            return static_cast<ssize_t>(at < 0 ? syscall(SYS_write, file, pieces[i].iov_base, part)
                                               : syscall(SYS_pwrite64, file, pieces[i].iov_base, part, at));
        };
        ssize_t const written = Write(file, pieces[i].iov_base, pieces[i].iov_len, at, call);
        if (written < 0) return all > 0 ? all : written;
        all += written;
        if (static_cast<std::size_t>(written) < pieces[i].iov_len) break;
    }
    return all;
}

// In place of a copy inside the system: its bytes pass through here.
ssize_t CopyThrough(int from, off64_t* from_place, int to, off64_t* to_place, std::size_t size) {
    constexpr std::size_t most = 1 << 16;
    std::string block(std::min(size, most), '\0');
    long const read = from_place ? syscall(SYS_pread64, from, block.data(), block.size(), *from_place)
                                 : syscall(SYS_read, from, block.data(), block.size());
    if (read <= 0) return read;
    iovec const piece{block.data(), static_cast<std::size_t>(read)};
    ssize_t const written = WritePieces(to, &piece, 1, to_place ? *to_place : where_it_stands);
    if (written > 0 && from_place) *from_place += written;
    if (written > 0 && to_place) *to_place += written;
    if (written < read && !from_place)
        syscall(SYS_lseek, from, std::max(written, ssize_t{0}) - read, SEEK_CUR);
    return written;
}

// --- Opening ---

char const* InPlaceOf(char const* name) {
    bool const asked =
        !Settings().boot_id.empty() && name && std::strcmp(name, "/proc/sys/kernel/random/boot_id") == 0;
    return asked ? Settings().boot_id.c_str() : name;
}

int Open(int folder, char const* name, int flags, unsigned mode) {
    auto const call = [&] {
        return static_cast<int>(syscall(SYS_openat, folder, InPlaceOf(name), flags, mode));
    };
    std::string const path = flags & (O_CREAT | O_TRUNC) ? PathOf(folder, name) : std::string();
    return path.empty() ? call() : Make({"create", path, {}, static_cast<std::uint32_t>(flags)}, call);
}

std::FILE* OpenStream(char const* next, char const* name, char const* mode) {
    using Function = std::FILE* (*)(char const*, char const*);
    auto const function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, next));
    std::string const path = *mode == 'r' ? std::string() : PathOf(AT_FDCWD, name);
    if (path.empty()) return function(InPlaceOf(name), mode);
    std::FILE* stream = nullptr;
    std::uint32_t const flags = O_CREAT | (*mode == 'w' ? O_TRUNC : O_APPEND);
    Make({"create", path, {}, flags}, [&] { return (stream = function(name, mode)) ? 0 : -1; });
    return stream;
}

unsigned ModeOf(int flags, va_list arguments) {
    return flags & (O_CREAT | O_TMPFILE) ? va_arg(arguments, unsigned) : 0;
}

// --- Names ---

template <class Call>
int ChangeName(std::string_view kind, std::string const& path, Call call, std::string const& other = {}) {
    return path.empty() && other.empty() ? call() : Make({kind, path, other}, call);
}

int Rename(int from_folder, char const* from, int to_folder, char const* to, unsigned flags) {
    return ChangeName(
        "rename", PathOf(from_folder, from),
        [&] { return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags)); },
        PathOf(to_folder, to));
}

int Link(int from_folder, char const* from, int to_folder, char const* to, int flags) {
    return ChangeName(
        "link", PathOf(from_folder, from),
        [&] { return static_cast<int>(syscall(SYS_linkat, from_folder, from, to_folder, to, flags)); },
        PathOf(to_folder, to));
}

int Unlink(int folder, char const* name, int flags) {
    return ChangeName(flags & AT_REMOVEDIR ? "rmdir" : "unlink", PathOf(folder, name),
                      [&] { return static_cast<int>(syscall(SYS_unlinkat, folder, name, flags)); });
}

int MakeFolder(int folder, char const* name, mode_t mode) {
    return ChangeName("mkdir", PathOf(folder, name),
                      [&] { return static_cast<int>(syscall(SYS_mkdirat, folder, name, mode)); });
}

// --- Sizes and syncs ---

int Truncate(std::string const& path, off64_t size, long (*call)(void const*, off64_t), void const* file) {
    auto const made = [&] { return static_cast<int>(call(file, size)); };
    return path.empty() ? made() : Make({"truncate", path, {}, 0, size}, made);
}

int Allocate(int file, int mode, off64_t place, off64_t length) {
    auto const call = [&] { return static_cast<int>(syscall(SYS_fallocate, file, mode, place, length)); };
    std::string const path = PathOf(file);
    return path.empty() ? call()
                        : Make({"allocate", path, {}, static_cast<std::uint32_t>(mode), place, length}, call);
}

int SyncFile(int file, long number) {
    if (Settings().no_sync) return 0;
    auto const call = [&] { return static_cast<int>(syscall(number, file)); };
    std::string const path = PathOf(file);
    return path.empty() ? call() : Make({"sync", path}, call);
}

}  // namespace

// The calls of the C library, and their names for large files.
#define FACE extern "C" __attribute__((visibility("default")))
#define SAME_AS(name) __attribute__((alias(name)))

FACE ssize_t write(int file, void const* data, size_t size) { return WriteHere(file, data, size); }
FACE ssize_t pwrite(int file, void const* data, size_t size, off_t place) {
    return Write(file, data, size, place, [&](std::size_t part) {
        return static_cast<ssize_t>(syscall(SYS_pwrite64, file, data, part, place));
    });
}
FACE ssize_t pwrite64(int file, void const* data, size_t size, off64_t place) SAME_AS("pwrite");
FACE ssize_t writev(int file, iovec const* pieces, int count) {
    if (PathOf(file).empty()) return static_cast<ssize_t>(syscall(SYS_writev, file, pieces, count));
    return WritePieces(file, pieces, count, where_it_stands);
}
FACE ssize_t pwritev(int file, iovec const* pieces, int count, off_t place) {
    return WritePieces(file, pieces, count, place);
}
FACE ssize_t pwritev64(int file, iovec const* pieces, int count, off64_t place) SAME_AS("pwritev");
FACE ssize_t sendfile(int to, int from, off_t* place, size_t size) noexcept {
    if (PathOf(to).empty()) return static_cast<ssize_t>(syscall(SYS_sendfile, to, from, place, size));
    return CopyThrough(from, place, to, nullptr, size);
}
FACE ssize_t sendfile64(int to, int from, off64_t* place, size_t size) noexcept SAME_AS("sendfile");
FACE ssize_t copy_file_range(int from, off64_t* from_place, int to, off64_t* to_place, size_t size,
                             unsigned flags) {
    if (PathOf(to).empty())
        return static_cast<ssize_t>(
            syscall(SYS_copy_file_range, from, from_place, to, to_place, size, flags));
    return CopyThrough(from, from_place, to, to_place, size);
}
FACE ssize_t send(int socket, void const* data, size_t size, int flags) {
    auto const call = [&] {
        return static_cast<ssize_t>(syscall(SYS_sendto, socket, data, size, flags, nullptr, 0));
    };
    if (Settings().log < 0) return call();
    return Make({"send", {}, {}, static_cast<std::uint32_t>(socket)}, call,
                [&](Change& change, ssize_t sent) {
                    change.data = {static_cast<char const*>(data), static_cast<std::size_t>(sent)};
                });
}

FACE int open(char const* name, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    unsigned const mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(AT_FDCWD, name, flags, mode);
}
FACE int open64(char const* name, int flags, ...) SAME_AS("open");
FACE int __open_2(char const* name, int flags) { return Open(AT_FDCWD, name, flags, 0); }
FACE int __open64_2(char const* name, int flags) SAME_AS("__open_2");
FACE int openat(int folder, char const* name, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    unsigned const mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(folder, name, flags, mode);
}
FACE int openat64(int folder, char const* name, int flags, ...) SAME_AS("openat");
FACE int creat(char const* name, mode_t mode) {
    return Open(AT_FDCWD, name, O_CREAT | O_WRONLY | O_TRUNC, mode);
}
FACE int creat64(char const* name, mode_t mode) SAME_AS("creat");
FACE std::FILE* fopen(char const* name, char const* mode) { return OpenStream("fopen", name, mode); }
FACE std::FILE* fopen64(char const* name, char const* mode) { return OpenStream("fopen64", name, mode); }

FACE int rename(char const* from, char const* to) noexcept { return Rename(AT_FDCWD, from, AT_FDCWD, to, 0); }
FACE int renameat(int from_folder, char const* from, int to_folder, char const* to) noexcept {
    return Rename(from_folder, from, to_folder, to, 0);
}
FACE int renameat2(int from_folder, char const* from, int to_folder, char const* to,
                   unsigned flags) noexcept {
    return Rename(from_folder, from, to_folder, to, flags);
}
FACE int link(char const* from, char const* to) noexcept { return Link(AT_FDCWD, from, AT_FDCWD, to, 0); }
FACE int linkat(int from_folder, char const* from, int to_folder, char const* to, int flags) noexcept {
    return Link(from_folder, from, to_folder, to, flags);
}
FACE int unlink(char const* name) noexcept { return Unlink(AT_FDCWD, name, 0); }
FACE int unlinkat(int folder, char const* name, int flags) noexcept { return Unlink(folder, name, flags); }
FACE int rmdir(char const* name) noexcept { return Unlink(AT_FDCWD, name, AT_REMOVEDIR); }
FACE int remove(char const* name) noexcept {
    struct stat status {};
    bool const folder = lstat(name, &status) == 0 && S_ISDIR(status.st_mode);
    return Unlink(AT_FDCWD, name, folder ? AT_REMOVEDIR : 0);
}
FACE int mkdir(char const* name, mode_t mode) noexcept { return MakeFolder(AT_FDCWD, name, mode); }
FACE int mkdirat(int folder, char const* name, mode_t mode) noexcept {
    return MakeFolder(folder, name, mode);
}

FACE int truncate(char const* name, off_t size) noexcept {
    return Truncate(
        PathOf(AT_FDCWD, name), size,
        [](void const* file, off64_t to) { return syscall(SYS_truncate, file, to); }, name);
}
FACE int truncate64(char const* name, off64_t size) noexcept SAME_AS("truncate");
FACE int ftruncate(int file, off_t size) noexcept {
    return Truncate(
        PathOf(file), size,
        [](void const* of, off64_t to) { return syscall(SYS_ftruncate, *static_cast<int const*>(of), to); },
        &file);
}
FACE int ftruncate64(int file, off64_t size) noexcept SAME_AS("ftruncate");
FACE int fallocate(int file, int mode, off_t place, off_t length) {
    return Allocate(file, mode, place, length);
}
FACE int fallocate64(int file, int mode, off64_t place, off64_t length) SAME_AS("fallocate");
FACE int posix_fallocate(int file, off_t place, off_t length) {  // gives the error, and leaves errno
    int const before = errno;
    int const error = Allocate(file, 0, place, length) == 0 ? 0 : errno;
    errno = before;
    return error;
}
FACE int posix_fallocate64(int file, off64_t place, off64_t length) SAME_AS("posix_fallocate");
FACE int fsync(int file) { return SyncFile(file, SYS_fsync); }
FACE int fdatasync(int file) { return SyncFile(file, SYS_fdatasync); }

FACE int clock_gettime(clockid_t clock, timespec* time) noexcept {
    using Function = int (*)(clockid_t, timespec*);
    static auto const system = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "clock_gettime"));
    bool const stands = clock == CLOCK_REALTIME && !Settings().time.empty();
    if (!stands) return system(clock, time);
    *time = {std::strtol(Settings().time.c_str(), nullptr, 10), 0};
    return 0;
}
FACE time_t time(time_t* place) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (place) *place = now.tv_sec;
    return now.tv_sec;
}
