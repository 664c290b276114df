#include "tessaly/platform/replacement.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/posix/descriptor.h"

namespace platform {
namespace {

using posix::Descriptor;

constexpr std::string_view suffix = ".tessaly-new";
constexpr int most_names = 9;
constexpr unsigned owner_only = 0600;
constexpr unsigned any_mode = 0666;

// The file that a symbolic link leads to.
std::string Resolved(std::string const& host_path) {
    struct stat status {};
    char result[PATH_MAX];
    bool const is_link = lstat(host_path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    return is_link && realpath(host_path.c_str(), result) ? result : host_path;
}

bool MayBeReplaced(struct stat const& old, Replacement::Place place) {
    return S_ISREG(old.st_mode) &&
           (place == Replacement::always_beside || (old.st_nlink == 1 && old.st_uid == geteuid()));
}

bool LeadsTo(std::string const& path, int file) {
    struct stat named {
    }, open{};
    return lstat(path.c_str(), &named) == 0 && fstat(file, &open) == 0 && named.st_dev == open.st_dev &&
           named.st_ino == open.st_ino;
}

// The writer of a file holds a lock on it until the file has lost its temporary name, and the system releases
// the lock when the process dies: a file that can be locked, and still has its name then, was left behind.
void RemoveIfLeft(std::string const& path) {
    Descriptor const file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != geteuid())
        return;
    if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0 && LeadsTo(path, file.Get())) unlink(path.c_str());
}

// false when another process took a new file for one left behind. Where the system has no such locks, no file
// is taken for that.
bool Claim(std::string const& path, int file) {
    return (flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) && LeadsTo(path, file);
}

// A file without a disk, such as a pipe, cannot be flushed to one.
bool Flush(int file) noexcept {
    int failed;
    do failed = fsync(file);
    while (failed && errno == EINTR);
    return !failed || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

// True where the folder cannot be opened: not all systems can do this, and the content is already in its
// place.
bool FlushFolderOf(std::string const& path) noexcept {
    std::size_t const divider = path.rfind('/');
    std::string const folder = divider == path.npos ? "." : path.substr(0, divider + 1);
    Descriptor const file(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return !file || Flush(file.Get());
}

// The owner and group first: changing them takes away the bits for running as another.
void GiveStatus(int file, struct stat const* old, unsigned mode) {
    if (old && fchown(file, old->st_uid, old->st_gid) != 0)
        static_cast<void>(fchown(file, static_cast<uid_t>(-1), old->st_gid) == 0);
    static_cast<void>(fchmod(file, mode) == 0);
}

bool IsNameOfReplacement(std::string_view name) {
    std::size_t const at = name.rfind(suffix);
    return at != name.npos && at > 0 && name.find_first_not_of("0123456789", at + suffix.size()) == name.npos;
}

}  // namespace

Replacement::Replacement(std::string const& host_path, Place place, int mode) : target_(Resolved(host_path)) {
    struct stat old {};
    bool const exists = lstat(target_.c_str(), &old) == 0;
    // A rename would not check this. A symbolic link may lead to a file that does not exist yet.
    if (exists && access(target_.c_str(), W_OK) != 0 && errno != ENOENT) return;
    bool const given = mode != mode_of_old_file;
    unsigned const final_mode = given ? static_cast<unsigned>(mode) : old.st_mode & 07777;
    bool const has_mode = given || (exists && !S_ISLNK(old.st_mode));
    unsigned const first_mode = has_mode ? final_mode & owner_only : any_mode;
    bool const beside = !exists || MayBeReplaced(old, place);
    if (beside) OpenBeside(first_mode);
    if (file_ < 0 && (!beside || place == keep_links))
        file_ = posix::OpenFile(target_, O_WRONLY | O_CREAT | O_TRUNC, first_mode).Release();
    if (file_ < 0) return;
    if (!beside_.empty() && exists)
        GiveStatus(file_, &old, final_mode);
    else if (given)
        GiveStatus(file_, nullptr, final_mode);
}

void Replacement::OpenBeside(unsigned mode) {
    for (int number = 1; number <= most_names; ++number) {
        beside_ = target_;
        beside_ += suffix;
        if (number > 1) beside_ += std::to_string(number);
        RemoveIfLeft(beside_);
        Descriptor file = posix::OpenFile(beside_, O_WRONLY | O_CREAT | O_EXCL, mode);
        if (file && Claim(beside_, file.Get())) {
            file_ = file.Release();
            return;
        }
        if (!file && errno != EEXIST) break;
    }
    beside_.clear();
}

void Replacement::Close() noexcept { Descriptor(std::exchange(file_, -1)).Close(); }

Replacement::~Replacement() {
    if (!beside_.empty()) unlink(beside_.c_str());
    Close();
}

bool Replacement::Commit() noexcept {
    if (file_ < 0 || !Flush(file_)) return false;
    if (!beside_.empty()) {
        if (rename(beside_.c_str(), target_.c_str()) != 0) return false;
        beside_.clear();
    }
    bool const named = FlushFolderOf(target_);
    Close();
    return named;
}

void RemoveLeftReplacements(std::string const& host_folder) {
    struct CloseFolder {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    std::unique_ptr<DIR, CloseFolder> const folder(opendir(host_folder.c_str()));
    while (dirent const* entry = folder ? readdir(folder.get()) : nullptr)
        if (IsNameOfReplacement(entry->d_name)) RemoveIfLeft(host_folder + '/' + entry->d_name);
}

}  // namespace platform
