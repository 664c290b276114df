#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "tessaly/platform/export.h"

// MD5 (RFC 1321) and HMAC-MD5 (RFC 2104), the only implementations of the system.

inline constexpr int md5_digest_bytes = 16;
inline constexpr int md5_block_bytes = 64;
inline constexpr int md5_hex_digits = 32;
inline constexpr std::size_t md5_longest_text = 0x1FFFFFBF;  // bytes of a text for XCMD5Encoder

struct MD5Context {
    unsigned long state[4];  // 32 bits used of each
    std::uint64_t length;    // bytes taken so far
    unsigned char block[md5_block_bytes];
};

TESSALY_API void MD5Init(MD5Context* context);
TESSALY_API void MD5Update(MD5Context* context, unsigned char const* data, unsigned int size);
// Writes the 16 bytes of the digest and wipes the context.
TESSALY_API void MD5Final(unsigned char* digest, MD5Context* context);
// Adds one block of 16 words to the state of 4 words. 32 bits count of each word.
TESSALY_API void MD5Transform(unsigned long* state, unsigned long const* block);
// Words to bytes and back, the low byte first; `size` is the number of bytes, a multiple of 4.
TESSALY_API void DWord2Byte(unsigned char* bytes, unsigned long const* words, unsigned int size);
TESSALY_API void Byte2DWord(unsigned long* words, unsigned char const* bytes, unsigned int size);

// 16 bytes into `digest`. A negative length counts as 0.
TESSALY_API void hmac_md5(unsigned char* text, int textLength, unsigned char* key, int keyLength,
                          unsigned char* digest);

// The MD5 of a text as 32 lower-case hexadecimal digits and a NUL in `out`. Result: 1; 0, with `out`
// untouched, for a text of more than md5_longest_text bytes and for a null one.
TESSALY_API int XCMD5Encoder(char const* text, char* out);

namespace platform {

// The MD5 in lower-case hexadecimal digits.
TESSALY_API std::string Md5Hex(std::string_view text);
TESSALY_API std::string HmacMd5Hex(std::string_view key, std::string_view text);

}  // namespace platform
