#pragma once

#include <cstddef>
#include <memory>

namespace text {

// Room for a text during one call: on the stack for the size of a value, on the heap for more.
class ScratchText {
  public:
    explicit ScratchText(std::size_t size) {
        if (size > sizeof near_) far_ = std::make_unique_for_overwrite<char[]>(size);
    }
    char* Data() noexcept { return far_ ? far_.get() : near_; }

  private:
    char near_[512];
    std::unique_ptr<char[]> far_;
};

}  // namespace text
