#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "crossing.h"

// A delimited text file as it came from another program, record by record: its encoding told apart, its
// records found where fields in quotes hold line ends, each ready for the library.
namespace app {

enum class Encoding { automatic, cp932, utf8 };
// Throws Failure for a name that is none ("auto", "cp932", "utf-8").
Encoding EncodingOf(std::string const& name);

class CsvSource {
  public:
    // `content` is the whole file. `quote` 0 for none.
    CsvSource(std::string content, Encoding encoding, char delimiter, char quote);

    struct Record {
        std::string_view raw;  // as in the file, without its line end; valid as long as the source
        std::size_t line;      // where it begins, from 1
    };
    // false at the end. Blank lines are passed over.
    bool Next(Record& record);
    // The record in code page 932 as one line: line ends inside quotes become blanks. The place of a
    // character without a form counts from the start of the file.
    Crossed ForLibrary(Record const& record) const;

    Encoding Kind() const { return encoding_; }
    // Records whose quoted fields held line ends, so far.
    std::size_t Joined() const { return joined_; }

  private:
    std::size_t EndOfRecord(std::size_t from);
    std::size_t Unclosed(std::size_t first_line_end);

    std::string content_;
    Encoding encoding_;
    char delimiter_;
    char quote_;
    std::size_t at_ = 0;
    std::size_t line_ = 1;
    std::size_t joined_ = 0;
    std::size_t unclosed_ = 0;
};

}  // namespace app
