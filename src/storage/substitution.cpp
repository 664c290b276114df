#include "tessaly/storage/substitution.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/clock.h"
#include "storage/key_tables.h"
#include "tessaly/platform/md5.h"
#include "tessaly/platform/process.h"
#include "tessaly/storage/base64_text.h"

namespace {

void Convert(unsigned char const* src, unsigned char* dst, unsigned char const* table) {
    if (src)
        for (; *src; ++src) *dst++ = table[*src];
    *dst = 0;
}

}  // namespace

void StringEncode(unsigned char* src, unsigned char* dst, char* key) {
    Convert(src, dst, key ? storage::EncodeTable(GetKeyNumber(key)) : storage::DefaultEncodeTable());
}

void StringDecode(unsigned char* src, unsigned char* dst, char* key) {
    Convert(src, dst, key ? storage::DecodeTable(GetKeyNumber(key)) : storage::DefaultDecodeTable());
}

void StringEncodeAppointTable(unsigned char* src, unsigned char* dst, unsigned char const* table) {
    Convert(src, dst, table ? table : storage::DefaultEncodeTable());
}

void StringDecodeAppointTable(unsigned char* src, unsigned char* dst, unsigned char const* table) {
    Convert(src, dst, table ? table : storage::DefaultDecodeTable());
}

unsigned char CharEncode(unsigned char c, unsigned char const* table) {
    return table ? table[c] : storage::DefaultEncodeTable()[c];
}

unsigned char CharDecode(unsigned char c, unsigned char const* table) {
    return table ? table[c] : storage::DefaultDecodeTable()[c];
}

int GetKeyNumber(char const* key) {
    char digits[md5_hex_digits + 1] = {};
    XCMD5Encoder(key ? key : "", digits);
    unsigned char const* constant = storage::KeyNumberConstant();
    int sum = 0;
    for (int i = 1; i < md5_hex_digits; i += 2) sum += static_cast<unsigned char>(digits[i]) ^ constant[i];
    return sum % storage::key_rows;
}

void MakeRandomString(unsigned char* out) {
    constexpr std::size_t source_bytes = 128;
    std::srand(static_cast<unsigned>(platform::Now().seconds) + platform::ProcessId());
    char source[source_bytes + 1] = {};
    for (std::size_t i = 0; i < source_bytes;) {
        source[i] = static_cast<char>(std::rand() & 0xFF);
        if (source[i]) ++i;
    }
    char encoded[source_bytes / 3 * 4 + 13];
    normal_base64encoding(encoded, source);
    char* const end =
        std::remove_if(encoded, encoded + std::strlen(encoded), [](char c) { return c == '=' || c == '?'; });
    std::memcpy(out, encoded,
                std::min(storage::random_string_length, static_cast<std::size_t>(end - encoded)));
}

namespace storage {

void Substitute(char* bytes, std::size_t size, unsigned char const* table) noexcept {
    auto* at = reinterpret_cast<unsigned char*>(bytes);
    std::size_t i = 0;
    // Eight bytes are written by one store.
    for (; i + 8 <= size; i += 8) {
        std::uint64_t in;
        std::uint64_t out = 0;
        std::memcpy(&in, at + i, 8);
        for (int shift = 0; shift < 64; shift += 8)
            out |= std::uint64_t{table[(in >> shift) & 0xFF]} << shift;
        std::memcpy(at + i, &out, 8);
    }
    for (; i < size; ++i) at[i] = table[at[i]];
}

}  // namespace storage
