#pragma once

#include <cstdint>
#include <string_view>

#include "platform/cstring.h"
#include "platform/export.h"

namespace platform {

TESSALY_API std::uint32_t ProcessId() noexcept;
TESSALY_API void SleepMilliseconds(unsigned milliseconds);

// Library path of a loaded module by its file name or path; null means this library's own file. Empty when it
// is not loaded.
TESSALY_API CString ModulePath(char const* module);
// Directory of the library's own file, with its closing backslash; the place of the transfer logs.
TESSALY_API CString ModuleDirectory();
// Puts another directory (host form) in its place, for an installation whose own directory cannot be written;
// empty ends it. To be called before other threads use the library.
TESSALY_API void SetModuleDirectory(std::string_view host_folder);

}  // namespace platform
