#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

// File descriptors, below everything that reads or writes files. All writing goes through WriteAll, where
// FailWritesAfter applies, and all reading through ReadSome or ReadAt, where FailReadsAfter applies. A
// failure leaves its reason in errno. Nothing here fails because of a signal.
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
    // false when the system reports a failed write only at closing; true when there is nothing to close.
    bool Close() noexcept;

  private:
    int value_ = -1;
};

// open(), never for a directory and never inherited by another program. `mode`: permissions of a new file.
Descriptor OpenFile(std::string const& host_path, int flags, unsigned mode = 0666);
// The same by a library path; a null or empty one fails.
Descriptor OpenPath(char const* path, int flags);

// Bytes read, 0 at the end, -1 on failure.
long ReadSome(int descriptor, void* buffer, std::size_t size) noexcept;
// Reads at an offset; the position of the descriptor does not change.
long ReadAt(int descriptor, void* buffer, std::size_t size, std::int64_t place) noexcept;
// Bytes written: fewer than all of them is a failure.
std::size_t WriteAll(int descriptor, std::string_view content) noexcept;

// A stream over a descriptor, which it then owns; of `mode` only reading and writing count. A write that
// failed is not repeated, and every later one of the stream fails too, so that the file gets no hole.
std::FILE* MakeStream(Descriptor descriptor, char const* mode);

}  // namespace platform::posix
