#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Directories by library paths (platform/path.h). The functions do not use the process's current directory;
// two threads may call them at once for different directories.

namespace text {

// Results of MakeDirectoryCompel.
enum MakeDirectoryResult {
    make_directory_ok = 0,
    make_directory_failed = -1,    // a level cannot be made
    make_directory_bad_name = -2,  // CheckDirectoryName refuses the path
};
// Results of RemoveDirectoryCompel and ClearDirectoryCompel.
enum RemoveDirectoryResult {
    remove_directory_ok = 0,
    remove_directory_failed = -1,    // the last removal failed
    remove_directory_no_entry = -2,  // the path is no directory
};

}  // namespace text

// 1 when the path is valid as a directory name, else 0: it has a drive, no double slash, no blank at the end
// of it or of one of its names, and none of : * ? < > | in a name.
TESSALY_API int CheckDirectoryName(char const* path);

// Makes the directory and all its parents.
TESSALY_API int MakeDirectoryCompel(char const* path);

// Deletes everything below `path`, and `path` itself with non-zero `removeSelf`. Sub-directories whose name
// begins with a dot stay with all their content. A link to a directory is removed, its target stays. The
// result is that of the last removal only; 0 when there was nothing to remove.
TESSALY_API int RemoveDirectoryCompel(char const* path, int removeSelf);
// RemoveDirectoryCompel(path, 0).
TESSALY_API int ClearDirectoryCompel(char const* path);

// Replaces double backslashes and double slashes by one, until none is left. The second byte of a double-byte
// character is no backslash.
TESSALY_API void PathFix(CString& path);
