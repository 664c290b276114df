#include "engine/incoming/folded_text.h"

#include <algorithm>

#include "engine/base/crossing.h"

namespace engine {
namespace {

// From U+FF61 on.
constexpr std::u32string_view wide_kana =
    U"。「」、・ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホマミムメモ"
    U"ヤユヨラリルレロワン";
constexpr char32_t first_narrow = 0xFF61, voiced = 0xFF9E, semivoiced = 0xFF9F;

// A character of three bytes that folding may change; 0 for any other.
char32_t WideAt(std::string_view text, std::size_t at) {
    auto const byte = [&](std::size_t i) { return char32_t{static_cast<unsigned char>(text[at + i])}; };
    if (at + 3 > text.size() || (byte(0) & 0xF0) != 0xE0) return 0;
    return (byte(0) & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F);
}

// The kana with the voiced (or semi-voiced) mark behind it; 0 where there is none.
char32_t Voiced(char32_t kana, bool semi) {
    bool const h_row = kana >= U'ハ' && kana <= U'ホ' && (kana - U'ハ') % 3 == 0;
    if (semi) return h_row ? kana + 2 : 0;
    if (kana == U'ウ') return U'ヴ';
    bool const k_to_t = (kana >= U'カ' && kana <= U'チ' && (kana - U'カ') % 2 == 0) || kana == U'ツ' ||
                        kana == U'テ' || kana == U'ト';
    return h_row || k_to_t ? kana + 1 : 0;
}

char32_t Folded(char32_t wide) {
    if (wide == 0x3000 || wide == 0xA0) return U' ';
    if (wide == 0x2019 || wide == 0x2018) return U'\'';
    if (wide > 0xFF00 && wide < 0xFF5F) return wide - 0xFF00 + 0x20;
    if (wide >= first_narrow && wide < voiced) return wide_kana[wide - first_narrow];
    return wide;
}

std::string Folded(std::string_view text, bool with_blanks) {
    std::string result;
    bool blank = false;
    auto const add = [&](std::string_view character) {
        if (blank && with_blanks && !result.empty()) result += ' ';
        blank = false;
        result += character;
    };
    for (std::size_t at = 0; at < text.size();) {
        char32_t const wide = WideAt(text, at);
        char32_t sign = wide ? Folded(wide) : char32_t{static_cast<unsigned char>(text[at])};
        at += wide ? 3 : 1;
        if (wide >= first_narrow && wide < voiced) {
            char32_t const mark = WideAt(text, at);
            bool const marked = mark == voiced || mark == semivoiced;
            if (char32_t const one = marked ? Voiced(sign, mark == semivoiced) : 0) {
                sign = one;
                at += 3;
            }
        }
        if (sign == ' ' || (sign >= '\t' && sign <= '\r')) {
            blank = true;
        } else if (sign < 0x80 || !wide) {
            char const c = static_cast<char>(sign >= 'A' && sign <= 'Z' ? sign + ('a' - 'A') : sign);
            add(std::string_view(&c, 1));
        } else {
            std::string bytes;
            AppendUtf8(sign, bytes);
            add(bytes);
        }
    }
    return result;
}

}  // namespace

std::string Folded(std::string_view text) { return Folded(text, true); }
std::string FoldedWithoutBlanks(std::string_view text) { return Folded(text, false); }

}  // namespace engine
