#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace cli {

// Shows how far long work has come, on standard error: on a terminal a bar with rate and time left, elsewhere
// a plain line every few seconds. A thread of its own reads the counter of the work. Work that ends within
// half a second shows nothing.
class Progress {
  public:
    // `unit` ("件") stands behind the counts. A total of 0 means that it is not known.
    Progress(std::string title, std::string unit, std::uint64_t total, std::function<std::uint64_t()> done);
    // Removes the bar.
    ~Progress();
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

  private:
    void Run();
    void Draw(double seconds);
    std::string Line(std::uint64_t done, double seconds) const;

    std::string title_, unit_;
    std::uint64_t total_;
    std::function<std::uint64_t()> done_;
    bool terminal_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

// Suspends the display of progress during its lifetime, for a question on the terminal.
class ProgressPause {
  public:
    ProgressPause();
    ~ProgressPause();
    ProgressPause(ProgressPause const&) = delete;
    ProgressPause& operator=(ProgressPause const&) = delete;
};

// A line on standard error, above the bar where one is shown.
void Say(std::string const& line);

}  // namespace cli
