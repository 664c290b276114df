#include "mime/quoted_printable.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "tessaly/mime/transfer_encodings.h"

namespace mime {
namespace {

// The encoded form of a byte: the characters, the last one filling up to a whole store, and their number.
struct QuotedForm {
    std::array<char, 4> characters;
    std::uint32_t length;
};

constexpr bool IsPlain(unsigned char c) { return c >= 32 && c <= 126 && c != '='; }
constexpr bool IsLineEnd(unsigned char c) { return c == '\r' || c == '\n'; }

constexpr std::array<QuotedForm, 256> forms = [] {
    std::array<QuotedForm, 256> table{};
    constexpr char digits[] = "0123456789ABCDEF";
    for (std::size_t c = 0; c < 256; ++c)
        table[c] = IsPlain(static_cast<unsigned char>(c))
                       ? QuotedForm{{static_cast<char>(c), 0, 0, 0}, 1}
                       : QuotedForm{{'=', digits[c >> 4], digits[c & 15], 0}, 3};
    return table;
}();

constexpr std::string_view soft_break = "=\r\n";

// Values of a pair of digits, in parts that are or-ed; negative if either is no digit.
struct DigitPlaces {
    std::array<std::int16_t, 256> high, low;
};
constexpr DigitPlaces digit_places = [] {
    DigitPlaces places{};
    for (std::size_t c = 0; c < 256; ++c) {
        places.high[c] = static_cast<std::int16_t>(hex_values[c] < 0 ? -1 : hex_values[c] * 16);
        places.low[c] = hex_values[c];
    }
    return places;
}();

}  // namespace

// Room for its characters, a soft line break behind each 73 or more of them, and slack for whole stores.
std::size_t QuotedPrintableRoom(std::string_view in) noexcept {
    std::size_t characters = in.size();
    for (char const byte : in) characters += IsPlain(static_cast<unsigned char>(byte)) ? 0 : 2;
    std::size_t const most_breaks = characters / (quoted_line_limit - 2);
    return characters + most_breaks * soft_break.size() + sizeof(QuotedForm::characters);
}

std::size_t EncodeQuotedPrintable(std::string_view in, char* out) noexcept {
    char* place = out;
    std::size_t column = 0;
    for (char const byte : in) {
        unsigned char const c = static_cast<unsigned char>(byte);
        if (IsLineEnd(c)) {
            *place++ = byte;
            column = 0;
            continue;
        }
        QuotedForm const& form = forms[c];
        if (column + form.length > quoted_line_limit) {
            place = std::copy(soft_break.begin(), soft_break.end(), place);
            column = 0;
        }
        std::memcpy(place, form.characters.data(), form.characters.size());
        place += form.length;
        column += form.length;
    }
    return static_cast<std::size_t>(place - out);
}

void DecodeQuotedRun(QuotedText& text) noexcept {
    char const* in = text.in;
    char* out = text.out;
    while (in < text.end) {
        if (*in != '=') {
            *out++ = *in++;
            continue;
        }
        if (text.end - in < 3) break;
        int const byte = digit_places.high[static_cast<unsigned char>(in[1])] |
                         digit_places.low[static_cast<unsigned char>(in[2])];
        if (byte < 0) break;
        *out++ = static_cast<char>(byte);
        in += 3;
    }
    text.in = in;
    text.out = out;
}

bool DecodeQuotedPairs(QuotedText& text) noexcept {
    for (DecodeQuotedRun(text); text.in < text.end; DecodeQuotedRun(text)) {
        if (text.end - text.in < 3) return false;
        *text.out++ = HexByte(text.in[1], text.in[2]);
        text.in += 3;
    }
    return true;
}

void AppendQuotedPrintable(CString& out, std::string_view text) {
    std::size_t const before = out.View().size(), room = before + QuotedPrintableRoom(text);
    if (room > INT_MAX) throw std::bad_alloc();
    char* const place = out.GetBuffer(static_cast<int>(room)) + before;
    out.ReleaseBuffer(static_cast<int>(before + EncodeQuotedPrintable(text, place)));
}

CString QuotedPrintable(std::string_view text) {
    CString encoded;
    AppendQuotedPrintable(encoded, text);
    return encoded;
}

std::size_t DecodeQuotedText(std::string_view in, char* out) noexcept {
    QuotedText text{in.data(), in.data() + in.size(), out};
    for (DecodeQuotedRun(text); text.end - text.in > 2; DecodeQuotedRun(text)) {
        if (std::memcmp(text.in, soft_break.data(), soft_break.size()) == 0)
            text.in += soft_break.size();
        else
            *text.out++ = *text.in++;
    }
    return static_cast<std::size_t>(text.out - out);
}

std::string FromQuotedPrintable(std::string_view in) {
    std::string decoded(in.size(), '\0');
    decoded.resize(DecodeQuotedText(in, decoded.data()));
    return decoded;
}

}  // namespace mime
