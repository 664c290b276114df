#pragma once

#include <ostream>
#include <string>
#include <vector>

// Rows of texts as a table for reading, as CSV or as JSON, all in UTF-8.
namespace cli {

enum class ListFormat { table, csv, json };
// Throws Failure for an unknown name.
ListFormat ListFormatOf(std::string const& name);

// The columns of a table are as wide as its first rows need, which are held back until then.
class Listing {
  public:
    Listing(std::ostream& out, ListFormat format, std::vector<std::string> titles);
    void Add(std::vector<std::string> cells);
    void End();

  private:
    void AddToTable(std::vector<std::string> cells);
    // Writes the titles and the rows held back.
    void BeginTable();
    void TableRow(std::vector<std::string> const& cells) const;

    std::ostream& out_;
    ListFormat format_;
    std::vector<std::string> titles_;
    std::vector<std::vector<std::string>> waiting_;
    std::vector<std::size_t> widths_;  // of a table that has begun
    bool first_ = true;
};

}  // namespace cli
