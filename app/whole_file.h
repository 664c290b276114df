#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace app {

// The bytes of a file; for one that cannot be read throws Failure: `what` ("下書き" and the like) and its
// name.
std::string ReadWholeFile(std::string const& file, std::string const& what);

// Replaces a file in one step: `write` fills the file that it is given (host path, beside the target) and
// says whether that worked; then it is brought to the disk and takes the target's name. false, with the
// target as it was, when anything fails. The file beside it has a name that no other file has.
bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write);
// The same where nobody else keeps files: the one beside it always has the same name, so that what a process
// that was killed leaves there does not pile up.
bool ReplaceOwnFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write);
// ReplaceFile with these bytes.
bool ReplaceFile(std::string const& target, std::string_view content);

}  // namespace app
