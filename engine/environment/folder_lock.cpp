#include "engine/environment/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "engine/base/failure.h"

namespace engine {
namespace {

constexpr auto lock_patience = std::chrono::seconds(5);

}  // namespace

FolderLock::FolderLock(std::string const& folder, std::string const& what) {
    std::string const path = folder + "/.lock";
    descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor_ < 0) throw Failure(Failure::not_written, what + "に書き込めません: " + folder);
    auto const limit = std::chrono::steady_clock::now() + lock_patience;
    while (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() > limit) {
            close(descriptor_);
            throw Failure(
                Failure::environment_busy,
                what + "はほかの tessaly が使っています。終わってからもう一度実行してください: " + folder);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

FolderLock::~FolderLock() { close(descriptor_); }

}  // namespace engine
