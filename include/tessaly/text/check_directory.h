#pragma once

#include "tessaly/platform/export.h"

namespace text {

// Results of CheckDirectory. The values -2 and -3 of its interface, for a current directory that cannot be
// read or set back, do not occur: the current directory does not change.
enum CheckDirectoryResult : int { directory_exists = 0, directory_missing = -1 };

}  // namespace text

// Whether `path` is a directory. A file, an empty path and a null one are not. May be called from any thread.
TESSALY_API int CheckDirectory(char const* path);
