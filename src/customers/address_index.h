#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tessaly/platform/large_blocks.h"

namespace customers {

// Gives an address index the address of a row.
class AddressSource {
  public:
    virtual std::string_view AddressOf(int row) const noexcept = 0;

  protected:
    ~AddressSource() = default;
};

// Mail address to the rows that hold it, without regard to the case of ASCII and full-width letters. It keeps
// hashes and row numbers only and compares with the rows themselves, so it costs about 32 bytes a row
// whatever the addresses. Rows of one address are chained in row order. Empty addresses are left out: wiped
// rows all have one.
//
// The index does not watch its table: every change of an address must be reported before the next look-up.
class AddressIndex {
  public:
    static constexpr int no_row = -1;

    void Clear();
    void Rebuild(AddressSource const& source, int rows);
    int RowCount() const noexcept { return static_cast<int>(links_.size()); }

    // Adds a row behind all others; the source holds it already.
    void Append(AddressSource const& source);
    // The address of a row has changed; the source holds the new one already.
    void Replace(AddressSource const& source, int row, std::string_view old_address);

    // Prefetches the memory that a look-up of the address reads first.
    void FetchAhead(std::string_view address) const;
    // First and last row of an address, no_row if there is none. `address` must not be empty.
    int First(AddressSource const& source, std::string_view address) const;
    int Last(AddressSource const& source, std::string_view address) const;
    // The nearest row behind or before `row`, which need not hold the address.
    int Next(AddressSource const& source, std::string_view address, int row) const;
    int Previous(AddressSource const& source, std::string_view address, int row) const;

  private:
    struct Slot {
        std::uint32_t hash;
        int first;  // no_row: never used; emptied: its last row was removed
        int last;
    };
    struct Link {
        int previous;
        int next;
    };
    static constexpr int emptied = -2;

    std::size_t PlaceOf(AddressSource const& source, std::string_view address, std::uint32_t hash) const;
    Slot const* Find(AddressSource const& source, std::string_view address) const;
    void Insert(AddressSource const& source, int row, std::uint32_t hash);
    void Unlink(AddressSource const& source, int row, std::string_view address);
    void LinkInOrder(Slot& slot, int row);
    // Makes room for twice the present addresses, without the emptied slots.
    void Grow();
    void Resize(std::size_t slots);

    using Slots = std::vector<Slot, platform::TableAllocator<Slot>>;
    Slots slots_;                                              // a power of two
    std::vector<Link, platform::TableAllocator<Link>> links_;  // by row
    std::size_t used_ = 0;  // slots that are not free, emptied ones included
    std::size_t emptied_slots_ = 0;
};

// Equal for addresses that differ in case only.
std::uint32_t HashAddress(std::string_view address);

}  // namespace customers
