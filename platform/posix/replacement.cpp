#include "platform/posix/replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace platform::posix {
namespace {

constexpr int most_tries = 100;

// The file that a path leads to over symbolic links.
std::string Resolved(std::string const& host_path) {
    char result[PATH_MAX];
    return realpath(host_path.c_str(), result) ? result : host_path;
}

bool MayBeReplaced(const struct stat& old) {
    return S_ISREG(old.st_mode) && old.st_nlink == 1 && old.st_uid == geteuid();
}

std::string NameBeside(std::string const& target) {
    static std::atomic<unsigned> count{0};
    return target + '.' + std::to_string(getpid()) + '-' + std::to_string(++count) + ".tmp";
}

}  // namespace

Replacement::Replacement(std::string const& host_path) : target_(Resolved(host_path)) {
    struct stat old {};
    bool const exists = lstat(target_.c_str(), &old) == 0;
    // A rename would not ask. A symbolic link may lead to a file that is still to be made.
    if (exists && access(target_.c_str(), W_OK) != 0 && errno != ENOENT) return;
    if (!exists || MayBeReplaced(old)) OpenBeside();
    if (!file_) file_ = OpenFile(target_, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file_ || !exists || beside_.empty()) return;
    // The group first: changing it takes away the bits for running as another.
    static_cast<void>(fchown(file_.Get(), static_cast<uid_t>(-1), old.st_gid) == 0);
    static_cast<void>(fchmod(file_.Get(), old.st_mode & 07777) == 0);
}

void Replacement::OpenBeside() {
    for (int tries = 0; tries < most_tries && !file_; ++tries) {
        beside_ = NameBeside(target_);
        file_ = OpenFile(beside_, O_WRONLY | O_CREAT | O_EXCL);
        if (!file_ && errno != EEXIST) break;
    }
    if (!file_) beside_.clear();
}

Replacement::~Replacement() {
    file_.Close();
    if (!beside_.empty()) unlink(beside_.c_str());
}

bool Replacement::Commit() noexcept {
    if (!file_.Close()) return false;
    if (!beside_.empty() && rename(beside_.c_str(), target_.c_str()) != 0) return false;
    beside_.clear();
    return true;
}

}  // namespace platform::posix
