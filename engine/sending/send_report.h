#pragma once

#include <fstream>
#include <set>
#include <string>

#include "engine/sending/mailing.h"

// The report of a mailing: CSV, UTF-8 with a byte order mark (spreadsheets look for it), a row for each
// recipient, written when her mail's outcome is known, so that it is true even if the process dies.
namespace engine {

class Report {
  public:
    // Begins a new file; with `resume` goes on with one that an earlier run of the same mailing left. Throws
    // Failure when the file cannot be written, when it is there already without `resume`, or when it is no
    // report.
    Report(std::string const& file, bool resume);

    // Recipients whose mail went out, or was refused for good, in the earlier run.
    std::set<int> const& Settled() const { return settled_; }
    void Add(Delivery const& delivery);

  private:
    // false when the earlier run ended before the first line was whole.
    bool ReadEarlier(std::string const& file);

    std::string name_;
    std::ofstream file_;
    std::set<int> settled_;
};

}  // namespace engine
