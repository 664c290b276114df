#pragma once

#include <fstream>
#include <set>
#include <string>

#include "engine/sending/mailing.h"

// The outcomes of a mailing as a file: CSV, UTF-8 with a byte order mark (spreadsheets look for it), a row
// for each recipient, written when the outcome of the mail is known, so that it is true even if the process
// dies.
namespace engine {

class OutcomeFile {
  public:
    // Begins a new file; with `resume` goes on with one that an earlier run of the same mailing left. Throws
    // Failure when the file cannot be written, when it is there already without `resume`, or when the file
    // there is no report.
    OutcomeFile(std::string const& file, bool resume);

    // Recipients whose mail was sent, or refused for good, in the earlier run.
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
