#include "storage/key_symbols.h"

#include "storage/key_tables.h"
#include "tessaly/platform/base64_codec.h"

namespace storage {

std::string EncodeSymbols(std::string_view bytes, int row) {
    std::string symbols(platform::Base64EncodedSize(bytes.size()), '\0');
    symbols.resize(platform::Base64Encode(reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(),
                                          symbols.data(), CompoundKeyAlphabet(row)));
    while (symbols.ends_with('=')) symbols.pop_back();
    return symbols;
}

std::optional<std::string> DecodeSymbols(std::string_view symbols, int row) {
    int const* values = InverseCompoundKeyAlphabet(row);
    std::string bytes;
    unsigned held = 0;
    unsigned bits = 0;
    for (char const symbol : symbols) {
        auto const byte = static_cast<unsigned char>(symbol);
        int const value = byte < inverse_alphabet_size ? values[byte] : no_symbol;
        if (value == no_symbol) return std::nullopt;
        held = held << 6 | static_cast<unsigned>(value);
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes += static_cast<char>(held >> bits & 0xFF);
        held &= (1U << bits) - 1;
    }
    return bits < 6 && held == 0 ? std::optional(bytes) : std::nullopt;
}

}  // namespace storage
