#include "tessaly/storage/base64_text.h"

#include <cstdint>
#include <cstring>

#include "storage/key_tables.h"
#include "tessaly/platform/base64_codec.h"

namespace {

constexpr char word_end[] = "?=";

std::size_t Encode(char* out, char const* in, char const* alphabet) {
    std::size_t const size = in ? std::strlen(in) : 0;
    return platform::Base64Encode(reinterpret_cast<unsigned char const*>(in), size, out, alphabet);
}

}  // namespace

void abnbase64encoding(char* out, char const* in) { out[Encode(out, in, storage::BoundaryAlphabet())] = 0; }

long abnbase64decoding(char* out, char const* in) {
    int const* values = storage::InverseBoundaryAlphabet();
    std::uint32_t bits = 0;
    int held = 0;  // bits of `bits` that were not written yet
    long written = 0;
    for (; in && *in; ++in) {
        auto const byte = static_cast<unsigned char>(*in);
        int const value = byte < storage::inverse_alphabet_size ? values[byte] : storage::no_symbol;
        if (value == storage::no_symbol) break;
        bits = (bits << 6 | static_cast<std::uint32_t>(value)) & 0xFFFF;
        held += 6;
        if (held < 8) continue;
        held -= 8;
        out[written++] = static_cast<char>(bits >> held);
    }
    out[written] = 0;
    return written;
}

void normal_base64encoding(char* out, char const* in) {
    std::size_t const length = Encode(out, in, nullptr);
    std::memcpy(out + length, word_end, sizeof word_end);
}
