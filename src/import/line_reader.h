#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/file.h"

namespace customers {

// The lines of an import file, read in large blocks. A line ends with its LF, the last one with the file. A
// line of any length is read in time and memory linear to it.
class LineReader {
  public:
    // failed: the file cannot be read on, or the line is longer than the limit.
    enum class Status { line, end, failed };
    static constexpr std::size_t default_longest_line = std::size_t{256} << 20;

    explicit LineReader(std::size_t longest_line = default_longest_line) : longest_line_(longest_line) {}

    // false for a file that cannot be opened, and for a directory.
    bool Open(char const* path);
    // The next line without the CRs and LFs at its end. A text ends at its first NUL, the line does not: the
    // bytes between the NUL and the LF are skipped. `text` stays valid until the next call.
    Status Next(std::string_view& text);

  private:
    bool Fill();

    std::size_t longest_line_;
    platform::Stream stream_;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;    // of the line
    std::size_t scanned_ = 0;  // no LF before it
    std::size_t filled_ = 0;
    bool ended_ = false;
    bool failed_ = false;
};

// LF bytes of a file up to its first byte 0xFF; false when it cannot be opened or read.
bool CountLineFeeds(char const* path, int& count);

}  // namespace customers
