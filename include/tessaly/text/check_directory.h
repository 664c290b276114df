#pragma once

#include "tessaly/platform/export.h"

namespace text {

// Results of CheckDirectory. The two others of its interface, -2 and -3 for a current directory that cannot
// be read or set back, cannot come up: the current directory is not touched.
enum CheckDirectoryResult : int { directory_exists = 0, directory_missing = -1 };

}  // namespace text

// Whether `path` is a directory. A file, an empty path and a null one are not. May be called from any thread.
TESSALY_API int CheckDirectory(char const* path);
