#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "text/kanji_arithmetic.h"

// A text as a range of bytes, and the copying of runs of single-byte characters eight bytes at a time.
namespace text {

struct ByteRange {
    Byte const* at;
    Byte const* end;

    explicit ByteRange(std::string_view text) noexcept
        : at(reinterpret_cast<Byte const*>(text.data())), end(at + text.size()) {}
    // A null text counts as empty.
    explicit ByteRange(char const* text) noexcept
        : ByteRange(text ? std::string_view(text) : std::string_view()) {}

    bool Empty() const noexcept { return at == end; }
    bool Holds(std::ptrdiff_t count) const noexcept { return end - at >= count; }
};

inline bool AllAscii(std::uint64_t word) noexcept { return (word & 0x8080808080808080) == 0; }

inline bool IsAscii(std::string_view text) noexcept {
    ByteRange rest(text);
    for (; rest.Holds(8); rest.at += 8) {
        std::uint64_t word;
        std::memcpy(&word, rest.at, sizeof word);
        if (!AllAscii(word)) return false;
    }
    for (; !rest.Empty(); ++rest.at)
        if (*rest.at >= 0x80) return false;
    return true;
}

// Copies the bytes below 0x80 at the start of `in` and moves `in` behind them. Result: the end of the copy.
inline char* CopyAscii(ByteRange& in, char* out) noexcept {
    while (in.Holds(8)) {
        std::uint64_t word;
        std::memcpy(&word, in.at, sizeof word);
        if (!AllAscii(word)) break;
        std::memcpy(out, &word, sizeof word);
        in.at += 8;
        out += 8;
    }
    while (!in.Empty() && *in.at < 0x80) *out++ = static_cast<char>(*in.at++);
    return out;
}

}  // namespace text
