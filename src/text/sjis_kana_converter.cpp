#include "tessaly/text/sjis_kana_converter.h"

#include "text/byte_runs.h"
#include "text/kana_forms.h"

namespace {

using text::Byte;
using text::ByteRange;

// Bytes that form a pair with the byte behind them; here also 0x80 and the bytes behind 0xFC.
constexpr bool OpensPair(Byte c) noexcept { return (c >= 0x80 && c < text::first_kana) || c >= 0xE0; }

// Calls `put` with the two-byte pieces and the single bytes of the converted text. false at a cut character.
template <class PutPair, class PutSingle>
bool Walk(ByteRange in, PutPair put_pair, PutSingle put_single) {
    while (!in.Empty()) {
        Byte const c = *in.at;
        bool const last = !in.Holds(2);
        if (OpensPair(c)) {
            if (last) return false;
            put_pair(reinterpret_cast<char const*>(in.at));
            in.at += 2;
        } else if (c > text::first_kana) {
            int used;
            put_pair(text::KanaForm(text::sj_kana_forms, c, last ? Byte{0} : in.at[1], used));
            in.at += used;
        } else {
            put_single(static_cast<char>(c));
            ++in.at;
        }
    }
    return true;
}

}  // namespace

CSjisKanaConverter::~CSjisKanaConverter() = default;

int CSjisKanaConverter::ConvertKana(char const* text, char* out) {
    auto const put_pair = [&out](char const* pair) {
        *out++ = pair[0];
        *out++ = pair[1];
    };
    if (!Walk(ByteRange(text), put_pair, [&out](char single) { *out++ = single; })) return cut_character;
    *out = '\0';
    return converted;
}

int CSjisKanaConverter::GetSizeAfterConvertKana(char const* text, unsigned long int& size) {
    unsigned long count = 0;
    auto const put_pair = [&count](char const*) { count += 2; };
    if (!Walk(ByteRange(text), put_pair, [&count](char) { ++count; })) return cut_character;
    size = count;
    return converted;
}
