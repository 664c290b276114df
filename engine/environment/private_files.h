#pragma once

#include <string>

#include "engine/base/front_end.h"

// The files of an environment are its owner's alone.
namespace engine {

// Gives a folder with all that lies in it, or a file, to its owner alone (0700, 0600). Throws Failure.
void MakePrivate(std::string const& path);
// The same for an environment that others can read, and tells the front end so. An owner who may not change
// that is told once for each command.
void MakeEnvironmentPrivate(FrontEnd& front, std::string const& env_file, std::string const& data_directory);

}  // namespace engine
