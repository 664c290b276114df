#pragma once

#include "tessaly/platform/export.h"

// Items of the version information of a file: of the library itself, or of a Windows program. `out` has room
// for `size` characters, the NUL included. All give 1 for success, and 0 with `out` untouched when the file
// has no version information or no such item, when the module is not loaded, or when the value does not fit
// `size`.

TESSALY_API int GetFileVerInfo(char const* path, char const* item, char* out, unsigned long int size);
// `module`: file name or path of a loaded module, null for the library itself.
TESSALY_API int GetModuleFileVerInfo(char const* module, char* item, char* out, unsigned long int size);

// The items "FileVersion" and "InternalName".
TESSALY_API int GetFileVersion(char const* path, char* out, unsigned long int size);
TESSALY_API int GetModuleFileVersion(char const* module, char* out, unsigned long int size);
TESSALY_API int GetFileInternalName(char const* path, char* out, unsigned long int size);
TESSALY_API int GetModuleFileInternalName(char const* module, char* out, unsigned long int size);
