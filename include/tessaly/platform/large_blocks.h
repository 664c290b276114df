#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "tessaly/platform/export.h"

// Memory for tables, on large pages where the system has them: a table of a million rows then costs hundreds
// of page faults instead of hundreds of thousands, and looking one cell up misses fewer address translations.
// All functions may be called from any thread and throw std::bad_alloc.
namespace platform {

// Blocks of 64 KiB, aligned to their size, not cleared. A block that is returned is kept for the next one.
inline constexpr std::size_t large_block_size = 64 * 1024;
TESSALY_API void* TakeLargeBlock();
TESSALY_API void GiveLargeBlock(void* block) noexcept;

// Memory of any size: that for the cells of a row comes from large blocks, that for a whole table directly
// from the system, the rest from the heap. `size` must be the same when it is returned.
TESSALY_API void* TakeTableMemory(std::size_t size);
TESSALY_API void GiveTableMemory(void* memory, std::size_t size) noexcept;

// The same for the standard containers.
template <class Type>
struct TableAllocator {
    using value_type = Type;
    TableAllocator() = default;
    template <class Other>
    TableAllocator(TableAllocator<Other> const&) noexcept {}
    Type* allocate(std::size_t count) {
        if (count > SIZE_MAX / sizeof(Type)) throw std::bad_alloc();
        return static_cast<Type*>(TakeTableMemory(count * sizeof(Type)));
    }
    void deallocate(Type* memory, std::size_t count) noexcept {
        GiveTableMemory(memory, count * sizeof(Type));
    }
    friend bool operator==(TableAllocator const&, TableAllocator const&) noexcept { return true; }
};

}  // namespace platform
