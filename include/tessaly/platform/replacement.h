#pragma once

#include <string>

#include "tessaly/platform/export.h"

// Replaces a file as a whole, by host paths: a file that an application writes for a user may have a name
// that no library path has.
namespace platform {

// New content for a file. It is written beside the file under a name of its own, "NAME.tessaly-new" with a
// number behind it when that is in use, flushed to the disk, and renamed to the file in one step, so that the
// old content is there, whole, until the new one is. The new file is never readable for more users than the
// file that it replaces. A file that a killed process left under such a name is removed when the name is
// needed again. A symbolic link is followed.
class TESSALY_API Replacement {
  public:
    enum Place {
        // A file with another name (a hard link) or another owner is cut and written where it is, since a
        // rename would change more than its content; so is one beside which no file can be made.
        keep_links,
        // Only a file that is not regular (a device) is written where it is.
        always_beside,
    };
    static constexpr int mode_of_old_file = -1;

    // `mode`: the permissions of the new file; by default those of the old one, or the system's for a new
    // one.
    explicit Replacement(std::string const& host_path, Place place = keep_links, int mode = mode_of_old_file);
    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;
    // Removes a new file that was not committed.
    ~Replacement();
    // The descriptor to write to; below 0 when the file cannot be written, errno then holding the reason.
    int Get() const noexcept { return file_; }
    // The file of the descriptor; it may be opened and written by this path instead, and must not be renamed.
    std::string const& NewFile() const noexcept { return beside_.empty() ? target_ : beside_; }
    // Flushes the content to the disk, renames the new file and flushes its name. false on failure, with the
    // old content in its place unless it was written in place or only the name could not be flushed.
    [[nodiscard]] bool Commit() noexcept;

  private:
    void OpenBeside(unsigned mode);
    void Close() noexcept;

    std::string target_;
    std::string beside_;  // empty when the target itself is written
    int file_ = -1;
};

// Removes from a folder, but not from its subfolders, the files that killed processes left of their
// replacements.
TESSALY_API void RemoveLeftReplacements(std::string const& host_folder);

}  // namespace platform
