#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace engine {

// A file of the system that is open as long as the object lives; false where it could not be opened, errno
// then holding the reason.
class Descriptor {
  public:
    // `flags` and `mode` as for open(2).
    explicit Descriptor(std::string const& path, int flags = O_RDONLY, int mode = 0)
        : number_(open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode)) {}
    ~Descriptor() {
        if (number_ >= 0) close(number_);
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    explicit operator bool() const { return number_ >= 0; }
    int Get() const { return number_; }

  private:
    int const number_;
};

}  // namespace engine
