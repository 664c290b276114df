#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Reads and writes UTF-8 one character at a time (RFC 3629), for the conversions of this layer.
namespace platform {

constexpr char32_t not_a_character = 0xFFFFFFFF;

// Writes a unit of UTF-16 that is no surrogate as 1 to 3 bytes; result: the place behind them.
inline char* PutUtf8(std::uint16_t unit, char* out) noexcept {
    if (unit < 0x80) {
        *out++ = static_cast<char>(unit);
        return out;
    }
    if (unit < 0x800) {
        *out++ = static_cast<char>(0xC0 | unit >> 6);
    } else {
        *out++ = static_cast<char>(0xE0 | unit >> 12);
        *out++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    }
    *out++ = static_cast<char>(0x80 | (unit & 0x3F));
    return out;
}

// Reads the character at `at`, which must lie inside the text, and moves `at` behind it. A byte that starts
// no well-formed character is skipped alone and gives not_a_character.
inline char32_t TakeUtf8(std::string_view text, std::size_t& at) noexcept {
    auto const first = static_cast<unsigned char>(text[at++]);
    if (first < 0x80) return first;
    std::size_t const more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || text.size() - at < more) return not_a_character;
    char32_t character = first & (0x3F >> more);
    for (std::size_t i = 0; i < more; ++i) {
        auto const next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80) return not_a_character;
        character = character << 6 | (next & 0x3F);
    }
    constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
    bool const surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < smallest[more] || character > 0x10FFFF || surrogate) return not_a_character;
    at += more;
    return character;
}

}  // namespace platform
