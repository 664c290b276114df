#include "text/kana_forms.h"

#include <string_view>

namespace text {
namespace {

// In the order of JIS X 0201, 0xA1 to 0xDF.
constexpr std::string_view plain_forms =
    "。「」、・ヲァィゥェォャュョッーアイウエオカキクケコサシスセソ"
    "タチツテトナニヌネノハヒフヘホマミムメモヤユヨラリルレロワン゛゜";

struct MarkedForm {
    char kana[2];
    char form[3];
};
constexpr MarkedForm voiced_forms[] = {
    {"ｳ", "ヴ"}, {"ｶ", "ガ"}, {"ｷ", "ギ"}, {"ｸ", "グ"}, {"ｹ", "ゲ"}, {"ｺ", "ゴ"}, {"ｻ", "ザ"},
    {"ｼ", "ジ"}, {"ｽ", "ズ"}, {"ｾ", "ゼ"}, {"ｿ", "ゾ"}, {"ﾀ", "ダ"}, {"ﾁ", "ヂ"}, {"ﾂ", "ヅ"},
    {"ﾃ", "デ"}, {"ﾄ", "ド"}, {"ﾊ", "バ"}, {"ﾋ", "ビ"}, {"ﾌ", "ブ"}, {"ﾍ", "ベ"}, {"ﾎ", "ボ"},
};
constexpr MarkedForm semi_voiced_forms[] = {{"ﾊ", "パ"}, {"ﾋ", "ピ"}, {"ﾌ", "プ"}, {"ﾍ", "ペ"}, {"ﾎ", "ポ"}};

constexpr int IndexOf(char kana) noexcept { return static_cast<Byte>(kana) - first_kana; }

constexpr void Put(char (&place)[3], char const* form) noexcept {
    place[0] = form[0];
    place[1] = form[1];
}

constexpr KanaForms MakeSjForms() noexcept {
    KanaForms forms{};
    for (int kana = 0; kana < 63; ++kana) Put(forms.plain[kana + 1], plain_forms.data() + 2 * kana);
    for (MarkedForm const& marked : voiced_forms) Put(forms.voiced[IndexOf(marked.kana[0])], marked.form);
    for (MarkedForm const& marked : semi_voiced_forms)
        Put(forms.semi_voiced[IndexOf(marked.kana[0])], marked.form);
    return forms;
}

constexpr void TurnIntoJis(char (&forms)[64][3]) noexcept {
    for (char(&form)[3] : forms) {
        if (form[0] == 0) continue;
        auto const first = static_cast<Byte>(form[0]);
        auto const second = static_cast<Byte>(form[1]);
        form[0] = static_cast<char>(sj_to_jis.row[first] + sj_to_jis.carry[second]);
        form[1] = static_cast<char>(sj_to_jis.column[second]);
    }
}

constexpr KanaForms MakeJisForms() noexcept {
    KanaForms forms = MakeSjForms();
    TurnIntoJis(forms.plain);
    TurnIntoJis(forms.voiced);
    TurnIntoJis(forms.semi_voiced);
    return forms;
}

static_assert(plain_forms.size() == 2 * 63);

}  // namespace

constexpr KanaForms sj_kana_forms = MakeSjForms();
constexpr KanaForms jis_kana_forms = MakeJisForms();

}  // namespace text
