#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace engine {

// The bytes of a file; for one that cannot be read throws Failure: `what` ("下書き" and the like) and its
// name.
std::string ReadWholeFile(std::string const& file, std::string const& what);

// Replaces a file in one step: `write` fills the file that it is given (host path, beside the target) and
// says whether that worked; then it is brought to the disk and takes the target's name. false, with the
// target as it was, when anything fails. A device is written where it is.
bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write);
// The same with these bytes.
bool ReplaceFile(std::string const& target, std::string_view content);

// Brings a file, or the names in a folder, to the disk; false on failure.
bool Sync(std::string const& path);
// The same with all that lies in a folder; true also where nothing is.
bool SyncAll(std::string const& path);

}  // namespace engine
