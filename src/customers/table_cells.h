#pragma once

#include <cstdlib>
#include <string_view>

#include "customers/address_index.h"
#include "tessaly/customers/customer_elements.h"
#include "tessaly/storage/my_db.h"

namespace customers {

// A cell, empty where the row lacks it. The text ends with a NUL.
inline std::string_view CellOf(CMyDB const& table, int line, int element) noexcept {
    XCStringArrayEx const& row = table.Row(line);
    return element < row.GetSize() ? row[element].View() : std::string_view("");
}

// The customer ID of a row, read by atoi.
inline int IDOf(CMyDB const& table, int line) noexcept {
    constexpr std::size_t always_fits = 9;  // digits
    std::string_view const text = CellOf(table, line, element_id);
    int id = 0;
    for (char const c : text) {
        if (c < '0' || c > '9' || text.size() > always_fits) return std::atoi(text.data());
        id = 10 * id + (c - '0');
    }
    return id;
}

// Prefetches the memory that a walk over the rows reads of one column: rows and texts are scattered in
// memory.
inline void FetchAhead(CMyDB const& table, int line, int lines, int element) noexcept {
    constexpr int cells_ahead = 16;
    constexpr int texts_ahead = 8;
    if (line + cells_ahead >= lines) return;
    XCStringArrayEx const& cells = table.Row(line + cells_ahead);
    if (element < cells.GetSize()) __builtin_prefetch(&cells[element]);
    XCStringArrayEx const& texts = table.Row(line + texts_ahead);
    if (element < texts.GetSize()) __builtin_prefetch(static_cast<char const*>(texts[element]));
}

inline bool IsDeleted(CMyDB const& table, int line) noexcept {
    return CellOf(table, line, element_delete_flag) == yes_text;
}

// The addresses of a customer table.
class TableAddresses final : public AddressSource {
  public:
    explicit TableAddresses(CMyDB const& table) : table_(table) {}
    std::string_view AddressOf(int row) const noexcept override {
        return CellOf(table_, row, element_address);
    }

  private:
    CMyDB const& table_;
};

}  // namespace customers
