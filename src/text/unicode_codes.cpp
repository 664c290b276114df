#include "text/unicode_codes.h"

#include <array>

#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/utf8.h"

namespace text {
namespace {

constexpr std::uint16_t blank = 0x20;

// The UTF-8 form of a byte and the one behind it: the bytes in their order from the lowest on, then their
// number, then the number of source bytes used.
struct Utf8Form {
    std::uint32_t bits = 0;

    Utf8Form() = default;
    Utf8Form(std::uint16_t unit, unsigned source_bytes) noexcept {
        char bytes[3];
        auto const size = static_cast<unsigned>(platform::PutUtf8(unit, bytes) - bytes);
        for (unsigned i = 0; i < size; ++i) bits |= std::uint32_t{static_cast<Byte>(bytes[i])} << 8 * i;
        bits |= size << 24 | source_bytes << 28;
    }
    unsigned Size() const noexcept { return bits >> 24 & 0xF; }
    unsigned SourceBytes() const noexcept { return bits >> 28; }
    char At(unsigned i) const noexcept { return static_cast<char>(bits >> 8 * i & 0xFF); }
    // The usual case: three bytes for a double-byte character.
    bool IsThreeForTwo() const noexcept { return bits >> 24 == 0x23; }
};

struct UnicodeTables {
    std::array<std::uint16_t, 0x10000> code_of_unit;  // 0 for the unit 0 only
    std::array<Utf8Form, 0x10000> utf8_of_pair;       // by two bytes of source, the first one higher

    UnicodeTables() noexcept {
        for (unsigned unit = 0; unit < 0x10000; ++unit) {
            std::uint16_t const code = platform::Cp932Of(static_cast<std::uint16_t>(unit));
            code_of_unit[unit] = code || unit == 0 ? code : blank;
        }
        for (unsigned pair = 0; pair < 0x10000; ++pair) {
            char const bytes[] = {static_cast<char>(pair >> 8), static_cast<char>(pair & 0xFF)};
            ByteRange in(std::string_view(bytes, sizeof bytes));
            std::uint16_t unit = blank;
            TakeSjUnit(in, unit);
            utf8_of_pair[pair] = Utf8Form(unit, in.Holds(1) ? 1 : 2);
        }
    }
};

UnicodeTables const& Tables() noexcept {
    static UnicodeTables const tables;
    return tables;
}

// The usual run: sequences of three bytes, each giving a double-byte character.
char* TakeThreeByteRun(UnicodeTables const& tables, ByteRange& in, char* out) noexcept {
    while (in.Holds(3) && *in.at >= 0xE0) {
        unsigned const unit = (in.at[0] & 0xFu) << 12 | (in.at[1] & 0x3Fu) << 6 | (in.at[2] & 0x3Fu);
        std::uint16_t const code = tables.code_of_unit[unit];
        if (code <= 0xFF) break;
        out[0] = static_cast<char>(code >> 8);
        out[1] = static_cast<char>(code & 0xFF);
        out += 2;
        in.at += 3;
    }
    return out;
}

// The usual run: double-byte characters, each giving three bytes. A fourth byte is written too, and
// overwritten by the next character.
char* TakePairRun(UnicodeTables const& tables, ByteRange& in, char* out) noexcept {
    while (in.Holds(2)) {
        Utf8Form const form = tables.utf8_of_pair[unsigned{in.at[0]} << 8 | in.at[1]];
        if (!form.IsThreeForTwo()) break;
        for (unsigned i = 0; i < 4; ++i) out[i] = form.At(i);
        out += 3;
        in.at += 2;
    }
    return out;
}

}  // namespace

std::uint16_t SjCodeOfUnit(std::uint16_t unit) noexcept { return Tables().code_of_unit[unit]; }

bool TakeSjUnit(ByteRange& in, std::uint16_t& unit) noexcept {
    Byte const first = *in.at;
    bool const lead = platform::IsLeadByte(first);
    if (lead && !in.Holds(2)) return false;
    bool const pair = lead && platform::IsTrailByte(in.at[1]);
    unit = platform::UnicodeOf(static_cast<std::uint16_t>(pair ? first << 8 | in.at[1] : first));
    if (unit == 0) unit = blank;
    in.at += pair ? 2 : 1;
    return true;
}

char* SjFromUtf8(std::string_view utf8, char* out) noexcept {
    UnicodeTables const& tables = Tables();
    ByteRange in(utf8);
    ByteRange const start = in;
    std::uint16_t unit = 0;
    if (!in.Empty() && TakeUnit(in, unit) && !IsByteOrderMark(unit)) in = start;
    while (!in.Empty()) {
        out = CopyAscii(in, out);
        out = TakeThreeByteRun(tables, in, out);
        if (in.Empty() || !TakeUnit(in, unit) || unit == 0) break;
        out = PutCode(tables.code_of_unit[unit], out);
    }
    return out;
}

char* Utf8FromSj(std::string_view sj, char* out) noexcept {
    UnicodeTables const& tables = Tables();
    ByteRange in(sj);
    while (!in.Empty()) {
        out = CopyAscii(in, out);
        out = TakePairRun(tables, in, out);
        if (in.Empty() || (!in.Holds(2) && platform::IsLeadByte(*in.at))) break;
        unsigned const second = in.Holds(2) ? in.at[1] : 0;
        Utf8Form const form = tables.utf8_of_pair[unsigned{in.at[0]} << 8 | second];
        for (unsigned i = 0; i < form.Size(); ++i) *out++ = form.At(i);
        in.at += form.SourceBytes();
    }
    return out;
}

}  // namespace text
