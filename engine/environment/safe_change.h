#pragma once

#include <string>
#include <vector>

namespace engine {

// A change of several files of an environment that happens as a whole or not at all: copies of the old files
// are kept until it is complete. A change that a killed process left incomplete is undone when the
// environment is next opened. The caller holds the environment's lock.
class SafeChange {
  public:
    // `paths`: files and folders below the data directory, relative to it, that will be changed, made or
    // removed. Throws Failure.
    SafeChange(std::string data_directory, std::vector<std::string> const& paths);
    // Puts the old state back unless the change was kept.
    ~SafeChange();
    SafeChange(SafeChange const&) = delete;
    SafeChange& operator=(SafeChange const&) = delete;
    // Brings the change to the disk, from where on it is complete. Throws Failure, and the change is then
    // undone.
    void Keep();

    // Whether a change is in progress, or was interrupted.
    static bool Open(std::string const& data_directory);
    // Undoes an interrupted change. Throws Failure, and can be tried again, when that is not possible.
    static void Recover(std::string const& data_directory);

  private:
    std::string data_directory_;
    std::vector<std::string> paths_;
    bool kept_ = false;
};

}  // namespace engine
