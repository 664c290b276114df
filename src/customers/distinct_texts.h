#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace customers {

// A set of texts that only grows. It keeps views of texts that end with a NUL and outlive it; the end of such
// a text, up to its NUL, may be inserted too.
class DistinctTexts {
  public:
    DistinctTexts();
    // true when the text was not in the set.
    bool Insert(std::string_view text);

  private:
    struct Slot {
        char const* text;  // null: free
        std::uint32_t size;
        std::uint32_t hash;
    };
    void Grow();

    std::vector<Slot> slots_;  // a power of two, at most half full
    std::size_t count_ = 0;
    // Where texts were seen lately. Rows of a loaded table share their recurring texts, so most are known by
    // their place alone, without a look at the text.
    std::vector<char const*> places_;
};

}  // namespace customers
