#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "engine/customers/elements.h"

// The titles by which files of other programs name the columns of a customer.
namespace engine {

class CsvTitles {
  public:
    explicit CsvTitles(Elements const& elements);
    // For each title its element, or -1: by the element's own title first; then by the title in other width
    // or case, with blanks; then by the names that are common for the same thing. Of two columns for one
    // element the better match gets it, else the first one. The customer ID is never taken from a file.
    std::vector<int> Match(std::vector<std::string> const& titles) const;
    // The key of a title: the same for titles that differ only in width, case, blanks and postal marks.
    static std::string KeyOf(std::string_view title);

  private:
    Elements const& elements_;
    std::unordered_map<std::string, int> own_, other_;  // by key
};

}  // namespace engine
