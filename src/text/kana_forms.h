#pragma once

#include "text/kanji_arithmetic.h"

// The full-width characters for the half-width kana of JIS X 0201.
namespace text {

constexpr Byte first_kana = 0xA0;  // index 0; itself no kana
constexpr Byte voiced_mark = 0xDE;
constexpr Byte semi_voiced_mark = 0xDF;

// Two bytes and a NUL for each byte from `first_kana` on; an empty text where there is no such form.
struct KanaForms {
    char plain[64][3];
    char voiced[64][3];
    char semi_voiced[64][3];
};
extern KanaForms const sj_kana_forms;
extern KanaForms const jis_kana_forms;

// The form in `forms` of the kana `c` with the byte `next` behind it (0 at the end of the text), an empty
// text when `c` has none. `used` becomes the number of bytes of that kana: 2 with a mark, else 1.
inline char const* KanaForm(KanaForms const& forms, Byte c, Byte next, int& used) noexcept {
    int const index = c - first_kana;
    used = 2;
    if (next == voiced_mark && forms.voiced[index][0]) return forms.voiced[index];
    if (next == semi_voiced_mark && forms.semi_voiced[index][0]) return forms.semi_voiced[index];
    used = 1;
    return forms.plain[index];
}

}  // namespace text
