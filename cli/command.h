#pragma once

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "cli/terminal_front_end.h"
#include "engine/base/whole_number.h"
#include "engine/environment/session.h"

// Each family of commands adds itself to the program; a command runs when its arguments are valid, and throws
// Failure where it cannot go on.
namespace cli {

using namespace engine;

// Adds --key-file and --password-file to a command that opens an environment, with the terminal as its front
// end.
void AddAccess(CLI::App& command, Access& access);
// The positional ENV.
void AddEnvFile(CLI::App& command, std::string& env_file);
// Numbers from `low` to `high`, a range that the help does not show.
CLI::Validator NumberFrom(int low, int high = std::numeric_limits<int>::max());
// The positional MAIL, the number of a stored mail; optional in the second form.
CLI::Option* AddMail(CLI::App& command, int& mail);
CLI::Option* AddMail(CLI::App& command, std::optional<int>& mail);
CLI::Option* AddFormat(CLI::App& command, std::string& format);

// One command of a family over an environment: `run` gets the arguments, whose members `env_file` and
// `access` it fills.
template <class Arguments>
CLI::App* AddOne(CLI::App& family, char const* name, char const* text,
                 std::shared_ptr<Arguments> const& arguments, void (*run)(Arguments const&)) {
    CLI::App* command = family.add_subcommand(name, text);
    AddEnvFile(*command, arguments->env_file);
    AddAccess(*command, arguments->access);
    command->callback([arguments, run] { run(*arguments); });
    return command;
}

void AddEnvCommands(CLI::App& program);
void AddSettingsCommand(CLI::App& program);
void AddCustomersCommands(CLI::App& program);
void AddMailCommands(CLI::App& program);
void AddTargetCommand(CLI::App& program);
void AddGroupCommands(CLI::App& program);
void AddTestersCommands(CLI::App& program);
// `refusals` and `suppressed`.
void AddRefusalsCommands(CLI::App& program);
void AddPreviewCommand(CLI::App& program);
void AddSendCommand(CLI::App& program);
void AddReportCommand(CLI::App& program);
void AddUnknownCommand(CLI::App& program);
void AddReceiveCommand(CLI::App& program);
void AddInboxCommands(CLI::App& program);
void AddBackupCommands(CLI::App& program);
void AddCheckCommand(CLI::App& program);
void AddNewsCommand(CLI::App& program);
void AddPostboxCommand(CLI::App& program);

}  // namespace cli
