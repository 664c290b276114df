#pragma once

#include <string_view>
#include <vector>

#include "tessaly/platform/cstring.h"
#include "tessaly/storage/split_string.h"

namespace customers {

// Divides one line after another as SplitString does, without a string for each field.
class LineFields {
  public:
    // Every character of `delimiters` ends a field; `quote` 0: no quoting.
    LineFields(CString const& delimiters, char quote) : delimiters_(delimiters), quote_(quote) {}

    // `line` must outlive the use of its fields.
    void Divide(std::string_view line);
    int Count() const noexcept { return static_cast<int>(fields_.size()); }
    // The field, `index` being one of the line's. Valid until the next Divide.
    std::string_view At(int index);

  private:
    CString delimiters_;
    char quote_;
    std::vector<storage::SplitField> fields_;
    std::vector<CString> undoubled_;  // fields that held doubled quotes
};

}  // namespace customers
