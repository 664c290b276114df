#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <string>

#include "tessaly/platform/path.h"
#include "tessaly/platform/process.h"

namespace platform {
namespace {

constexpr timespec glance{0, 20'000'000};  // between two checks of a program that may be stopped

bool HasDrive(std::string_view text) {
    return text.size() > 2 && std::isalpha(static_cast<unsigned char>(text[0])) && text[1] == ':' &&
           (text[2] == '\\' || text[2] == '/');
}

std::string WithHostPath(std::string_view text) {
    constexpr std::size_t option_size = 3;  // "/d:"
    if (HasDrive(text)) return HostPath(text);
    bool const is_option = text.size() > option_size && text[0] == '/' && text[2] == ':';
    if (!is_option || !HasDrive(text.substr(option_size))) return std::string(text);
    return std::string(text.substr(0, option_size)) + HostPath(text.substr(option_size));
}

// The status of waitpid; false without one.
bool WaitForEnd(pid_t child, int& status, std::function<bool()> const& stop) {
    bool ending = !stop;
    for (;;) {
        pid_t const ended = waitpid(child, &status, ending ? 0 : WNOHANG);
        if (ended == child) return true;
        if (ended < 0 && errno != EINTR) return false;
        if (ending) continue;
        ending = stop();
        if (ending)
            kill(child, SIGTERM);
        else
            nanosleep(&glance, nullptr);
    }
}

}  // namespace

bool RunProgram(CString const& program, std::vector<CString> const& arguments, unsigned& exit_code,
                std::function<bool()> const& stop) {
    std::vector<std::string> texts = {HostPath(program.View())};
    for (CString const& argument : arguments) texts.push_back(WithHostPath(argument.View()));
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawn(&child, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0) return false;
    int status = 0;
    if (!WaitForEnd(child, status, stop) || !WIFEXITED(status)) return false;
    exit_code = static_cast<unsigned>(WEXITSTATUS(status));
    return true;
}

}  // namespace platform
