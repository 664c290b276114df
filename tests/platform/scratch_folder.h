#pragma once

#include <ftw.h>
#include <stdlib.h>

#include <cstdio>
#include <string>

#include "tessaly/platform/path.h"

// A folder for one test, removed with the object.
class ScratchFolder {
  public:
    ScratchFolder() { host_ = mkdtemp(pattern_); }
    ~ScratchFolder() {
        nftw(
            host_.c_str(), [](char const* path, struct stat const*, int, FTW*) { return std::remove(path); },
            16, FTW_DEPTH | FTW_PHYS);
    }
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;

    std::string Host(std::string const& name = "") const { return host_ + (name.empty() ? "" : '/' + name); }
    // The same as a library path; `name` is in code page 932.
    CString Path(char const* name = "") const { return platform::LibraryPath(host_) + "\\" + name; }

  private:
    char pattern_[32] = "/tmp/tessaly-platform-XXXXXX";
    std::string host_;
};
