#include "tessaly/text/kana_convert_tbl.h"

#include "text/kana_forms.h"

namespace {

char const* FormOf(text::KanaForms const& forms, char kana, bool voiced, bool semi_voiced) noexcept {
    int const index = static_cast<unsigned char>(kana) - text::first_kana;
    if (index < 0 || index >= 64) return nullptr;
    auto const& chosen = voiced ? forms.voiced : semi_voiced ? forms.semi_voiced : forms.plain;
    return chosen[index][0] ? chosen[index] : nullptr;
}

}  // namespace

CKanaConvertTbl const itsKanaConvertTbl;

CKanaConvertTbl::~CKanaConvertTbl() = default;

char const* CKanaConvertTbl::ConvHalfKanaToJisX208Kana(char const& kana, int const& dakuten,
                                                       int const& handakuten) const {
    return FormOf(text::jis_kana_forms, kana, dakuten != 0, handakuten != 0);
}

char const* CKanaConvertTbl::Conv1byteKanaTo2byteKana(char const& kana, int const& dakuten,
                                                      int const& handakuten) const {
    return FormOf(text::sj_kana_forms, kana, dakuten != 0, handakuten != 0);
}

int CKanaConvertTbl::IsAllowedDakuten(char const& kana) const {
    return FormOf(text::sj_kana_forms, kana, true, false) ? 1 : 0;
}

int CKanaConvertTbl::IsAllowedHanDakuten(char const& kana) const {
    return FormOf(text::sj_kana_forms, kana, false, true) ? 1 : 0;
}

int CKanaConvertTbl::GetLenOfJisX208OneKana() const { return 2; }
