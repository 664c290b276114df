#pragma once

#include <string>

#include "platform/posix/descriptor.h"

namespace platform::posix {

// New content for a file. It is written beside the file under a name of its own and takes the file's place in
// one step, so that the old content is there, whole, until the new one is. Where that would change more than
// the content (other names of the file, its owner) or no file can be made beside it, the file is cut and
// written where it is.
class Replacement {
  public:
    explicit Replacement(std::string const& host_path);
    Replacement(Replacement const&) = delete;
    Replacement& operator=(Replacement const&) = delete;
    // Takes away what was not committed.
    ~Replacement();
    // Below 0 when the file cannot be written; errno then holds the reason.
    int Get() const noexcept { return file_.Get(); }
    bool Commit() noexcept;

  private:
    void OpenBeside();

    std::string target_;
    std::string beside_;  // empty when the target itself is written
    Descriptor file_;
};

}  // namespace platform::posix
