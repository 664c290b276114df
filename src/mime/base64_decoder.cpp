#include "mime/base64_decoder.h"

#include <algorithm>
#include <cstring>

namespace mime {
namespace {

unsigned char const* Bytes(char const* text) { return reinterpret_cast<unsigned char const*>(text); }

// The first `count` (1 to 4) characters of a group, padded; a '=' ends the text. Result: bytes written, 0
// to 3.
std::size_t DecodeLastGroup(unsigned char const* characters, std::size_t count, char* out) {
    unsigned char group[4] = {'=', '=', '=', '='};
    std::memcpy(group, characters, count);
    const std::size_t pad = static_cast<std::size_t>(std::find(group, group + 4, '=') - group);
    const std::size_t bytes = pad > 1 ? pad - 1 : 0;
    PutBase64Bytes(Base64Group(group), bytes, out);
    return bytes;
}

}  // namespace

std::size_t DecodeBase64(std::string_view in, char* out) noexcept {
    unsigned char const* place = Bytes(in.data());
    char* const start = out;
    std::size_t left = in.size();
    for (; left >= 4; left -= 4, place += 4, out += 3) {
        const std::uint32_t bits = Base64Group(place);
        if (bits & base64_pad) break;
        PutBase64Bytes(bits, 3, out);
    }
    if (left > 0) out += DecodeLastGroup(place, std::min<std::size_t>(left, 4), out);
    return static_cast<std::size_t>(out - start);
}

std::size_t DecodeBase64Body(std::string_view in, char* out) noexcept {
    unsigned char const* place = Bytes(in.data());
    unsigned char const* const end = place + in.size();
    char* const start = out;
    unsigned char group[4];
    std::size_t held = 0;
    while (place < end) {
        if (held == 0) {
            for (; end - place >= 4; place += 4, out += 3) {
                const std::uint32_t bits = Base64Group(place);
                if (bits >= base64_pad) break;
                PutBase64Bytes(bits, 3, out);
            }
            if (place == end) break;
        }
        unsigned char const c = *place++;
        if (base64_places[0][c] == base64_foreign) continue;
        group[held++] = c;
        if (held < 4) continue;
        const std::size_t bytes = DecodeLastGroup(group, 4, out);
        out += bytes;
        held = 0;
        if (bytes < 3) break;
    }
    if (held > 0) out += DecodeLastGroup(group, held, out);
    return static_cast<std::size_t>(out - start);
}

}  // namespace mime
