#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

// File descriptors, underneath everything that reads or writes files. Whatever writes goes through WriteAll,
// where FailWritesAfter takes hold, and whatever reads through ReadSome or ReadAt, where FailReadsAfter does.
// A failure leaves its reason in errno. Nothing here gives up because of a signal.
namespace platform::posix {

// Owns a descriptor.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int value) noexcept : value_(value) {}
    Descriptor(Descriptor&& other) noexcept : value_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Descriptor() { Close(); }
    explicit operator bool() const noexcept { return value_ >= 0; }
    int Get() const noexcept { return value_; }
    int Release() noexcept { return std::exchange(value_, -1); }
    // false when the system reports a failed write only now; true when there is nothing to close.
    bool Close() noexcept;

  private:
    int value_ = -1;
};

// open(), never for a directory and never passed on to another program. `mode`: of a new file.
Descriptor OpenFile(std::string const& host_path, int flags, unsigned mode = 0666);
// The same by a library path; a null or empty one leads nowhere.
Descriptor OpenPath(char const* path, int flags);

// Bytes read, 0 at the end, -1 on failure.
long ReadSome(int descriptor, void* buffer, std::size_t size) noexcept;
// The same from a place in the file, which leaves the position alone.
long ReadAt(int descriptor, void* buffer, std::size_t size, std::int64_t place) noexcept;
// Bytes written: fewer than all of them is a failure.
std::size_t WriteAll(int descriptor, std::string_view content) noexcept;

// A stream over a descriptor that it then owns; `mode` tells only which of reading and writing it offers. A
// write that failed is not tried again, and every later one of the stream fails too, so that no hole comes
// about.
std::FILE* MakeStream(Descriptor descriptor, char const* mode);

}  // namespace platform::posix
