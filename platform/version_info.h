#pragma once

#include "tessaly/platform/cstring.h"

namespace platform {

// One item ("FileVersion", "InternalName", ...) of the version information of a file: of the block that the
// build puts into the library itself, or of a Windows program's version resource (first entry of its
// translation table). The value comes in code page 932. false for any other file and for an item that is not
// there.
bool VersionItem(char const* path, char const* item, CString& value);

}  // namespace platform
