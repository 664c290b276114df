#include <spawn.h>
#include <sys/wait.h>

#include <cctype>
#include <cerrno>
#include <string>
#include <vector>

#include "platform/mbcs.h"
#include "platform/path.h"
#include "platform/process.h"

extern char** environ;

namespace platform {
namespace {

std::vector<std::string> Divided(std::string_view line) {
    std::vector<std::string> arguments;
    bool quoted = false, open = false;
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t size = CharacterSize(line, at);
        char const c = line[at];
        bool const blank = !quoted && (c == ' ' || c == '\t');
        if (blank) {
            open = false;
        } else {
            if (!open) arguments.emplace_back();
            open = true;
            if (c == '"')
                quoted = !quoted;
            else
                arguments.back().append(line, at, size);
        }
        at += size;
    }
    return arguments;
}

bool HasDrive(std::string_view text) {
    return text.size() > 2 && std::isalpha(static_cast<unsigned char>(text[0])) && text[1] == ':' &&
           (text[2] == '\\' || text[2] == '/');
}

std::string WithHostPath(std::string const& argument) {
    constexpr std::size_t option_size = 3;  // "/d:"
    const std::string_view text = argument;
    if (HasDrive(text)) return HostPath(text);
    bool const is_option = text.size() > option_size && text[0] == '/' && text[2] == ':';
    if (!is_option || !HasDrive(text.substr(option_size))) return argument;
    return std::string(text.substr(0, option_size)) + HostPath(text.substr(option_size));
}

}  // namespace

bool RunProgram(CString const& program, CString const& command_line, unsigned& exit_code) {
    std::vector<std::string> arguments = {HostPath(program.View())};
    for (std::string const& argument : Divided(command_line.View()))
        arguments.push_back(WithHostPath(argument));
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t child = 0;
    if (posix_spawn(&child, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0) return false;
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR) return false;
    if (!WIFEXITED(status)) return false;
    exit_code = static_cast<unsigned>(WEXITSTATUS(status));
    return true;
}

}  // namespace platform
