#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/cstring.h"

// Makes many small CStrings at once, for bulk loads. Texts of a pool lie side by side in blocks of 64 KiB on
// large pages; a block is given back when the last text in it is gone, however long after the pool itself. A
// text that was made lately is shared instead of made again, which costs a table with recurring values a
// pointer a cell.
//
// A pool belongs to one thread; its texts are ordinary CStrings and may go anywhere.
class TESSALY_API CStringPool {
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
    static constexpr std::size_t block_size = 64 * 1024;

    char* Place(std::string_view text);
    void CloseBlock() noexcept;
    static void ReleaseText(char* text) noexcept;

    Block* block_ = nullptr;
    std::size_t used_ = 0;
    std::uint32_t made_ = 0;
    std::vector<CString> recent_;  // by hash of the text
};
