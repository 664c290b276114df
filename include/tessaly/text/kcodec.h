#pragma once

#include <cstddef>
#include <memory>

#include "tessaly/platform/export.h"

// Bytes of the largest result of the conversions with UTF-8, NUL included, for a text of `n` bytes. Those of
// the other conversions stand in text/kanji_codes.h.
constexpr std::size_t SizeOfUtf8ToSj(std::size_t n) noexcept { return n + 1; }
constexpr std::size_t SizeOfSjToUtf8(std::size_t n) noexcept { return 3 * n + 1; }

// Guesses the code of a text and converts among Shift-JIS (sj), EUC-JP (uj), seven-bit JIS (jis7) and UTF-8
// (utf8).
//
// A conversion with one text argument that does not say otherwise keeps its result in the object: the pointer
// is valid until the next conversion among sj, uj and jis7 on the object, or its end. The result may be the
// source of that next conversion. With an `out` argument the result is copied to `out` and the object keeps a
// second copy; `out` may overlap `text`. `out` must hold as many bytes as the SizeOf... function gives for
// strlen(text); a null `out` gives null. A null text counts as empty. Conversions never fail;
// text/kanji_codes.h has the treatment of broken text.
//
// The object holds only its last result, and a copy of it starts without one. It serves one thread at a time;
// different objects are independent of each other, and the process's locale is neither used nor changed.
class TESSALY_API KCodeC {
  public:
    // Results of CheckCode.
    enum Code {
        code_ascii = 0,   // ASCII, empty, or undecided
        code_binary = 1,  // control bytes that no text has
        code_jis = 2,
        code_sjis = 3,
        code_euc = 4,
    };

    KCodeC();
    KCodeC(KCodeC const& other);
    KCodeC& operator=(KCodeC const& other);
    virtual ~KCodeC();

    // One of the numbers above. JIS is recognised by its escape sequences and shifts, Shift-JIS or EUC-JP by
    // which of them fits more bytes.
    int CheckCode(unsigned char const* text);

    // Conversion by the result of CheckCode; a text that needs none, and one that is undecided or binary, is
    // copied.
    char const* ToEUC(char const* text);
    char const* ToSJIS(char const* text);
    char const* ToJIS(char const* text, int hanToZen);

    enum KanaMode : int { keep_kana = 0, widen_kana = 1 };
    // One conversion each, without a guess. Non-zero `hanToZen` turns half-width kana into full-width kana.
    char const* sjtojis7(char const* text, int hanToZen);
    char const* ujtojis7(char const* text, int hanToZen);
    char const* jis7touj(char const* text);
    char const* ujtosj(char const* text);
    char const* sjtouj(char const* text);
    char const* jis7tosj(char const* text);
    char const* sjtojis7(char* out, char const* text, int hanToZen);
    char const* ujtojis7(char* out, char const* text, int hanToZen);
    char const* jis7touj(char* out, char const* text);
    char const* ujtosj(char* out, char const* text);
    char const* sjtouj(char* out, char const* text);
    char const* jis7tosj(char* out, char const* text);

    // With UTF-8, by code page 932. Without `out` the result is a new block that the caller frees by free(),
    // null for a null text. With `out` nothing is kept in the object. One blank replaces a character of
    // Unicode without a Shift-JIS form, and a code of Shift-JIS without a character. A byte order mark at the
    // start of UTF-8 is skipped. Four-byte sequences are not recognised: every byte from 0x80 on but
    // 0xC0-0xDF opens a sequence of three, so the last byte of four takes the two bytes behind it along.
    char const* utf8tosj(char const* text);
    char const* sjtoutf8(char const* text);
    char const* utf8tosj(char* out, char const* text);
    char const* sjtoutf8(char* out, char const* text);

  private:
    friend class KCodeCSteps;  // gives tests the steps below

    // The conversions with UTF-8 step by step, through 16-bit units that end in a zero unit. The public
    // operations give the same in one pass. The results of those without `out` are zeroed blocks, to be freed
    // by free(); null for a null text.
    //
    // `hostOrder` 0 swaps the two bytes of each unit.
    unsigned short* utf8toutf16be(char const* text, int hostOrder);
    // Reads `length` bytes. Non-zero `countOnly` writes nothing. Result: the number of units.
    int utf8toutf16be(unsigned short* out, char const* text, int length, int countOnly, int hostOrder);
    char* utf16betosj(unsigned short const* text);
    unsigned short* sjtoutf16be(char const* text);
    char* utf16betoutf8(unsigned short const* text);
    // Reads `length` units. Result: the number of bytes.
    int utf16betoutf8(char* out, unsigned short const* text, int length, int countOnly);

    template <class Convert>
    char const* Keep(std::size_t size, Convert convert);
    char const* KeepCopy(char const* text);

    std::unique_ptr<char[]> result_;
};
