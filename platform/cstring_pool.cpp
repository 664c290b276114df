#include "platform/cstring_pool.h"

#include <cstring>
#include <new>

#include "platform/large_blocks.h"

// `live` counts the texts of the block that still have a reference. So that filling costs no atomic
// operation, it starts high, texts that go count down, and the count is put right when the pool leaves the
// block.
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
// Longer texts seldom recur.
constexpr std::size_t longest_shared = 40;

std::size_t SlotOf(std::string_view text) noexcept {
    std::uint64_t hash = text.size() * 0x9E3779B97F4A7C15U;
    char const* at = text.data();
    std::size_t left = text.size();
    for (; left >= 8; at += 8, left -= 8) {
        std::uint64_t word;
        std::memcpy(&word, at, 8);
        hash = (hash ^ word) * 0xFF51AFD7ED558CCDU;
        hash ^= hash >> 32;
    }
    std::uint64_t word = 0;
    std::memcpy(&word, at, left);
    hash = (hash ^ word) * 0xFF51AFD7ED558CCDU;
    return (hash >> 40) & (recent_slots - 1);
}

}  // namespace

CStringPool::CStringPool() : recent_(recent_slots) {
    static_assert(block_size == platform::large_block_size);
}

CStringPool::~CStringPool() {
    recent_.clear();
    CloseBlock();
}

CString CStringPool::Make(std::string_view text) {
    if (text.empty()) return {};
    if (text.size() > longest_shared) return CString(Place(text), nullptr);
    CString& recent = recent_[SlotOf(text)];
    if (recent.View() != text) recent = CString(Place(text), nullptr);
    return recent;
}

char* CStringPool::Place(std::string_view text) {
    constexpr std::size_t head = sizeof(CString::Header);
    const std::size_t size = (head + text.size() + 1 + alignment - 1) & ~(alignment - 1);
    if (size > block_size / 8) {  // a large text gets a block of its own
        char* own = CString::Allocate(text.size());
        std::memcpy(own, text.data(), text.size());
        own[text.size()] = 0;
        CString::HeaderOf(own)->length = static_cast<std::uint32_t>(text.size());
        return own;
    }
    if (!block_ || used_ + size > block_size) {
        CloseBlock();
        block_ = new (platform::TakeLargeBlock()) Block{while_filling, {}};
        used_ = sizeof(Block);
        made_ = 0;
    }
    char* place = reinterpret_cast<char*>(block_) + used_ + head;
    new (place - head) CString::Header{CString::pool_mark | 1U, static_cast<std::uint32_t>(text.size())};
    std::memcpy(place, text.data(), text.size());
    place[text.size()] = 0;
    used_ += size;
    ++made_;
    return place;
}

void CStringPool::CloseBlock() noexcept {
    if (!block_) return;
    const std::int32_t correction = static_cast<std::int32_t>(made_) - while_filling;
    if (block_->live.fetch_add(correction, std::memory_order_acq_rel) + correction == 0)
        platform::GiveLargeBlock(block_);
    block_ = nullptr;
}

void CStringPool::ReleaseText(char* text) noexcept {
    Block* block = Block::Of(text);
    if (block->live.fetch_sub(1, std::memory_order_acq_rel) == 1) platform::GiveLargeBlock(block);
}
