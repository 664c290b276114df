#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/environment/table_kind.h"

// The rows of a table file that may be damaged, read past the damage.
namespace engine {

// A run of bytes between two rows that can be read.
struct DamagedPlace {
    std::size_t row = 0;             // rows that were read before it
    std::size_t lines = 0;           // its physical lines
    std::vector<std::uint64_t> ids;  // that its lines still begin with
};

struct ReadableRows {
    std::size_t rows = 0;
    std::vector<DamagedPlace> places;
    bool Whole() const { return places.empty(); }
};

// Walks through the bytes of a table. `row` gets the bytes of each row as they stand in the file, and its
// first cell in plain form. A row is one that is as a table is written: cells in quotes or numbers, as many
// as the kind has, with a number in front where rows have one, and CR LF. Behind anything else the search
// goes on with the next physical line.
ReadableRows ScanRows(std::string_view file, char const* key, TableKind const& kind,
                      std::function<void(std::string_view bytes, std::string_view first_cell)> const& row);

// The cells of a row, from its bytes in the file; code page 932.
std::vector<std::string> CellsIn(std::string_view bytes, char const* key);
// The bytes of a row in the file.
std::string RowOf(std::vector<std::string> const& cells, char const* key);

}  // namespace engine
