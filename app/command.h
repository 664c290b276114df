#pragma once

#include <CLI/CLI.hpp>

#include "session.h"

// Each family of commands adds itself to the program; what a command does runs when the arguments were found
// good, and throws Failure where it cannot go on.
namespace app {

// Adds --key-file and --password-file to a command that opens an environment.
void AddAccess(CLI::App& command, Access& access);
// The positional ENV.
void AddEnvFile(CLI::App& command, std::string& env_file);

void AddEnvCommands(CLI::App& program);
void AddSettingsCommand(CLI::App& program);
void AddCustomersCommands(CLI::App& program);
void AddMailCommands(CLI::App& program);
void AddTargetCommand(CLI::App& program);
void AddGroupCommands(CLI::App& program);
void AddTestersCommands(CLI::App& program);
void AddPreviewCommand(CLI::App& program);
void AddSendCommand(CLI::App& program);
void AddReportCommand(CLI::App& program);
void AddBackupCommands(CLI::App& program);
void AddPostboxCommand(CLI::App& program);

}  // namespace app
