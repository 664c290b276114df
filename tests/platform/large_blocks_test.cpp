#include "tessaly/platform/large_blocks.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <vector>

// It is called where nothing may fail, so it must not need memory. Sanitizers have an allocator of their own,
// which mallinfo2 does not count.
TEST(LargeBlocks, GivingBackAllocatesNothing) {
    std::vector<void*> blocks(1000);
    for (void*& block : blocks) block = platform::TakeLargeBlock();
    auto const before = mallinfo2().uordblks;
    for (void* const block : blocks) platform::GiveLargeBlock(block);
    EXPECT_EQ(before, mallinfo2().uordblks);
}
