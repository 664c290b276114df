#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tessaly/platform/cstring.h"

// Makes many small CStrings at once, for bulk loads. Texts of a pool lie side by side in blocks of 64 KiB on
// large pages; a block is released with the last text in it, however long after the pool itself. A short text
// that recurs is shared from its second making on, so that recurring values of a table cost one pointer a
// cell.
//
// A pool belongs to one thread; its texts are ordinary CStrings and may be used by any.
class CStringPool {
  public:
    CStringPool();
    ~CStringPool();
    CStringPool(CStringPool const&) = delete;
    CStringPool& operator=(CStringPool const&) = delete;

    // `text` must hold no NUL.
    CString Make(std::string_view text);

  private:
    friend class CString;
    struct Block;
    // A text that came twice, and the mark of one that came once: texts that come only once do not displace
    // those that recur.
    struct Slot {
        std::uint32_t mark = 0;
        std::uint32_t seen_once = 0;
        CString text;
    };
    static constexpr std::size_t block_size = 64 * 1024;

    // The block that is filled with texts of one kind.
    struct Filling {
        Block* block = nullptr;
        std::size_t used = 0;
        std::uint32_t made = 0;
    };

    static char* Place(Filling& filling, std::string_view text);
    static void CloseBlock(Filling& filling) noexcept;
    static void ReleaseText(char* text) noexcept;

    std::uint32_t few_ = 0;  // texts made before the first block
    Filling ordinary_;
    Filling recurring_;         // side by side, since they are read again and again
    std::vector<Slot> recent_;  // by hash of the text
};
