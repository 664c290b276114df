#pragma once

#include "tessaly/platform/export.h"

// Half width and full width in Shift-JIS text. Lead bytes of double-byte characters are 0x81-0x9F and
// 0xE0-0xEF here; a byte from 0xF0 up is copied as one byte. A null text counts as empty. `out` must not
// overlap `text`. All functions use their arguments only and may be called from any thread.

// ASCII from blank to "}", and kana, to full width; "~" and control bytes stay. A kana and the voiced or
// semi-voiced mark behind it become one character where there is one. A lead byte at the end of the text is
// dropped. `out` holds 2 * strlen(text) + 1 bytes.
TESSALY_API void xc_han2zen_sjis_all(char* out, char const* text);
// The same for kana only.
TESSALY_API void xc_han2zen_sjis_kana(char* out, char const* text);

// Signs, digits, letters and katakana to half width, a voiced kana becoming two bytes. Characters without a
// half-width form stay (among them hiragana, kanji, and the kana ヰ, ヱ, ヵ, ヶ). `out` holds strlen(text) +
// 1 bytes.
TESSALY_API void xc_zen2han_sjis_all(char* out, char const* text);

// 1 when `word` occurs in `text`, full width and half width counting as the same; else 0. An empty word
// occurs in every text.
TESSALY_API int xcstrhzstr(char const* text, char const* word);
// The same without regard to case.
TESSALY_API int xcstrhzistr(char const* text, char const* word);
