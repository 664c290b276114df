#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tessaly/storage.h"

// Rows of texts as a table for reading, as CSV or as JSON, all in UTF-8.
namespace cli {

enum class ListFormat { table, csv, json };
// Throws Failure for a name that is none.
ListFormat ListFormatOf(std::string const& name);

// Titles are UTF-8, cells code page 932.
class Listing {
  public:
    Listing(std::ostream& out, ListFormat format, std::vector<std::string> titles);
    void Add(std::vector<CString> cells);
    void End();

  private:
    void Table();
    void Flush(std::vector<CString> const& cells);

    std::ostream& out_;
    ListFormat format_;
    std::vector<std::string> titles_;
    std::vector<std::vector<CString>> rows_;  // of a table, whose widths are known at the end only
    bool first_ = true;
};

}  // namespace cli
