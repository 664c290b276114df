#pragma once

#include "tessaly/platform/cstring.h"

namespace mime {

// A new boundary (RFC 2046 5.1.1): `front`, the local time as YYYYMMDDhhmmss and three digits of
// milliseconds, "_", a few random characters, `back`. Every call draws again, so that a boundary that occurs
// in a part can be replaced at once; any thread may call it.
CString NewBoundary(char const* front, char const* back);

}  // namespace mime
