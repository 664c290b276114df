#pragma once

#include <string>

namespace engine {

// Keeps other processes from changing what lies in a folder, until it goes away. Throws Failure, naming
// `what`, when it is taken for longer than a few seconds. The lock is free again whenever its process ends.
class FolderLock {
  public:
    FolderLock(std::string const& folder, std::string const& what);
    ~FolderLock();
    FolderLock(FolderLock const&) = delete;
    FolderLock& operator=(FolderLock const&) = delete;

  private:
    int descriptor_ = -1;
};

}  // namespace engine
