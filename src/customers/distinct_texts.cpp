#include "customers/distinct_texts.h"

#include <functional>
#include <utility>

namespace customers {
namespace {

constexpr std::size_t first_size = 1024;
constexpr std::size_t place_count = 4096;

std::size_t PlaceSlot(char const* text) noexcept {
    return (reinterpret_cast<std::uintptr_t>(text) * 0x9E3779B97F4A7C15U >> 40) & (place_count - 1);
}

}  // namespace

DistinctTexts::DistinctTexts() : slots_(first_size), places_(place_count) {}

bool DistinctTexts::Insert(std::string_view text) {
    char const*& place = places_[PlaceSlot(text.data())];
    if (place == text.data() && place) return false;
    place = text.data();

    auto const hash = static_cast<std::uint32_t>(std::hash<std::string_view>{}(text));
    std::size_t const mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    for (; slots_[at].text; at = (at + 1) & mask)
        if (slots_[at].hash == hash && std::string_view(slots_[at].text, slots_[at].size) == text)
            return false;
    slots_[at] = {text.data(), static_cast<std::uint32_t>(text.size()), hash};
    if (2 * ++count_ > slots_.size()) Grow();
    return true;
}

void DistinctTexts::Grow() {
    std::vector<Slot> const old = std::exchange(slots_, std::vector<Slot>(2 * slots_.size()));
    std::size_t const mask = slots_.size() - 1;
    for (Slot const& slot : old) {
        if (!slot.text) continue;
        std::size_t at = slot.hash & mask;
        while (slots_[at].text) at = (at + 1) & mask;
        slots_[at] = slot;
    }
}

}  // namespace customers
