#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "fuzz_target.h"
#include "tessaly/platform/path.h"

namespace fuzz {

// A file in memory that can be opened by its path: a killed run leaves nothing behind.
class MemoryFile {
  public:
    explicit MemoryFile(std::string_view content = {}) : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
        bool const written =
            ::write(descriptor_, content.data(), content.size()) == static_cast<ssize_t>(content.size());
        Check(written, "the file in memory takes its content");
    }
    ~MemoryFile() { ::close(descriptor_); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string HostPath() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
    CString Path() const { return platform::LibraryPath(HostPath()); }

  private:
    int descriptor_;
};

}  // namespace fuzz
