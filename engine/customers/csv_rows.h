#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "engine/customers/checked_customer.h"
#include "engine/customers/csv_columns.h"
#include "engine/customers/csv_source.h"

// Makes the lines that the library imports from the records of a delimited file.
namespace engine {

// The line for the library, and the remarks on its record.
struct CsvRow {
    std::string line;                   // code page 932, one line
    std::vector<std::string> refusals;  // not empty: the line is not imported
    std::vector<std::string> oddities;  // of its cells: their number, or a customer inside one
    std::vector<std::string> doubts;    // values that `customers add` would refuse
    std::size_t tidied = 0;             // values that were brought into a form that is accepted
    std::string first_tidied;

    bool IsDoubtful() const { return !oddities.empty() || !doubts.empty(); }
};

class CsvRows {
  public:
    // With `strict` oddities and doubts are refusals.
    CsvRows(CsvSource const& source, Elements const& elements, CsvColumns const& columns, char delimiter,
            char quote, bool strict);
    void Take(CsvSource::Record const& record, CsvRow& row);

  private:
    struct Column {
        std::size_t column;
        Element const* element;
        bool is_judged;  // by a rule that only `customers add` has
    };
    struct Edit {
        std::size_t at, size;  // of the field in the line
        CString value;
    };
    void TakeField(Column const& column, storage::SplitField const& field, bool is_plain, CsvRow& row);
    bool Tidy(Element const& element, storage::SplitField const& field, CString& value, CsvRow& row);
    bool IsPlain(std::string const& line) const;
    void FindOddities(CsvSource::Record const& record, CsvRow& row) const;
    void ApplyEdits(std::string& line);

    CsvSource const& source_;
    std::vector<Column> columns_;
    std::size_t width_;
    char delimiter_, quote_;
    bool strict_;
    StrictRules rules_;
    std::vector<storage::SplitField> fields_;  // of the present line
    std::vector<Edit> edits_;
};

}  // namespace engine
