#pragma once

#include <cstddef>
#include <cstdint>

// Memory for bulk loads, in blocks of 64 KiB that are aligned to their size and lie on large pages where the
// system has them: a table of a million rows costs hundreds of page faults that way instead of hundreds of
// thousands.
namespace platform {

inline constexpr std::size_t large_block_size = 64 * 1024;

// Not cleared. Throws std::bad_alloc. Both may be called from any thread.
void* TakeLargeBlock();
void GiveLargeBlock(void* block) noexcept;

}  // namespace platform
