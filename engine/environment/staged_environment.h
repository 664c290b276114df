#pragma once

#include <optional>
#include <string>

#include "engine/environment/folder_lock.h"

namespace engine {

// A new environment in the making: its file and data directory lie in a folder of their own beside their
// final places until all of it is on the disk. What a process that died left of it is removed by the next
// one.
class StagedEnvironment {
  public:
    // Throws Failure for a name that no environment has, where something has the name already, and where
    // another process is making it.
    explicit StagedEnvironment(std::string const& env_file);
    // Removes what was not put in place.
    ~StagedEnvironment();
    StagedEnvironment(StagedEnvironment const&) = delete;
    StagedEnvironment& operator=(StagedEnvironment const&) = delete;

    // Host paths in the folder; the data directory is there, empty and its owner's alone.
    std::string EnvFile() const { return folder_ + "/" + name_; }
    std::string DataDirectory() const;
    // Makes both the owner's alone, brings them to the disk and gives them their names, the file last. Throws
    // Failure.
    void PutInPlace();

  private:
    void RemoveWhatWasLeft() const;

    std::string folder_, name_, final_file_, final_data_;
    std::optional<FolderLock> lock_;
};

}  // namespace engine
