#pragma once

#include <array>
#include <bitset>
#include <string_view>

#include "platform/cstring_pool.h"
#include "tessaly/customers/customer_elements.h"
#include "tessaly/customers/field_rules.h"
#include "tessaly/storage/string_array_ex.h"

namespace customers {

// The values of one line of an import file for some of the 56 elements. It holds views only; strings are made
// once the line is accepted, and only for cells that differ from the row to be changed.
class ImportRow {
  public:
    ImportRow() = default;
    ImportRow(ImportRow const&) = delete;  // values may lie in the object itself
    ImportRow& operator=(ImportRow const&) = delete;

    void Clear() noexcept { assigned_.reset(); }
    // Assigns the value of a field by the rule; an empty one and false when the rule refuses it.
    bool Take(int element, FieldRule rule, std::string_view field);
    void Assign(int element, std::string_view value);
    void Withdraw(int element) noexcept { assigned_.reset(static_cast<std::size_t>(element)); }
    bool IsAssigned(int element) const noexcept { return assigned_.test(static_cast<std::size_t>(element)); }
    // Empty for an element that is not assigned.
    std::string_view Value(int element) const noexcept;

    // A new row: the assigned values, all other cells empty.
    XCStringArrayEx MakeRow(CStringPool& pool) const;
    // Puts the assigned values into a row of 56 cells.
    void ApplyTo(XCStringArrayEx& row, CStringPool& pool) const;

  private:
    std::array<std::string_view, element_count> values_;
    std::bitset<element_count> assigned_;
    char converted_[element_count][text::date_data_size];
};

}  // namespace customers
