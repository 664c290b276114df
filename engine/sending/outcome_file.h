#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>

#include "engine/base/whole_file.h"
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

    // Recipients whose mail was sent, refused for good, or may have been taken, in the earlier run.
    std::set<int> const& Settled() const { return settled_; }
    // The row is in the file when it returns, and on the disk within half a second of further rows, or with
    // End. Throws Failure.
    void Add(Delivery const& delivery);
    void End();
    bool IsRegular() const { return file_->IsRegular(); }

  private:
    using Clock = std::chrono::steady_clock;

    // The length of its whole rows; 0 when the earlier run ended before the first line was whole.
    std::size_t ReadEarlier(std::string const& file);

    std::optional<OutputFile> file_;
    Clock::time_point next_sync_;
    std::set<int> settled_;
};

}  // namespace engine
