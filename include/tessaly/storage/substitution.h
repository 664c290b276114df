#pragma once

#include <cstddef>

#include "tessaly/platform/export.h"

// The substitution that scrambles table files: each byte is replaced through a table of 256 that leaves NUL,
// CR and LF as they are. The same plain byte always gives the same byte of one file.
//
// `src` and `dst` end in a NUL, and `dst` holds at least strlen(src) + 1 bytes; they may be the same. A null
// `src` counts as empty. All operations may be called from any thread.

// With a null key by the default table, else by the table of the key's row (GetKeyNumber).
TESSALY_API void StringEncode(unsigned char* src, unsigned char* dst, char* key);
TESSALY_API void StringDecode(unsigned char* src, unsigned char* dst, char* key);
// With a table of 256 bytes; null means the default one of the direction.
TESSALY_API void StringEncodeAppointTable(unsigned char* src, unsigned char* dst, unsigned char const* table);
TESSALY_API void StringDecodeAppointTable(unsigned char* src, unsigned char* dst, unsigned char const* table);
TESSALY_API unsigned char CharEncode(unsigned char c, unsigned char const* table);
TESSALY_API unsigned char CharDecode(unsigned char c, unsigned char const* table);

// The number of the key's row, one of 256. A null key counts as the empty one.
TESSALY_API int GetKeyNumber(char const* key);

namespace storage {

inline constexpr std::size_t random_string_length = 64;

}  // namespace storage

// Writes 64 random Base64 symbols to `out`, 65 bytes that the caller has zeroed. Seeds the runtime's random
// generator from the time and the process ID.
TESSALY_API void MakeRandomString(unsigned char* out);

namespace storage {

// Replaces the bytes of a buffer in place.
void Substitute(char* bytes, std::size_t size, unsigned char const* table) noexcept;

}  // namespace storage
