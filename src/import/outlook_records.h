#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "import/line_pieces.h"

namespace customers {

// The records of an address book that OutLook exports. A quoted field may run over several lines, whose ends
// are dropped; a doubled quote in it stays doubled.
class OutLookRecords {
  public:
    explicit OutLookRecords(LinePieces& pieces) : pieces_(pieces) {}
    // The next record; no fields at the end of the file. Empty lines in front of it are skipped. A field that
    // is open at the end of the file is dropped: false.
    bool Next(std::vector<std::string>& fields);

  private:
    // Removes the complete fields from the buffer; false while one is open.
    bool TakeFields(std::vector<std::string>& fields);

    LinePieces& pieces_;
    std::string buffer_;
    std::size_t searched_ = 0;  // of an open field: no end before it
};

}  // namespace customers
