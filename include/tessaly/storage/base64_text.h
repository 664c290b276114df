#pragma once

#include "tessaly/platform/export.h"

// Base64 of texts that end in a NUL. A null text counts as empty.

// Base64 with one fixed alphabet of the system's own and "=" padding; it turns random text into MIME
// boundaries. `out` gets a NUL behind it and holds (strlen(in) + 2) / 3 * 4 + 1 bytes.
TESSALY_API void abnbase64encoding(char* out, char const* in);
// The inverse, up to the first byte that is no symbol. `out` gets a NUL behind it and holds
// strlen(in) / 4 * 3 + 3 bytes. Result: the number of bytes in front of that NUL.
TESSALY_API long abnbase64decoding(char* out, char const* in);

// RFC 4648 Base64 without line breaks that ends like an encoded word, with "?=" behind its padding (RFC 2047
// 2). A text with two bytes left over ends in "=?=", one with one byte in "==?=", an empty one gives "?=".
// `out` gets a NUL behind it and holds strlen(in) / 3 * 4 + 13 bytes.
TESSALY_API void normal_base64encoding(char* out, char const* in);
