#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace mime {

// The lines of a text that may delimit parts: those that begin with "--". It finds the delimiters of any
// boundary in a time that does not depend on the number of boundaries: each line is looked at once for each
// boundary that it could delimit, which is at most as often as it has characters.
class DelimiterLines {
  public:
    // `text` has line ends CR LF and must outlive the object.
    explicit DelimiterLines(std::string_view text);

    struct Delimiters {
        std::vector<std::size_t> open;   // starts of the lines "--boundary" that have a line end
        std::vector<std::size_t> close;  // starts of the lines that begin with "--boundary--"
    };
    // Both ascending. Valid until the next call.
    Delimiters const& Of(std::string_view boundary);

  private:
    std::size_t FirstFrom(std::string_view prefix) const;

    std::string_view text_;
    std::vector<std::string_view> lines_;  // sorted
    std::unordered_map<std::string, Delimiters> known_;
};

// Divides `body`, a piece of the text of `lines`, at a boundary. false when the first or the closing
// delimiter is missing, with the parts found in `parts`.
bool DivideParts(DelimiterLines::Delimiters const& delimiters, std::string_view text, std::string_view body,
                 std::size_t boundary_size, std::vector<std::string_view>& parts);

}  // namespace mime
