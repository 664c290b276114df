#pragma once

#include <cstddef>
#include <vector>

#include "tessaly/platform/large_blocks.h"

namespace customers {

// Customer ID to row number. Adjacent IDs share cache lines: sixteen of them form a group, and the hash
// scatters the groups. Any int may be an ID.
class CustomerIndex {
  public:
    static constexpr int no_row = -1;

    void Clear();
    // Room for `count` IDs without growing.
    void Reserve(std::size_t count);
    // Replaces the row of a known ID.
    void Set(int id, int row);
    // no_row for an unknown ID.
    int RowOf(int id) const noexcept;
    std::size_t Count() const noexcept { return count_; }

  private:
    struct Slot {
        int id;
        int row;  // no_row marks a free slot
    };
    std::size_t PlaceOf(int id) const noexcept;
    void Resize(std::size_t slots);

    using Slots = std::vector<Slot, platform::TableAllocator<Slot>>;
    Slots slots_;  // a power of two, at most half full
    std::size_t count_ = 0;
};

}  // namespace customers
