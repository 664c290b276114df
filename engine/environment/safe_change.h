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
    // removed. The record of a table (file_record.h) belongs to it. With `what`, a sentence for the user, the
    // copies stay when the change is kept, so that it can be undone later (kept_changes.h); `paths` are then
    // files. Throws Failure.
    SafeChange(std::string data_directory, std::vector<std::string> const& paths, std::string what = {});
    // Puts the old state back unless the change was kept.
    ~SafeChange();
    SafeChange(SafeChange const&) = delete;
    SafeChange& operator=(SafeChange const&) = delete;
    // Brings the change to the disk, from where on it is complete. Throws Failure; the change is then undone,
    // unless its end alone did not reach the disk.
    void Keep();

    // Whether a change is in progress, or was interrupted.
    static bool Open(std::string const& data_directory);
    // Undoes an interrupted change. Throws Failure: damaged_file, and nothing was changed, when a copy is not
    // whole; not_written when the disk does not let it, and it can be tried again.
    static void Recover(std::string const& data_directory);

  private:
    void TryToRecover() noexcept;

    std::string data_directory_;
    std::vector<std::string> paths_;
    std::string what_;
    bool kept_ = false;
};

}  // namespace engine
