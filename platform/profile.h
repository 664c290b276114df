#pragma once

#include "platform/export.h"

// Profile (.ini) files as Windows reads them: sections in brackets, key=value lines, names without regard to
// case, blanks around names and values dropped, one pair of quotes around a value dropped, lines that begin
// with ";" passed over. Paths are library paths; text stays in code page 932.
namespace platform {

// The number at the start of the value (0 for a value that has none), or `default_value` when the key is
// missing.
TESSALY_API unsigned GetPrivateProfileInt(char const* section, char const* key, int default_value,
                                          char const* file);
// Writes at most `size` - 1 bytes and a NUL to `out`; a longer value is cut there, never inside a double-byte
// character. Result: bytes written without the NUL. A null `default_value` counts as empty.
TESSALY_API unsigned GetPrivateProfileString(char const* section, char const* key, char const* default_value,
                                             char* out, unsigned size, char const* file);
// Sets one value, making file and section as needed; everything else in the file stays as it is. A null
// `value` removes the key, a null `key` the section. Non-zero for success.
TESSALY_API int WritePrivateProfileString(char const* section, char const* key, char const* value,
                                          char const* file);

}  // namespace platform
