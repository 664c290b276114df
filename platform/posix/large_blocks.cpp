#include "platform/large_blocks.h"

#include <sys/mman.h>

#include <mutex>
#include <new>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t region_size = std::size_t{4} << 20;

// Free blocks of the regions taken so far. Regions are not given back to the system: a table that is read
// again needs them again.
struct FreeBlocks {
    std::mutex lock;
    std::vector<void*> blocks;
};

FreeBlocks& Free() {
    static auto* free_blocks = new FreeBlocks;  // outlives every static string
    return *free_blocks;
}

void AddRegion(FreeBlocks& free_blocks) {
    // Twice the size, so that an aligned region lies in it; the rest goes back.
    void* place = mmap(nullptr, 2 * region_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (place == MAP_FAILED) throw std::bad_alloc();
    auto const start = reinterpret_cast<std::uintptr_t>(place);
    const std::uintptr_t aligned = (start + region_size - 1) & ~(region_size - 1);
    if (aligned > start) munmap(place, aligned - start);
    munmap(reinterpret_cast<void*>(aligned + region_size), start + region_size - aligned);
    madvise(reinterpret_cast<void*>(aligned), region_size, MADV_HUGEPAGE);
    free_blocks.blocks.reserve(free_blocks.blocks.size() + region_size / large_block_size);
    for (std::uintptr_t block = aligned + region_size; block > aligned;)
        free_blocks.blocks.push_back(reinterpret_cast<void*>(block -= large_block_size));
}

}  // namespace

void* TakeLargeBlock() {
    FreeBlocks& free_blocks = Free();
    std::lock_guard guard(free_blocks.lock);
    if (free_blocks.blocks.empty()) AddRegion(free_blocks);
    void* block = free_blocks.blocks.back();
    free_blocks.blocks.pop_back();
    return block;
}

void GiveLargeBlock(void* block) noexcept {
    FreeBlocks& free_blocks = Free();
    std::lock_guard guard(free_blocks.lock);
    free_blocks.blocks.push_back(block);  // never beyond the capacity that AddRegion reserved
}

}  // namespace platform
