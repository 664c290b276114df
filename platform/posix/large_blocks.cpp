#include "tessaly/platform/large_blocks.h"

#include <sys/mman.h>

#include <array>
#include <mutex>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t large_page = std::size_t{2} << 20;
constexpr std::size_t region_size = 2 * large_page;

// Pieces of a block are multiples of a cache line. Under a sanitizer all memory comes from the heap, which it
// checks.
constexpr std::size_t piece_step = 64;
constexpr std::size_t largest_piece = 4096;
#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t smallest_piece = largest_piece + 1;
constexpr std::size_t smallest_mapping = SIZE_MAX;
#else
constexpr std::size_t smallest_piece = 256;
constexpr std::size_t smallest_mapping = large_page;
#endif

std::size_t RoundedUp(std::size_t size, std::size_t step) { return (size + step - 1) / step * step; }

// `size` bytes, a multiple of a large page, aligned to one.
void* Map(std::size_t size) {
    void* const place =
        mmap(nullptr, size + large_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) throw std::bad_alloc();
    auto const start = reinterpret_cast<std::uintptr_t>(place);
    std::uintptr_t const aligned = RoundedUp(start, large_page);
    if (aligned > start) munmap(place, aligned - start);
    if (std::size_t const rest = start + large_page - aligned)
        munmap(reinterpret_cast<void*>(aligned + size), rest);
    madvise(reinterpret_cast<void*>(aligned), size, MADV_HUGEPAGE);
    return reinterpret_cast<void*>(aligned);
}

// The free pieces of the regions taken so far. Regions are not returned to the system: a table that is read
// again uses them again.
struct FreeMemory {
    std::mutex lock;
    std::vector<void*> blocks;  // has room for all blocks, so that releasing one cannot fail
    std::size_t all_blocks = 0;
    std::array<void*, largest_piece / piece_step + 1>
        pieces{};  // lists by size; each free piece holds the address of the next
};

FreeMemory& Free() {
    static auto* const free_memory = new FreeMemory;  // outlives every static string
    return *free_memory;
}

void AddRegion(FreeMemory& free_memory) {
    std::size_t const needed = free_memory.all_blocks + region_size / large_block_size;
    if (free_memory.blocks.capacity() < needed) free_memory.blocks.reserve(2 * needed);
    auto const region = reinterpret_cast<std::uintptr_t>(Map(region_size));
    free_memory.all_blocks = needed;
    for (std::uintptr_t block = region + region_size; block > region;)
        free_memory.blocks.push_back(reinterpret_cast<void*>(block -= large_block_size));
}

void* TakeBlock(FreeMemory& free_memory) {
    if (free_memory.blocks.empty()) AddRegion(free_memory);
    void* const block = free_memory.blocks.back();
    free_memory.blocks.pop_back();
    return block;
}

// Links the pieces of a fresh block in the order of their addresses.
void* CutBlock(FreeMemory& free_memory, std::size_t size) {
    char* const block = static_cast<char*>(TakeBlock(free_memory));
    void* next = nullptr;
    for (std::size_t at = large_block_size / size; at-- > 0;) {
        void* const piece = block + at * size;
        *static_cast<void**>(piece) = next;
        next = piece;
    }
    return next;
}

bool IsPiece(std::size_t size) { return size >= smallest_piece && size <= largest_piece; }

}  // namespace

void* TakeLargeBlock() {
    FreeMemory& free_memory = Free();
    std::lock_guard const guard(free_memory.lock);
    return TakeBlock(free_memory);
}

void GiveLargeBlock(void* block) noexcept {
    FreeMemory& free_memory = Free();
    std::lock_guard const guard(free_memory.lock);
    free_memory.blocks.push_back(block);
}

void* TakeTableMemory(std::size_t size) {
    if (size >= smallest_mapping) return Map(RoundedUp(size, large_page));
    if (!IsPiece(size)) return ::operator new(size);
    std::size_t const piece_size = RoundedUp(size, piece_step);
    FreeMemory& free_memory = Free();
    std::lock_guard const guard(free_memory.lock);
    void*& first = free_memory.pieces[piece_size / piece_step];
    if (!first) first = CutBlock(free_memory, piece_size);
    void* const piece = first;
    first = *static_cast<void**>(piece);
    return piece;
}

void GiveTableMemory(void* memory, std::size_t size) noexcept {
    if (size >= smallest_mapping) {
        munmap(memory, RoundedUp(size, large_page));
    } else if (!IsPiece(size)) {
        ::operator delete(memory);
    } else {
        FreeMemory& free_memory = Free();
        std::lock_guard const guard(free_memory.lock);
        void*& first = free_memory.pieces[RoundedUp(size, piece_step) / piece_step];
        *static_cast<void**>(memory) = first;
        first = memory;
    }
}

}  // namespace platform
