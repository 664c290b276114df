#pragma once

#include <string>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Paths inside the library have the form C:\dir\name.dat in code page 932; the host's own form exists only
// below this layer. A drive letter stands for a host folder, "/" unless mapped. Backslash and slash both
// divide, and a divider byte inside a double-byte character does not. Names become UTF-8; a name with bytes
// that make no character in code page 932 keeps those bytes on the host unchanged.
namespace platform {

// Maps a drive letter (either case) to a host folder; an empty folder unmaps it. Anything but a letter does
// nothing.
TESSALY_API void MapDrive(char letter, std::string_view host_folder);
// A path without a drive is relative to the root of the drive C. The empty path stays empty.
TESSALY_API std::string HostPath(std::string_view library_path);
// The inverse, by the mapped drives first (longest folder wins) and else under C:, or the next free letter if
// C is mapped. A relative host path is made absolute. `exact`, unless null, is false when a name has no form
// in code page 932, so that the result does not lead back to the same file (it is then not usable).
TESSALY_API CString LibraryPath(std::string_view host_path, bool* exact = nullptr);

}  // namespace platform
