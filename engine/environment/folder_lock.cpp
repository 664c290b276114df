#include "engine/environment/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <utility>

#include "engine/base/failure.h"

namespace engine {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto lock_patience = std::chrono::seconds(5);
constexpr auto least_patience = std::chrono::milliseconds(900);
constexpr auto between_tries = std::chrono::milliseconds(50);
constexpr int none = -1;

int Opened(std::string const& folder, std::string const& what) {
    int const descriptor = open((folder + "/.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) throw Failure(Failure::not_written, what + "に書き込めません: " + folder);
    return descriptor;
}

bool Taken(int descriptor) { return flock(descriptor, LOCK_EX | LOCK_NB) != 0; }

[[noreturn]] void ThrowStopped() { throw Failure(Failure::stopped, "中断しました。"); }

}  // namespace

FolderLock::FolderLock(std::string const& folder, std::string const& what, FrontEnd const* front)
    : FolderLock(Opened(folder, what)) {
    auto const limit = Clock::now() + lock_patience;
    while (Taken(descriptor_)) {
        if (Clock::now() > limit)
            throw Failure(
                Failure::environment_busy,
                what + "はほかの tessaly が使っています。終わってからもう一度実行してください: " + folder);
        if (front && front->Stopped()) ThrowStopped();
        std::this_thread::sleep_for(between_tries);
    }
}

FolderLock FolderLock::WhenFree(std::string const& folder, std::string const& what, FrontEnd& front) {
    FolderLock lock(Opened(folder, what));
    auto const begun = Clock::now();
    bool told = false;
    while (Taken(lock.descriptor_)) {
        bool const is_long = Clock::now() - begun > least_patience;
        if (is_long && front.Stopped()) ThrowStopped();
        if (is_long && !told)
            front.Notice(
                what + "をほかの tessaly が使っています。終わるのを待ちます (Ctrl-C でやめます): " + folder);
        told = is_long;
        std::this_thread::sleep_for(between_tries);
    }
    return lock;
}

std::optional<FolderLock> FolderLock::IfFree(std::string const& folder, std::string const& what) {
    FolderLock lock(Opened(folder, what));
    if (Taken(lock.descriptor_)) return {};
    return lock;
}

FolderLock::FolderLock(FolderLock&& other) noexcept : descriptor_(std::exchange(other.descriptor_, none)) {}

FolderLock::~FolderLock() {
    if (descriptor_ != none) close(descriptor_);
}

}  // namespace engine
