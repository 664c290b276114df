#pragma once

#include <functional>
#include <string>

namespace app {

// Replaces a file in one step: `write` fills the file that it is given (host path, beside the target) and
// says whether that worked; then it is brought to the disk and takes the target's name. false, with the
// target as it was, when anything fails.
bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write);

}  // namespace app
