#include "customers/customer_index.h"

#include <bit>
#include <cstdint>
#include <utility>

namespace customers {
namespace {

constexpr std::size_t smallest_size = 64;
constexpr unsigned group_bits = 4;

std::size_t Scatter(std::uint64_t group) noexcept {
    group *= 0x9E3779B97F4A7C15U;
    group ^= group >> 32;
    group *= 0xD6E8FEB86659FD93U;
    return group ^ group >> 32;
}

}  // namespace

void CustomerIndex::Clear() {
    slots_.clear();
    count_ = 0;
}

void CustomerIndex::Reserve(std::size_t count) {
    std::size_t const wanted = std::bit_ceil(2 * count);
    if (wanted > slots_.size()) Resize(wanted);
}

// The slot of the ID, or the free slot for it.
std::size_t CustomerIndex::PlaceOf(int id) const noexcept {
    auto const key = static_cast<std::uint32_t>(id);
    std::size_t const mask = slots_.size() - 1;
    std::size_t const in_group = key & ((1U << group_bits) - 1);
    std::size_t place = (Scatter(key >> group_bits) << group_bits | in_group) & mask;
    while (slots_[place].row != no_row && slots_[place].id != id) place = (place + 1) & mask;
    return place;
}

void CustomerIndex::Set(int id, int row) {
    if (2 * (count_ + 1) > slots_.size()) Resize(slots_.size() * 2);
    Slot& slot = slots_[PlaceOf(id)];
    if (slot.row == no_row) ++count_;
    slot = {id, row};
}

int CustomerIndex::RowOf(int id) const noexcept { return slots_.empty() ? no_row : slots_[PlaceOf(id)].row; }

void CustomerIndex::Resize(std::size_t slots) {
    if (slots < smallest_size) slots = smallest_size;
    Slots const old = std::exchange(slots_, Slots(slots, Slot{0, no_row}));
    for (Slot const& slot : old)
        if (slot.row != no_row) slots_[PlaceOf(slot.id)] = slot;
}

}  // namespace customers
