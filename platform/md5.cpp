#include "tessaly/platform/md5.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/secrets.h"

namespace {

constexpr int words_per_block = md5_block_bytes / 4;
// Offset of the message's length in the last block.
constexpr std::size_t length_place = md5_block_bytes - 8;

// RFC 1321 3.4: T[i] is the integer part of 4294967296 * abs(sin(i)).
constexpr std::uint32_t sine_table[64] = {
    0xD76AA478, 0xE8C7B756, 0x242070DB, 0xC1BDCEEE, 0xF57C0FAF, 0x4787C62A, 0xA8304613, 0xFD469501,
    0x698098D8, 0x8B44F7AF, 0xFFFF5BB1, 0x895CD7BE, 0x6B901122, 0xFD987193, 0xA679438E, 0x49B40821,
    0xF61E2562, 0xC040B340, 0x265E5A51, 0xE9B6C7AA, 0xD62F105D, 0x02441453, 0xD8A1E681, 0xE7D3FBC8,
    0x21E1CDE6, 0xC33707D6, 0xF4D50D87, 0x455A14ED, 0xA9E3E905, 0xFCEFA3F8, 0x676F02D9, 0x8D2A4C8A,
    0xFFFA3942, 0x8771F681, 0x6D9D6122, 0xFDE5380C, 0xA4BEEA44, 0x4BDECFA9, 0xF6BB4B60, 0xBEBFBC70,
    0x289B7EC6, 0xEAA127FA, 0xD4EF3085, 0x04881D05, 0xD9D4D039, 0xE6DB99E5, 0x1FA27CF8, 0xC4AC5665,
    0xF4292244, 0x432AFF97, 0xAB9423A7, 0xFC93A039, 0x655B59C3, 0x8F0CCC92, 0xFFEFF47D, 0x85845DD1,
    0x6FA87E4F, 0xFE2CE6E0, 0xA3014314, 0x4E0811A1, 0xF7537E82, 0xBD3AF235, 0x2AD7D2BB, 0xEB86D391,
};
constexpr int rotations[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

std::uint32_t Mix(int round, std::uint32_t x, std::uint32_t y, std::uint32_t z) noexcept {
    switch (round) {
        case 0: return (x & y) | (~x & z);
        case 1: return (x & z) | (y & ~z);
        case 2: return x ^ y ^ z;
        default: return y ^ (x | ~z);
    }
}

int WordOf(int round, int step) noexcept {
    constexpr int factor[4] = {1, 5, 3, 7};
    constexpr int offset[4] = {0, 1, 5, 0};
    return (factor[round] * step + offset[round]) % words_per_block;
}

void TransformBytes(unsigned long* state, unsigned char const* block) {
    unsigned long words[words_per_block];
    Byte2DWord(words, block, md5_block_bytes);
    MD5Transform(state, words);
}

void Digest(unsigned char const* data, unsigned int size, unsigned char* digest) {
    MD5Context context;
    MD5Init(&context);
    MD5Update(&context, data, size);
    MD5Final(digest, &context);
}

void Hmac(unsigned char const* text, unsigned int text_size, unsigned char const* key, unsigned int key_size,
          unsigned char* digest) {
    // RFC 2104 2: a key longer than a block is replaced by its digest.
    unsigned char block_key[md5_block_bytes] = {};
    if (key_size > md5_block_bytes)
        Digest(key, key_size, block_key);
    else if (key_size > 0)
        std::memcpy(block_key, key, key_size);

    unsigned char inner_pad[md5_block_bytes];
    unsigned char outer_pad[md5_block_bytes];
    for (int i = 0; i < md5_block_bytes; ++i) {
        inner_pad[i] = static_cast<unsigned char>(block_key[i] ^ 0x36);
        outer_pad[i] = static_cast<unsigned char>(block_key[i] ^ 0x5C);
    }
    MD5Context context;
    MD5Init(&context);
    MD5Update(&context, inner_pad, md5_block_bytes);
    MD5Update(&context, text, text_size);
    MD5Final(digest, &context);
    MD5Init(&context);
    MD5Update(&context, outer_pad, md5_block_bytes);
    MD5Update(&context, digest, md5_digest_bytes);
    MD5Final(digest, &context);
    platform::WipeBytes(block_key, sizeof block_key);
    platform::WipeBytes(inner_pad, sizeof inner_pad);
    platform::WipeBytes(outer_pad, sizeof outer_pad);
}

std::string Hex(unsigned char const* digest) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (int i = 0; i < md5_digest_bytes; ++i) (text += digits[digest[i] >> 4]) += digits[digest[i] & 0x0F];
    return text;
}

unsigned char const* Bytes(std::string_view text) {
    return reinterpret_cast<unsigned char const*>(text.data());
}

}  // namespace

void DWord2Byte(unsigned char* bytes, unsigned long const* words, unsigned int size) {
    for (unsigned int i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(words[i / 4] >> (i % 4 * 8));
}

void Byte2DWord(unsigned long* words, unsigned char const* bytes, unsigned int size) {
    for (unsigned int i = 0; i + 4 <= size; i += 4)
        words[i / 4] = bytes[i] | static_cast<unsigned long>(bytes[i + 1]) << 8 |
                       static_cast<unsigned long>(bytes[i + 2]) << 16 |
                       static_cast<unsigned long>(bytes[i + 3]) << 24;
}

void MD5Transform(unsigned long* state, unsigned long const* block) {
    auto a = static_cast<std::uint32_t>(state[0]);
    auto b = static_cast<std::uint32_t>(state[1]);
    auto c = static_cast<std::uint32_t>(state[2]);
    auto d = static_cast<std::uint32_t>(state[3]);
    for (int i = 0; i < 64; ++i) {
        int const round = i / words_per_block;
        int const step = i % words_per_block;
        std::uint32_t const sum =
            a + Mix(round, b, c, d) + static_cast<std::uint32_t>(block[WordOf(round, step)]) + sine_table[i];
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, rotations[round][step % 4]);
    }
    std::uint32_t const worked[4] = {a, b, c, d};
    for (int i = 0; i < 4; ++i) state[i] = static_cast<std::uint32_t>(state[i] + worked[i]);
}

void MD5Init(MD5Context* context) {
    *context = {{0x67452301UL, 0xEFCDAB89UL, 0x98BADCFEUL, 0x10325476UL}, 0, {}};
}

void MD5Update(MD5Context* context, unsigned char const* data, unsigned int size) {
    std::size_t held = context->length % md5_block_bytes;
    context->length += size;
    while (size > 0) {
        if (held == 0 && size >= md5_block_bytes) {
            TransformBytes(context->state, data);
            data += md5_block_bytes;
            size -= md5_block_bytes;
            continue;
        }
        auto const part = static_cast<unsigned int>(std::min<std::size_t>(size, md5_block_bytes - held));
        std::memcpy(context->block + held, data, part);
        data += part;
        size -= part;
        held = (held + part) % md5_block_bytes;
        if (held == 0) TransformBytes(context->state, context->block);
    }
}

void MD5Final(unsigned char* digest, MD5Context* context) {
    std::uint64_t const bits = context->length * 8;
    unsigned char const end_mark = 0x80;
    unsigned char const zero = 0;
    MD5Update(context, &end_mark, 1);
    while (context->length % md5_block_bytes != length_place) MD5Update(context, &zero, 1);
    unsigned long const words[2] = {static_cast<std::uint32_t>(bits), static_cast<std::uint32_t>(bits >> 32)};
    unsigned char length_bytes[8];
    DWord2Byte(length_bytes, words, sizeof length_bytes);
    MD5Update(context, length_bytes, sizeof length_bytes);
    DWord2Byte(digest, context->state, md5_digest_bytes);
    platform::WipeBytes(context, sizeof *context);
}

void hmac_md5(unsigned char* text, int textLength, unsigned char* key, int keyLength, unsigned char* digest) {
    Hmac(text, static_cast<unsigned int>(std::max(textLength, 0)), key,
         static_cast<unsigned int>(std::max(keyLength, 0)), digest);
}

int XCMD5Encoder(char const* text, char* out) {
    if (!text) return 0;
    std::size_t const size = std::strlen(text);
    if (size > md5_longest_text) return 0;
    std::string const digits = platform::Md5Hex({text, size});
    std::copy(digits.begin(), digits.end(), out);
    out[md5_hex_digits] = 0;
    return 1;
}

namespace platform {

std::string Md5Hex(std::string_view text) {
    unsigned char digest[md5_digest_bytes];
    Digest(Bytes(text), static_cast<unsigned int>(text.size()), digest);
    return Hex(digest);
}

std::string HmacMd5Hex(std::string_view key, std::string_view text) {
    unsigned char digest[md5_digest_bytes];
    Hmac(Bytes(text), static_cast<unsigned int>(text.size()), Bytes(key),
         static_cast<unsigned int>(key.size()), digest);
    return Hex(digest);
}

}  // namespace platform
