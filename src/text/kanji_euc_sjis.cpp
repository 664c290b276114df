#include "tessaly/text/kanji_codes.h"
#include "text/byte_runs.h"
#include "text/kanji_arithmetic.h"

namespace {

using text::Byte;
using text::ByteRange;

// The bytes below this one are single-byte characters in both codes.
constexpr Byte first_lead = 0x7F;

char* PutEucFromSj(Byte s1, Byte s2, char* out) noexcept {
    text::PutJis(s1, s2, out);
    out[0] = static_cast<char>(out[0] | 0x80);
    out[1] = static_cast<char>(out[1] | 0x80);
    return out + 2;
}

}  // namespace

char* ujtosj_core(char* out, char const* text) {
    if (!out) return nullptr;
    ByteRange in(text);
    char* at = out;
    while (!in.Empty()) {
        if (*in.at < first_lead) {
            *at++ = static_cast<char>(*in.at++);
            continue;
        }
        if (!in.Holds(2)) break;
        if (*in.at == text::euc_kana)
            *at++ = static_cast<char>(in.at[1]);
        else
            at = text::PutSj(in.at[0] & 0x7F, in.at[1] & 0x7F, at);
        in.at += 2;
    }
    *at = '\0';
    return out;
}

char* sjtouj_core(char* out, char const* text) {
    if (!out) return nullptr;
    ByteRange in(text);
    char* at = out;
    while (!in.Empty()) {
        Byte const c = *in.at;
        if (c < first_lead) {
            *at++ = static_cast<char>(c);
            ++in.at;
        } else if (text::IsHalfKana(c)) {
            *at++ = static_cast<char>(text::euc_kana);
            *at++ = static_cast<char>(c);
            ++in.at;
        } else {
            if (!in.Holds(2)) break;
            at = PutEucFromSj(c, in.at[1], at);
            in.at += 2;
        }
    }
    *at = '\0';
    return out;
}
