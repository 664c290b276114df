#pragma once

#include <optional>
#include <string>

#include "engine/base/front_end.h"

namespace engine {

// Keeps other processes from changing what lies in a folder, until it goes away. The lock is free again
// whenever its process ends. All throw Failure, naming `what`, where the folder cannot be written.
class FolderLock {
  public:
    // Waits for a lock that is taken: a few seconds, and then throws Failure (environment_busy); and no
    // longer than until `front`, unless null, stops the work (Failure::stopped).
    FolderLock(std::string const& folder, std::string const& what, FrontEnd const* front = nullptr);
    // Waits as long as it takes, and tells `front` so; if `front` stops the work, or has stopped it before,
    // less than a second (Failure::stopped).
    static FolderLock WhenFree(std::string const& folder, std::string const& what, FrontEnd& front);
    // Does not wait; none when the lock is taken.
    static std::optional<FolderLock> IfFree(std::string const& folder, std::string const& what);
    ~FolderLock();
    FolderLock(FolderLock&& other) noexcept;
    FolderLock& operator=(FolderLock&&) = delete;

  private:
    explicit FolderLock(int descriptor) : descriptor_(descriptor) {}

    int descriptor_;
};

}  // namespace engine
