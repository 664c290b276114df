#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

namespace platform {

TESSALY_API std::uint32_t ProcessId() noexcept;
TESSALY_API void SleepMilliseconds(unsigned milliseconds);
// Test seam: SleepMilliseconds returns at once.
TESSALY_API void SkipSleeps(bool skip) noexcept;

// Runs a program, given by its library path, with these arguments, and waits for its end. In an argument a
// library path with a drive, at its start or behind "/x:", becomes the host's path. `stop`, if set, is called
// several times a second; the program is ended once it gives true. false when the program cannot be started
// or is ended by a signal; else `exit_code` is its result.
TESSALY_API bool RunProgram(CString const& program, std::vector<CString> const& arguments,
                            unsigned& exit_code, std::function<bool()> const& stop = {});

// Library path of a loaded module by its file name or path; null means this library's own file. Empty when
// the module is not loaded.
TESSALY_API CString ModulePath(char const* module);
// Directory of the library's own file, with its closing backslash; the place of the transfer logs.
TESSALY_API CString ModuleDirectory();
// Sets another directory (host form) instead, for an installation whose own directory cannot be written;
// empty ends that. To be called before other threads use the library.
TESSALY_API void SetModuleDirectory(std::string_view host_folder);

}  // namespace platform
