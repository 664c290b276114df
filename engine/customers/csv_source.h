#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/customers/csv_encoding.h"

// Divides a delimited text of another program into records, each in the form that the library reads. A field
// in quotes may hold line ends.
namespace engine {

class CsvSource {
  public:
    // `text` is the whole file in `encoding`, which is utf8 or cp932. `quote` 0 for none.
    CsvSource(std::string text, Encoding encoding, char delimiter, char quote);

    struct Record {
        std::string_view raw;    // as in the file, without its line end; valid as long as the source
        std::size_t line;        // where it begins, from 1
        std::size_t more_lines;  // of the file that it goes on for, in a quoted field
        bool unclosed;           // holds a quote that is never closed, and ends with its line all the same
    };
    // false at the end. Blank lines are passed over.
    bool Next(Record& record);
    // From the first record again.
    void Restart();
    // The record in code page 932 as one line: line ends inside quotes become blanks. The place of a
    // character without a form counts from the start of the file.
    Crossed ForLibrary(Record const& record) const;

    Encoding Kind() const { return encoding_; }

  private:
    struct End {
        std::size_t at;
        bool unclosed;
    };
    End EndOfRecord(std::size_t from);
    End Unclosed(std::size_t first_line_end);

    std::string text_;
    Encoding encoding_;
    char delimiter_;
    char quote_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
    std::size_t unclosed_ = 0;
};

}  // namespace engine
