#pragma once

#include <cstdint>
#include <string_view>

#include "platform/cstring.h"
#include "platform/export.h"

namespace platform {

TESSALY_API std::uint32_t ProcessId() noexcept;
TESSALY_API void SleepMilliseconds(unsigned milliseconds);
// Test seam: SleepMilliseconds returns at once.
TESSALY_API void SkipSleeps(bool skip) noexcept;

// Runs a program, given by its library path, and waits for its end. `command_line` holds its arguments as on
// the system that the library comes from: divided by blanks, double quotes around what holds some. In an
// argument a library path with a drive, at its start or behind "/x:", becomes the host's path. false when the
// program cannot be started or does not end by itself; else `exit_code` is what it gave.
TESSALY_API bool RunProgram(CString const& program, CString const& command_line, unsigned& exit_code);

// Library path of a loaded module by its file name or path; null means this library's own file. Empty when it
// is not loaded.
TESSALY_API CString ModulePath(char const* module);
// Directory of the library's own file, with its closing backslash; the place of the transfer logs.
TESSALY_API CString ModuleDirectory();
// Puts another directory (host form) in its place, for an installation whose own directory cannot be written;
// empty ends it. To be called before other threads use the library.
TESSALY_API void SetModuleDirectory(std::string_view host_folder);

}  // namespace platform
