#pragma once

#include "tessaly/platform/export.h"

// Full-width forms of the half-width kana of JIS X 0201 (bytes 0xA0-0xDF), plain, voiced and semi-voiced,
// in Shift-JIS and as seven-bit codes of JIS X 0208. The content is the same in every object and constant;
// any thread may use it.
class TESSALY_API CKanaConvertTbl {
  public:
    CKanaConvertTbl() = default;
    CKanaConvertTbl(CKanaConvertTbl const&) = default;
    CKanaConvertTbl& operator=(CKanaConvertTbl const&) = default;
    virtual ~CKanaConvertTbl();

    // The two bytes and a NUL of the full-width character: of the voiced form with non-zero `dakuten`, else
    // of the semi-voiced form with non-zero `handakuten`, else of the plain form. Null when there is none, as
    // for every byte that is no half-width kana. The pointer stays valid.
    char const* ConvHalfKanaToJisX208Kana(char const& kana, int const& dakuten, int const& handakuten) const;
    char const* Conv1byteKanaTo2byteKana(char const& kana, int const& dakuten, int const& handakuten) const;

    // 1 when the kana has a voiced or a semi-voiced form, else 0.
    int IsAllowedDakuten(char const& kana) const;
    int IsAllowedHanDakuten(char const& kana) const;

    // Bytes of one JIS X 0208 kana: 2.
    int GetLenOfJisX208OneKana() const;
};

// The object that the whole library uses.
TESSALY_API extern CKanaConvertTbl const itsKanaConvertTbl;
