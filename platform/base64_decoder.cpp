#include "platform/base64_decoder.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

unsigned char const* Bytes(char const* text) { return reinterpret_cast<unsigned char const*>(text); }

// The first `count` (1 to 4) characters of a group, padded; a '=' ends the text. Result: bytes written, 0
// to 3.
std::size_t DecodeLastGroup(unsigned char const* characters, std::size_t count, char* out) {
    unsigned char group[4] = {'=', '=', '=', '='};
    std::memcpy(group, characters, count);
    std::size_t const pad = static_cast<std::size_t>(std::find(group, group + 4, '=') - group);
    std::size_t const bytes = pad > 1 ? pad - 1 : 0;
    PutBase64Bytes(Base64Group(group), bytes, out);
    return bytes;
}

}  // namespace

std::size_t DecodeBase64(std::string_view in, char* out) noexcept {
    unsigned char const* place = Bytes(in.data());
    char* const start = out;
    std::size_t left = in.size();
    for (; left >= 4; left -= 4, place += 4, out += 3) {
        std::uint32_t const bits = Base64Group(place);
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
                std::uint32_t const bits = Base64Group(place);
                if (bits >= base64_pad) break;
                PutBase64Bytes(bits, 3, out);
            }
            if (place == end) break;
        }
        unsigned char const c = *place++;
        if (base64_places[0][c] == base64_foreign) continue;
        group[held++] = c;
        if (held < 4) continue;
        std::size_t const bytes = DecodeLastGroup(group, 4, out);
        out += bytes;
        held = 0;
        if (bytes < 3) break;
    }
    if (held > 0) out += DecodeLastGroup(group, held, out);
    return static_cast<std::size_t>(out - start);
}

int DecodeBase64Strictly(std::string_view in, char* out, std::size_t most) noexcept {
    constexpr int bad_text = -1;
    if (in.starts_with("+ ")) in.remove_prefix(2);
    unsigned char const* place = Bytes(in.data());
    unsigned char const* const end = place + in.size();
    std::size_t written = 0;
    for (; end - place >= 4 && most - written >= 3; place += 4, written += 3) {
        std::uint32_t const bits = Base64Group(place);
        if (bits >= base64_pad) break;
        PutBase64Bytes(bits, 3, out + written);
    }
    while (place < end && *place != '\r') {
        if (end - place < 4) return bad_text;
        std::uint32_t const bits = Base64Group(place);
        if (bits & base64_foreign || place[0] == '=' || place[1] == '=') return bad_text;
        // A '=' in the third place alone does not end the text: the fourth character decides.
        std::size_t const count = place[2] == '=' ? 1 : place[3] == '=' ? 2 : 3;
        if (count > most - written) {
            PutBase64Bytes(bits, most - written, out + written);
            return bad_text;
        }
        PutBase64Bytes(bits, count, out + written);
        written += count;
        if (place[3] == '=') break;
        place += 4;
    }
    return static_cast<int>(written);
}

bool FromBase64(std::string_view base64, std::string& bytes) {
    constexpr std::string_view blanks = " \t";
    base64.remove_prefix(std::min(base64.find_first_not_of(blanks), base64.size()));
    base64 = base64.substr(0, base64.find_last_not_of(blanks) + 1);
    bytes.assign(base64.size() / 4 * 3, '\0');
    int const size = DecodeBase64Strictly(base64, bytes.data(), bytes.size());
    if (size < 0) return false;
    bytes.resize(static_cast<std::size_t>(size));
    return true;
}

}  // namespace platform
