#include "cli/progress.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <utility>

#include "cli/terminal.h"
#include "engine/base/whole_number.h"

namespace cli {

using engine::Grouped;

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto glance = std::chrono::milliseconds(50);
constexpr double terminal_pace = 0.2;  // seconds between two drawings
constexpr double plain_pace = 5;
constexpr double first_after = 0.5;
constexpr int bar_width = 30;
constexpr char const* wipe = "\r\x1b[K";

std::mutex standard_error;
// With standard_error held:
bool bar_shown = false;
bool paused = false;

std::string TimeText(double seconds) {
    auto const whole = std::lround(seconds);
    char text[32];
    if (whole >= 3600)
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

}  // namespace

Progress::Progress(std::string title, std::string unit, std::uint64_t total,
                   std::function<std::uint64_t()> done)
    : title_(std::move(title)),
      unit_(std::move(unit)),
      total_(total),
      done_(std::move(done)),
      terminal_(ErrorIsTerminal()),
      thread_([this] { Run(); }) {}

Progress::~Progress() {
    stop_ = true;
    thread_.join();
    std::lock_guard guard(standard_error);
    if (bar_shown) std::cerr << wipe << std::flush;
    bar_shown = false;
}

void Progress::Run() {
    auto const start = Clock::now();
    double next = first_after;
    while (!stop_) {
        std::this_thread::sleep_for(glance);
        double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (seconds < next || stop_) continue;
        Draw(seconds);
        next = seconds + (terminal_ ? terminal_pace : plain_pace);
    }
}

void Progress::Draw(double seconds) {
    std::string const line = Line(done_(), seconds);
    std::lock_guard guard(standard_error);
    if (paused) return;
    if (terminal_)
        std::cerr << wipe << line << std::flush;
    else
        std::cerr << line << std::endl;
    bar_shown = terminal_;
}

ProgressPause::ProgressPause() {
    std::lock_guard guard(standard_error);
    paused = true;
}

ProgressPause::~ProgressPause() {
    std::lock_guard guard(standard_error);
    paused = false;
}

void Say(std::string const& line) {
    std::lock_guard guard(standard_error);
    std::cerr << (bar_shown ? wipe : "") << line << std::endl;
    bar_shown = false;
}

std::string Progress::Line(std::uint64_t done, double seconds) const {
    double const rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    std::string line = title_ + " ";
    if (total_ > 0) {
        double const part = std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
        if (terminal_) {
            int const filled = static_cast<int>(part * bar_width);
            line += "[" + std::string(static_cast<std::size_t>(filled), '#') +
                    std::string(static_cast<std::size_t>(bar_width - filled), '.') + "] ";
        }
        line += std::to_string(static_cast<int>(part * 100)) + "% ";
    }
    line += Grouped(done) + (total_ > 0 ? "/" + Grouped(total_) : "") + unit_;
    line += "  毎秒" + Grouped(static_cast<std::uint64_t>(rate)) + unit_;
    if (total_ > done && rate > 0) line += "  残り" + TimeText(static_cast<double>(total_ - done) / rate);
    return line;
}

}  // namespace cli
