#include "customers/address_index.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include "tessaly/platform/mbcs.h"

namespace customers {
namespace {

constexpr std::size_t smallest_size = 64;
constexpr std::uint64_t every_byte = 0x0101010101010101U;
constexpr std::uint64_t high_bits = 0x80 * every_byte;

// Eight ASCII bytes in lower case.
std::uint64_t LowerWord(std::uint64_t word) noexcept {
    std::uint64_t const from_a = word + (0x80 - 'A') * every_byte;
    std::uint64_t const behind_z = word + (0x7F - 'Z') * every_byte;
    return word | ((from_a & ~behind_z & high_bits) >> 2);
}

std::uint64_t Mix(std::uint64_t hash, std::uint64_t word) noexcept {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return hash ^ hash >> 32;
}

std::uint64_t WordAt(std::string_view text, std::size_t at) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + at, std::min<std::size_t>(8, text.size() - at));
    return word;
}

std::uint32_t HashLowered(std::string_view text) noexcept {
    std::uint64_t hash = text.size();
    for (std::size_t at = 0; at < text.size(); at += 8) hash = Mix(hash, WordAt(text, at));
    return static_cast<std::uint32_t>(Mix(hash, 0));
}

}  // namespace

std::uint32_t HashAddress(std::string_view address) {
    std::uint64_t hash = address.size();
    for (std::size_t at = 0; at < address.size(); at += 8) {
        std::uint64_t const word = WordAt(address, at);
        if (word & high_bits) {
            std::string lowered(address);
            platform::Lower(lowered.data(), lowered.size());
            return HashLowered(lowered);
        }
        hash = Mix(hash, LowerWord(word));
    }
    return static_cast<std::uint32_t>(Mix(hash, 0));
}

void AddressIndex::Clear() {
    slots_.clear();
    links_.clear();
    used_ = 0;
    emptied_slots_ = 0;
}

void AddressIndex::Rebuild(AddressSource const& source, int rows) {
    Clear();
    links_.reserve(static_cast<std::size_t>(rows));
    Resize(std::bit_ceil(2 * static_cast<std::size_t>(rows) + 1));
    for (int row = 0; row < rows; ++row) Append(source);
}

void AddressIndex::Append(AddressSource const& source) {
    int const row = RowCount();
    links_.push_back({no_row, no_row});
    std::string_view const address = source.AddressOf(row);
    if (!address.empty()) Insert(source, row, HashAddress(address));
}

void AddressIndex::Replace(AddressSource const& source, int row, std::string_view old_address) {
    std::string_view const address = source.AddressOf(row);
    if (platform::EqualNoCase(address, old_address)) return;
    if (!old_address.empty()) Unlink(source, row, old_address);
    if (!address.empty()) Insert(source, row, HashAddress(address));
}

// The slot of the address, or the free slot for it. The first row of a chain stands for its address.
std::size_t AddressIndex::PlaceOf(AddressSource const& source, std::string_view address,
                                  std::uint32_t hash) const {
    std::size_t const mask = slots_.size() - 1;
    std::size_t place = hash & mask;
    for (; slots_[place].first != no_row; place = (place + 1) & mask) {
        Slot const& slot = slots_[place];
        if (slot.hash == hash && slot.first >= 0 &&
            platform::EqualNoCase(source.AddressOf(slot.first), address))
            break;
    }
    return place;
}

void AddressIndex::FetchAhead(std::string_view address) const {
    if (!slots_.empty()) __builtin_prefetch(&slots_[HashAddress(address) & (slots_.size() - 1)]);
}

AddressIndex::Slot const* AddressIndex::Find(AddressSource const& source, std::string_view address) const {
    if (slots_.empty()) return nullptr;
    Slot const& slot = slots_[PlaceOf(source, address, HashAddress(address))];
    return slot.first >= 0 ? &slot : nullptr;
}

void AddressIndex::Insert(AddressSource const& source, int row, std::uint32_t hash) {
    if (2 * (used_ + 1) > slots_.size()) Grow();
    Slot& slot = slots_[PlaceOf(source, source.AddressOf(row), hash)];
    if (slot.first == no_row) {
        ++used_;
        slot = {hash, row, row};
        links_[static_cast<std::size_t>(row)] = {no_row, no_row};
    } else {
        LinkInOrder(slot, row);
    }
}

void AddressIndex::LinkInOrder(Slot& slot, int row) {
    int before = slot.last;
    while (before > row) before = links_[static_cast<std::size_t>(before)].previous;
    int const behind = before == no_row ? slot.first : links_[static_cast<std::size_t>(before)].next;
    links_[static_cast<std::size_t>(row)] = {before, behind};
    (before == no_row ? slot.first : links_[static_cast<std::size_t>(before)].next) = row;
    (behind == no_row ? slot.last : links_[static_cast<std::size_t>(behind)].previous) = row;
}

// The row already holds another address, so a chain that begins with it is found by the row's number.
void AddressIndex::Unlink(AddressSource const& source, int row, std::string_view address) {
    std::uint32_t const hash = HashAddress(address);
    Link const link = links_[static_cast<std::size_t>(row)];
    std::size_t const mask = slots_.size() - 1;
    std::size_t place = hash & mask;
    if (link.previous == no_row)
        while (slots_[place].first != row) place = (place + 1) & mask;
    else
        place = PlaceOf(source, address, hash);
    Slot& slot = slots_[place];
    (link.previous == no_row ? slot.first : links_[static_cast<std::size_t>(link.previous)].next) = link.next;
    (link.next == no_row ? slot.last : links_[static_cast<std::size_t>(link.next)].previous) = link.previous;
    if (slot.first != no_row) return;
    slot.first = emptied;
    ++emptied_slots_;
}

void AddressIndex::Grow() { Resize(std::bit_ceil(4 * (used_ - emptied_slots_ + 1))); }

void AddressIndex::Resize(std::size_t slots) {
    slots = std::max(slots, smallest_size);
    Slots const old = std::exchange(slots_, Slots(slots, Slot{0, no_row, no_row}));
    used_ = 0;
    emptied_slots_ = 0;
    for (Slot const& slot : old) {
        if (slot.first < 0) continue;
        std::size_t place = slot.hash & (slots - 1);
        while (slots_[place].first != no_row) place = (place + 1) & (slots - 1);
        slots_[place] = slot;
        ++used_;
    }
}

int AddressIndex::First(AddressSource const& source, std::string_view address) const {
    Slot const* slot = Find(source, address);
    return slot ? slot->first : no_row;
}

int AddressIndex::Last(AddressSource const& source, std::string_view address) const {
    Slot const* slot = Find(source, address);
    return slot ? slot->last : no_row;
}

// From a match, the next one is one step along its chain.
int AddressIndex::Next(AddressSource const& source, std::string_view address, int row) const {
    if (platform::EqualNoCase(source.AddressOf(row), address))
        return links_[static_cast<std::size_t>(row)].next;
    int found = First(source, address);
    while (found != no_row && found <= row) found = links_[static_cast<std::size_t>(found)].next;
    return found;
}

int AddressIndex::Previous(AddressSource const& source, std::string_view address, int row) const {
    if (platform::EqualNoCase(source.AddressOf(row), address))
        return links_[static_cast<std::size_t>(row)].previous;
    int found = Last(source, address);
    while (found != no_row && found >= row) found = links_[static_cast<std::size_t>(found)].previous;
    return found;
}

}  // namespace customers
