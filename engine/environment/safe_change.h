#pragma once

#include <string>
#include <vector>

namespace engine {

// A change of several files of an environment that happens as a whole or not at all: while it goes on, copies
// of the files as they were lie aside. What a process that was killed left half done is put back when the
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
    // The change counts from here on: what it made is brought to the disk. Throws Failure, and it is not
    // kept.
    void Keep();

    // Whether a change is going on, or was cut off.
    static bool Open(std::string const& data_directory);
    // Puts back what was cut off. Throws Failure, and can be tried again, when that is not possible.
    static void Recover(std::string const& data_directory);

  private:
    std::string data_directory_;
    std::vector<std::string> paths_;
    bool kept_ = false;
};

}  // namespace engine
