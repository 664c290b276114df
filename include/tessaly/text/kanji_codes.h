#pragma once

#include <cstddef>

#include "tessaly/platform/export.h"

// Conversions among the three kanji codes that are arithmetic on row and cell of JIS X 0208: Shift-JIS
// ("sj"), EUC-JP ("uj") and seven-bit JIS, which is ISO-2022-JP with half-width kana ("jis7").
//
// Every operation reads `text` up to its NUL (null counts as empty), writes to `out`, ends it with a NUL and
// returns `out`. A null `out` gives null. `out` and `text` must not overlap. `out` must hold as many bytes as
// the conversion's function SizeOf... gives for strlen(text); no input of that length, however broken, makes
// more.
//
// No operation tests that a character exists: a byte that opens a double-byte character is converted with any
// byte that follows it. A broken pair can so become any two bytes, control bytes included; text from outside
// goes through CheckMailBodyCharacterCode (text/mail_text_check.h) before it is put into a mail. A character
// that is cut at the end of the text is dropped, and the text ends in the right state.
//
// The operations use their arguments only and may be called from any thread.

// Bytes needed in `out`, NUL included, for a text of `n` bytes: the largest result of any text, one formula
// for all lengths. The texts with the largest results:

// Half-width kana made full-width (5 bytes with its escape) and ASCII (4 bytes) in turn, and ESC ( B.
constexpr std::size_t SizeOfSjToJis7(std::size_t n) noexcept { return (9 * n + 9) / 2; }
// Kanji (5 bytes with its escape) and ASCII (4 bytes) in turn, and ESC ( B.
constexpr std::size_t SizeOfUjToJis7(std::size_t n) noexcept { return 3 * n + 3; }
// ESC ( I and SO, then kana, each as two bytes.
constexpr std::size_t SizeOfJis7ToUj(std::size_t n) noexcept { return n <= 8 ? n + 1 : 2 * n - 7; }
constexpr std::size_t SizeOfJis7ToSj(std::size_t n) noexcept { return n + 1; }
constexpr std::size_t SizeOfUjToSj(std::size_t n) noexcept { return n + 1; }
constexpr std::size_t SizeOfSjToUj(std::size_t n) noexcept { return 2 * n + 1; }
// For every `limit`: full-width kana with escapes on both sides of each.
constexpr std::size_t SizeOfSjToJis7ForHeader(std::size_t n) noexcept { return 8 * n + 1; }

// Shift-JIS to JIS. ASCII stands in ESC ( B, kanji in ESC $ B, half-width kana in ESC ( I; non-zero
// `hanToZen` turns half-width kana into full-width kana, a voiced mark staying a character of its own. The
// text begins and ends in ASCII. All bytes but ASCII and 0xA1-0xDF open a double-byte character.
TESSALY_API char* sjtojis7_core(char* out, char const* text, int hanToZen);

// EUC-JP to JIS. Half-width kana are written between SO and SI without designation, JIS X 0212 characters
// in ESC $ ( D; else as above. With `hanToZen`, 0x8E before a byte that is no kana (seven low bits outside
// 0x21-0x5F) stays in shift-out form.
TESSALY_API char* ujtojis7_core(char* out, char const* text, int hanToZen);

// JIS to EUC-JP. Kana take effect between SO and SI, if ESC ( I designated them; characters after ESC ) D
// become JIS X 0212. Bytes in an unknown set, and shifted bytes without designation, are dropped.
TESSALY_API char* jis7touj_core(char* out, char const* text);

// JIS to Shift-JIS. The same, but ESC ( I and ESC ) D shift at once, ESC ( B, ( J, $ @ and $ B end a shift,
// and characters after ESC ) D are dropped.
TESSALY_API char* jis7tosj_core(char* out, char const* text);

// EUC-JP and Shift-JIS. Bytes below 0x7F are copied; 0x8E and a byte stands for a half-width kana; every
// other byte, 0x7F and 0x8F included, opens a double-byte character.
TESSALY_API char* ujtosj_core(char* out, char const* text);
TESSALY_API char* sjtouj_core(char* out, char const* text);

// Shift-JIS to JIS for header text: as sjtojis7_core, but single-byte characters stand in JIS-Roman (ESC (
// J), and the text returns to ASCII whenever more than `limit` columns were written since it last was there
// (an escape sequence counts 3, a single-byte character 1, a double-byte character 2).
TESSALY_API char* sjtojis7_for_header(char* out, char const* text, int hanToZen, int limit);
