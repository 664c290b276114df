#include "tessaly/platform/base64_codec.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace platform {
namespace {

constexpr char standard_alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The two characters of every 12-bit value, so that three bytes take two look-ups instead of four.
using PairTable = std::array<std::array<char, 2>, 4096>;
constexpr PairTable MakePairs() {
    PairTable pairs{};
    for (std::size_t value = 0; value < pairs.size(); ++value)
        pairs[value] = {standard_alphabet[value >> 6], standard_alphabet[value & 0x3F]};
    return pairs;
}
constexpr PairTable pairs = MakePairs();

void PutPair(std::uint64_t twelve_bits, char* out) { std::memcpy(out, pairs[twelve_bits & 0xFFF].data(), 2); }

std::uint64_t LoadBigEndian(unsigned char const* in) {
    std::uint64_t word;
    std::memcpy(&word, in, sizeof word);
    if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    return word;
}

// Six bytes at a time, as long as a load of eight stays inside the input. Result: bytes of input that were
// encoded.
std::size_t EncodeStandardBlocks(unsigned char const* in, std::size_t size, char* out) {
    std::size_t done = 0;
    for (; size - done >= 8; done += 6, out += 8) {
        std::uint64_t const word = LoadBigEndian(in + done);
        PutPair(word >> 52, out);
        PutPair(word >> 40, out + 2);
        PutPair(word >> 28, out + 4);
        PutPair(word >> 16, out + 6);
    }
    return done;
}

}  // namespace

std::size_t Base64Encode(unsigned char const* in, std::size_t size, char* out,
                         char const* alphabet) noexcept {
    std::size_t done = alphabet ? 0 : EncodeStandardBlocks(in, size, out);
    char const* const symbols = alphabet ? alphabet : standard_alphabet;
    char* place = out + done / 3 * 4;
    for (; size - done >= 3; done += 3, place += 4) {
        unsigned const group = static_cast<unsigned>(in[done] << 16 | in[done + 1] << 8 | in[done + 2]);
        place[0] = symbols[group >> 18];
        place[1] = symbols[group >> 12 & 0x3F];
        place[2] = symbols[group >> 6 & 0x3F];
        place[3] = symbols[group & 0x3F];
    }
    std::size_t const left = size - done;
    if (left > 0) {
        unsigned const group = static_cast<unsigned>(in[done] << 16 | (left > 1 ? in[done + 1] << 8 : 0));
        place[0] = symbols[group >> 18];
        place[1] = symbols[group >> 12 & 0x3F];
        place[2] = left > 1 ? symbols[group >> 6 & 0x3F] : '=';
        place[3] = '=';
    }
    return Base64EncodedSize(size);
}

std::string Base64Of(std::string_view bytes) {
    std::string base64(Base64EncodedSize(bytes.size()), '\0');
    Base64Encode(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), base64.data());
    return base64;
}

}  // namespace platform
