#include "terminal.h"

#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "failure.h"

namespace app {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void OnInterrupt(int signal) {
    if (interrupted) {
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
    interrupted = 1;
}

// Echo off while it lives; and Ctrl-C ends the reading, so that the echo comes back before the program ends.
class QuietTerminal {
  public:
    QuietTerminal() : saved_(), changed_(tcgetattr(STDIN_FILENO, &saved_) == 0) {
        struct sigaction ends_reading {};
        ends_reading.sa_handler = OnInterrupt;
        sigaction(SIGINT, &ends_reading, &interrupt_);
        if (!changed_) return;
        termios quiet = saved_;
        quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~QuietTerminal() {
        if (changed_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
        sigaction(SIGINT, &interrupt_, nullptr);
    }
    QuietTerminal(QuietTerminal const&) = delete;
    QuietTerminal& operator=(QuietTerminal const&) = delete;

  private:
    termios saved_;
    bool changed_;
    struct sigaction interrupt_ {};
};

}  // namespace

bool ErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }
bool InputIsTerminal() { return isatty(STDIN_FILENO) == 1; }

std::string AskPassword(std::string const& prompt, std::string const& option) {
    if (!InputIsTerminal())
        throw Failure(prompt + "が必要です。端末がないときは " + option + " でファイルから渡してください。");
    std::string password;
    std::cerr << prompt << ": " << std::flush;
    {
        const QuietTerminal quiet;
        std::getline(std::cin, password);
    }
    std::cerr << "\n";
    if (interrupted) throw Failure("中断しました。");
    if (!std::cin) throw Failure("パスワードが入力されませんでした。");
    return password;
}

void CatchInterrupts() {
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);
}

bool Interrupted() { return interrupted != 0; }

}  // namespace app
