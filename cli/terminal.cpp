#include "cli/terminal.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "engine/base/failure.h"

namespace cli {

using engine::Failure;
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int signal) {
    if (interrupted) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
    interrupted = 1;
}

// Waits for a line at the terminal; false when an interrupt comes first, to whichever thread.
bool WaitForLine() {
    constexpr int glance_ms = 50;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    while (!interrupted && poll(&input, 1, glance_ms) <= 0) continue;
    return !interrupted;
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
    if (interrupted) throw Failure(Failure::stopped, "中断しました。");
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
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace cli
