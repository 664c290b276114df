#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace customers {

// The lines of a file for the readers of other programs' exports, made of pieces of at most 1023 bytes, each
// ending behind an LF at the latest. A NUL hides the rest of its piece.
class LinePieces {
  public:
    // Reads the file into memory; false when it cannot be opened.
    bool Open(char const* path);
    // Reads these bytes instead of a file.
    void Take(std::string content);
    bool AtEnd() const noexcept { return at_ >= content_.size(); }

    // Appends pieces up to one that ends in an LF, and cuts all CRs and LFs at the end of `line`.
    void AddPhysicalLine(std::string& line);
    // Reads pieces up to one that ends in CR LF, without the pairs at the end: an LF alone ends no line, and
    // a pair across two pieces ends none.
    void ReadCrLfLine(std::string& line);

  private:
    std::string_view Piece();

    std::string content_;
    std::size_t at_ = 0;
};

}  // namespace customers
