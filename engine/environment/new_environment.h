#pragma once

#include <string>

#include "engine/environment/access.h"
#include "tessaly/environment.h"

namespace engine {

// Writes a full settings record with the values that a new environment has. Throws Failure.
void WriteDefaultSettings(EnvManager& environment, std::string const& data_directory);

// The start-up password that a new environment shall have: the first line of the password file, which may not
// be empty; empty where no file is given. Throws Failure.
std::string NewPassword(Access const& access);
// Makes the environment file, its directories, a full settings record and an empty customer table. Nothing
// has its name before all of it is on the disk, and all of it is the owner's alone. Throws Failure, and then
// nothing new is left behind.
void CreateEnvironment(Access const& access, std::string const& env_file, std::string const& new_password);

}  // namespace engine
