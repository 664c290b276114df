#include "cli/terminal.h"

#include <poll.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <iostream>

#include "engine/base/failure.h"

namespace cli {

using engine::Failure;
namespace {

constexpr int stop_signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr std::int64_t same_hangup_ms = 3000;

std::atomic<std::int64_t> interrupted_at = 0;  // 0: not yet
static_assert(std::atomic<std::int64_t>::is_always_lock_free);

// A signal handler may call it.
std::int64_t MonotonicMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000 + 1;
}

void OnInterrupt(int signal) {
    std::int64_t first = 0;
    std::int64_t const now = MonotonicMilliseconds();
    if (interrupted_at.compare_exchange_strong(first, now)) return;
    if (signal == SIGHUP && now - first < same_hangup_ms) return;
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Waits for a line at the terminal; false when an interrupt comes first, to whichever thread.
bool WaitForLine() {
    constexpr int glance_ms = 50;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    while (!Interrupted() && poll(&input, 1, glance_ms) <= 0) continue;
    return !Interrupted();
}

// Echo off while it lives.
class QuietTerminal {
  public:
    QuietTerminal() : saved_(), changed_(tcgetattr(STDIN_FILENO, &saved_) == 0) {
        if (!changed_) return;
        termios quiet = saved_;
        quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~QuietTerminal() {
        if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
    }
    QuietTerminal(QuietTerminal const&) = delete;
    QuietTerminal& operator=(QuietTerminal const&) = delete;

  private:
    termios saved_;
    bool changed_;
};

}  // namespace

bool ErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }
bool InputIsTerminal() { return isatty(STDIN_FILENO) == 1; }

std::string AskPassword(std::string const& prompt, std::string const& option) {
    if (!InputIsTerminal())
        throw Failure(Failure::password_required,
                      prompt + "が必要です。端末がないときは " + option + " でファイルから渡してください。");
    std::optional<std::string> password;
    {
        QuietTerminal const quiet;
        password = AskLine(prompt);
    }
    std::cerr << "\n";
    if (Interrupted()) throw Failure(Failure::stopped, "中断しました。");
    if (!password) throw Failure(Failure::password_required, "パスワードが入力されませんでした。");
    return *password;
}

std::optional<std::string> AskLine(std::string const& prompt) {
    std::cerr << prompt << ": " << std::flush;
    std::string line;
    if (!WaitForLine() || !std::getline(std::cin, line)) return {};
    return line;
}

void CatchInterrupts() {
    for (int const signal : stop_signals) {
        struct sigaction before {};
        bool const ignored = sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
        if (!ignored) std::signal(signal, OnInterrupt);
    }
}

void IgnoreClosedPipes() { std::signal(SIGPIPE, SIG_IGN); }

bool Interrupted() { return interrupted_at != 0; }

}  // namespace cli
