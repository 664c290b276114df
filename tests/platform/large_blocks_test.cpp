#include "platform/large_blocks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace {

thread_local int allocations = 0;

}  // namespace

// Counts what this program allocates; the tests look at a stretch of their own.
void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// It is called where nothing may fail, so it must not need memory.
TEST(LargeBlocks, GivingBackAllocatesNothing) {
    std::vector<void*> blocks(1000);
    for (void*& block : blocks) block = platform::TakeLargeBlock();
    int const before = allocations;
    for (void* const block : blocks) platform::GiveLargeBlock(block);
    EXPECT_EQ(before, allocations);
}
