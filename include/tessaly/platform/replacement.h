#pragma once

#include <string>

#include "tessaly/platform/export.h"

// Replacing a file as a whole, by host paths: what an application writes for a person may have a name that no
// library path has.
namespace platform {

// New content for a file. It is written beside the file under a name of its own, "NAME.tessaly-new" with a
// number behind it when that is in use, brought to the disk, and takes the file's place in one step, so that
// the old content is there, whole, until the new one is. The new file is never open to more users than the
// file that it becomes. What a killed process left under such a name is removed when it is needed again.
// A symbolic link is followed.
class TESSALY_API Replacement {
  public:
    enum Place {
        // A file with another name (a hard link) or another owner is cut and written where it is, since a
        // rename would change more than its content; so is one beside which no file can be made.
        keep_links,
        // Only what is no regular file (a device) is written where it is.
        always_beside,
    };
    static constexpr int mode_of_old_file = -1;

    // `mode`: the permissions of the new file; by default those of the old one, or what the system gives a
    // new one.
    explicit Replacement(std::string const& host_path, Place place = keep_links, int mode = mode_of_old_file);
    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;
    // Takes away what was not committed.
    ~Replacement();
    // The descriptor to write to; below 0 when the file cannot be written, errno then holding the reason.
    int Get() const noexcept { return file_; }
    // The file that it belongs to; may be opened and written by this path instead, and must keep it.
    std::string const& NewFile() const noexcept { return beside_.empty() ? target_ : beside_; }
    // Brings the content to the disk and puts it in the file's place. false on failure, with the old content
    // where it was unless it was written in place.
    [[nodiscard]] bool Commit() noexcept;

  private:
    void OpenBeside(unsigned mode);
    void Close() noexcept;

    std::string target_;
    std::string beside_;  // empty when the target itself is written
    int file_ = -1;
};

// Removes from a folder, not from those in it, what killed processes left of their replacements.
TESSALY_API void RemoveLeftReplacements(std::string const& host_folder);

}  // namespace platform
