#include "text/code_guess.h"

#include "text/byte_runs.h"
#include "text/kanji_arithmetic.h"

namespace text {
namespace {

constexpr bool Between(Byte c, Byte first, Byte last) noexcept { return c >= first && c <= last; }

bool IsJisDesignation(Byte intermediate, Byte final) noexcept {
    if (intermediate == '$') return final == 'B' || final == '@';
    return intermediate == '(' && (final == 'B' || final == 'J' || final == 'I');
}

// Bytes of the Shift-JIS or EUC-JP character at the start of a text that is not empty, 0 if there is none.
int SjisPair(ByteRange in) noexcept {
    bool const lead = Between(*in.at, 0x81, 0x9F) || Between(*in.at, 0xE0, 0xFC);
    if (!lead || !in.Holds(2)) return 0;
    return Between(in.at[1], 0x40, 0x7E) || Between(in.at[1], 0x80, 0xFC) ? 2 : 0;
}

int EucCharacter(ByteRange in) noexcept {
    if (!in.Holds(2)) return 0;
    if (Between(*in.at, 0xA1, 0xFE) && Between(in.at[1], 0xA1, 0xFE)) return 2;
    if (*in.at == euc_kana && IsHalfKana(in.at[1])) return 2;
    if (*in.at != euc_supplementary || !in.Holds(3)) return 0;
    return Between(in.at[1], 0xFA, 0xFE) && Between(in.at[2], 0xFA, 0xFE) ? 3 : 0;
}

}  // namespace

ControlSigns FindControlSigns(std::string_view text) noexcept {
    ControlSigns signs = ControlSigns::none;
    for (ByteRange in(text); !in.Empty(); ++in.at) {
        Byte const c = *in.at;
        if (c == shift_out || c == shift_in) return ControlSigns::jis;
        if (c == escape && in.Holds(3) && IsJisDesignation(in.at[1], in.at[2])) return ControlSigns::jis;
        if (c < 0x07 || c == 0x7F || c == 0xFF) return ControlSigns::binary;
        if (c == escape || c >= 0x80) signs = ControlSigns::eight_bit_or_escape;
    }
    return signs;
}

std::size_t CountSjisBytes(std::string_view text) noexcept {
    std::size_t count = 0;
    for (ByteRange in(text); !in.Empty();) {
        if (int const size = SjisPair(in)) {
            count += static_cast<std::size_t>(size);
            in.at += size;
        } else if (IsHalfKana(*in.at)) {
            Byte const* const start = in.at;
            while (!in.Empty() && IsHalfKana(*in.at)) ++in.at;
            auto const length = static_cast<std::size_t>(in.at - start);
            if (length % 2 == 1) count += length;
        } else {
            ++in.at;
        }
    }
    return count;
}

std::size_t CountEucBytes(std::string_view text) noexcept {
    std::size_t count = 0;
    for (ByteRange in(text); !in.Empty();) {
        int const size = EucCharacter(in);
        count += static_cast<std::size_t>(size);
        in.at += size ? size : 1;
    }
    return count;
}

}  // namespace text
