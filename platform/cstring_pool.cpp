#include "platform/cstring_pool.h"

#include <cstring>
#include <new>

#include "tessaly/platform/large_blocks.h"

// `live` counts the texts of the block that are still referenced. It starts high, so that filling the block
// costs no atomic operation; releasing a text lowers it, and it is corrected when the pool leaves the block.
struct CStringPool::Block {
    std::atomic<std::int32_t> live;
    char room[4];

    static Block* Of(char* text) noexcept {
        return reinterpret_cast<Block*>(reinterpret_cast<std::uintptr_t>(text) &
                                        ~(std::uintptr_t{block_size} - 1));
    }
};

namespace {

constexpr std::int32_t while_filling = 1 << 30;
constexpr std::size_t alignment = 4;
constexpr std::size_t recent_slots = 4096;
// Loads of up to this number of texts do not repay a block and the slots.
constexpr std::uint32_t few_texts = 256;
// Longer texts seldom recur.
constexpr std::size_t longest_shared = 40;

template <class Word>
std::uint64_t WordAt(char const* at) noexcept {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// The bytes of a text of up to seven, or the last eight of a longer one.
std::uint64_t LastWord(std::string_view text) noexcept {
    char const* const end = text.data() + text.size();
    if (text.size() >= 8) return WordAt<std::uint64_t>(end - 8);
    if (text.size() >= 4) return WordAt<std::uint32_t>(text.data()) << 32 | WordAt<std::uint32_t>(end - 4);
    if (text.size() >= 2) return WordAt<std::uint16_t>(text.data()) << 16 | WordAt<std::uint16_t>(end - 2);
    return static_cast<unsigned char>(text[0]);
}

std::uint64_t HashOf(std::string_view text) noexcept {
    std::uint64_t hash = text.size() * 0x9E3779B97F4A7C15U;
    for (std::size_t at = 0; at + 8 < text.size(); at += 8) {
        hash = (hash ^ WordAt<std::uint64_t>(text.data() + at)) * 0xFF51AFD7ED558CCDU;
        hash ^= hash >> 32;
    }
    hash = (hash ^ LastWord(text)) * 0xFF51AFD7ED558CCDU;
    return hash ^ hash >> 29;
}

}  // namespace

CStringPool::CStringPool() { static_assert(block_size == platform::large_block_size); }

CStringPool::~CStringPool() {
    recent_.clear();
    CloseBlock(ordinary_);
    CloseBlock(recurring_);
}

CString CStringPool::Make(std::string_view text) {
    if (text.empty()) return {};
    if (few_ < few_texts) {
        ++few_;
        return CString(text);
    }
    if (recent_.empty()) recent_.resize(recent_slots);
    if (text.size() > longest_shared) return CString(Place(ordinary_, text), nullptr);
    std::uint64_t const hash = HashOf(text);
    Slot& slot = recent_[hash >> 52];
    auto const mark = static_cast<std::uint32_t>(hash) | 1U;
    if (slot.mark == mark && slot.text.View() == text) return slot.text;
    if (slot.seen_once != mark) {
        slot.seen_once = mark;
        return CString(Place(ordinary_, text), nullptr);
    }
    slot.mark = mark;
    slot.text = CString(Place(recurring_, text), nullptr);
    return slot.text;
}

char* CStringPool::Place(Filling& filling, std::string_view text) {
    constexpr std::size_t head = sizeof(CString::Header);
    std::size_t const size = (head + text.size() + 1 + alignment - 1) & ~(alignment - 1);
    if (size > block_size / 8) {  // a large text gets a block of its own
        char* own = CString::Allocate(text.size());
        std::memcpy(own, text.data(), text.size());
        own[text.size()] = 0;
        CString::HeaderOf(own)->length = static_cast<std::uint32_t>(text.size());
        return own;
    }
    if (!filling.block || filling.used + size > block_size) {
        CloseBlock(filling);
        filling = {new (platform::TakeLargeBlock()) Block{while_filling, {}}, sizeof(Block), 0};
    }
    char* place = reinterpret_cast<char*>(filling.block) + filling.used + head;
    new (place - head) CString::Header{CString::pool_mark | 1U, static_cast<std::uint32_t>(text.size())};
    std::memcpy(place, text.data(), text.size());
    place[text.size()] = 0;
    filling.used += size;
    ++filling.made;
    return place;
}

void CStringPool::CloseBlock(Filling& filling) noexcept {
    if (!filling.block) return;
    std::int32_t const correction = static_cast<std::int32_t>(filling.made) - while_filling;
    if (filling.block->live.fetch_add(correction, std::memory_order_acq_rel) + correction == 0)
        platform::GiveLargeBlock(filling.block);
    filling.block = nullptr;
}

void CStringPool::ReleaseText(char* text) noexcept {
    Block* block = Block::Of(text);
    if (block->live.fetch_sub(1, std::memory_order_acq_rel) == 1) platform::GiveLargeBlock(block);
}
