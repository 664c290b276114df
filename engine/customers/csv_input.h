#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/base/front_end.h"
#include "engine/customers/csv_columns.h"
#include "engine/customers/csv_encoding.h"
#include "engine/customers/csv_import.h"
#include "engine/customers/csv_source.h"
#include "engine/customers/csv_titles.h"

namespace engine {

// The file of an import: its encoding, delimiter, titles and columns, as given or found.
class CsvInput {
  public:
    // Reads the file. Both arguments must outlive the object. Throws Failure.
    CsvInput(CsvImport const& options, Elements const& elements);

    // Reads the first record, and assigns the columns by titles and options. Afterwards the source stands at
    // the first customer. Throws Failure without a column of mail addresses.
    CsvColumns ReadColumns();
    // Tells the form of the file and the columns in use.
    void Announce(CsvColumns const& columns, FrontEnd& front) const;

    CsvSource& Source() { return *source_; }
    CsvSource const& Source() const { return *source_; }
    char Delimiter() const { return delimiter_; }
    char Quote() const { return quote_; }
    // The record of the titles; none for a file without titles.
    std::optional<CsvSource::Record> const& TitleRecord() const { return title_record_; }

  private:
    char FoundDelimiter() const;
    void AssignWithoutTitles(CsvColumns& columns, std::vector<std::string> const& cells) const;

    CsvImport const& options_;
    Elements const& elements_;
    CsvTitles const titles_;
    char quote_, delimiter_;
    FileText file_;
    std::optional<CsvSource> source_;
    std::optional<CsvSource::Record> title_record_;
};

}  // namespace engine
