#pragma once

#include "tessaly/platform/export.h"

// Half-width kana of a Shift-JIS text to full-width kana. Uses the arguments only; any thread may call it.
class TESSALY_API CSjisKanaConverter {
  public:
    enum Result {
        cut_character = 0,  // the text ends inside a double-byte character
        converted = 1,
    };

    virtual ~CSjisKanaConverter();

    // A kana and the voiced or semi-voiced mark behind it become one character where there is one. The byte
    // 0xA0, which is no kana, is copied. `out` holds the bytes that GetSizeAfterConvertKana gives and a NUL,
    // at most 2 * strlen(text) + 1 bytes. With cut_character, `out` holds the converted text before the cut
    // character, without a NUL.
    static int ConvertKana(char const* text, char* out);
    // The number of bytes, without the NUL, that ConvertKana gives. `size` is set with the result
    // `converted` only.
    static int GetSizeAfterConvertKana(char const* text, unsigned long int& size);
};
