#pragma once

#include <cstdlib>
#include <string_view>

#include "customers/address_index.h"
#include "customers/customer_elements.h"
#include "storage/my_db.h"

namespace customers {

// A cell as it stands, empty where the row has none. The text ends with a NUL.
inline std::string_view CellOf(CMyDB const& table, int line, int element) noexcept {
    XCStringArrayEx const& row = table.Row(line);
    return element < row.GetSize() ? row[element].View() : std::string_view("");
}

inline int IDOf(CMyDB const& table, int line) noexcept {
    return std::atoi(CellOf(table, line, element_id).data());
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
