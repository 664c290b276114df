#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engine/customers/csv_titles.h"
#include "engine/customers/elements.h"

// Which columns of a delimited file go into which elements of a customer.
namespace engine {

class CsvColumns {
  public:
    // `cells` are those of the file's first record, which are the titles if `titled`.
    CsvColumns(Elements const& elements, std::vector<std::string> cells, bool titled);

    void AssignByTitles(CsvTitles const& titles);
    // "ELEMENT=COLUMN,...": an element by title or number, a column by title or by number from 1. Throws
    // Failure for an unknown one.
    void AssignByOption(std::string_view option);
    void Assign(int element, std::size_t column) { assignment_.SetAt(element, static_cast<int>(column)); }
    bool Has(int element) const { return assignment_[element] >= 0; }

    std::size_t Count() const { return cells_.size(); }
    // For the library: by element, the column from 0, or -1.
    CArray<int, int>& Assignment() { return assignment_; }
    struct Use {
        std::size_t column;
        int element;
    };
    std::vector<Use> Uses() const;  // by column

    // Lists for the sender: the columns with the elements that they fill, the columns that are not used
    // (empty: none), and all columns.
    std::string Used() const;
    std::string Unused() const;
    std::string Listed() const;

  private:
    std::size_t Named(std::string_view name) const;
    std::string NameOf(std::size_t column) const;

    Elements const& elements_;
    std::vector<std::string> cells_;
    bool titled_;
    CArray<int, int> assignment_;
};

}  // namespace engine
