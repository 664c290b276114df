#include "tessaly/text/width.h"

#include <array>
#include <string_view>

#include "platform/view_of.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/text/strings.h"
#include "text/byte_runs.h"
#include "text/kana_forms.h"
#include "text/scratch_text.h"

namespace {

using text::Byte;
using text::ByteRange;

constexpr bool IsLead(Byte c) noexcept { return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF); }

// From blank to "}".
constexpr Byte first_ascii = 0x20;
constexpr Byte last_ascii = 0x7D;
constexpr std::string_view full_width_ascii =
    "　！”＃＄％＆’（）＊＋，－．／０１２３４５６７８９：；＜＝＞？＠ＡＢＣＤＥＦＧＨＩＪＫＬＭＮＯＰＱＲＳＴ"
    "ＵＶＷＸＹＺ"
    "［￥］＾＿‘ａｂｃｄｅｆｇｈｉｊｋｌｍｎｏｐｑｒｓｔｕｖｗｘｙｚ｛｜｝";
static_assert(full_width_ascii.size() == 2 * (last_ascii - first_ascii + 1));

char* PutPair(char const* pair, char* out) noexcept {
    out[0] = pair[0];
    out[1] = pair[1];
    return out + 2;
}

template <bool with_ascii>
void ToFullWidth(char* out, char const* text) noexcept {
    ByteRange in(text);
    while (!in.Empty()) {
        Byte const c = *in.at;
        Byte const next = in.Holds(2) ? in.at[1] : Byte{0};
        if (text::IsHalfKana(c)) {
            int used;
            out = PutPair(text::KanaForm(text::sj_kana_forms, c, next, used), out);
            in.at += used;
        } else if (with_ascii && c >= first_ascii && c <= last_ascii) {
            out = PutPair(full_width_ascii.data() + 2 * (c - first_ascii), out);
            ++in.at;
        } else if (IsLead(c)) {
            if (!in.Holds(2)) break;
            out = PutPair(reinterpret_cast<char const*>(in.at), out);
            in.at += 2;
        } else {
            *out++ = static_cast<char>(c);
            ++in.at;
        }
    }
    *out = '\0';
}

// The half-width form of a double-byte character, 0 to 2 bytes; `stays` when it has none.
struct HalfForm {
    char bytes[2];
    Byte size;
    bool stays;
};

// The rows that hold signs, digits and letters, and katakana.
constexpr Byte first_row = 0x81;
constexpr Byte last_row = 0x83;

class HalfForms {
  public:
    HalfForms() noexcept {
        for (auto& row : forms_) row.fill({{0, 0}, 0, true});
        for (int c = first_ascii; c <= last_ascii; ++c)
            Set(full_width_ascii.data() + 2 * (c - first_ascii), static_cast<Byte>(c));
        for (int index = 1; index < 64; ++index) {
            auto const kana = static_cast<Byte>(text::first_kana + index);
            Set(text::sj_kana_forms.plain[index], kana);
            Set(text::sj_kana_forms.voiced[index], kana, text::voiced_mark);
            Set(text::sj_kana_forms.semi_voiced[index], kana, text::semi_voiced_mark);
        }
        Set("ヮ", static_cast<Byte>("ﾜ"[0]));
        At(no_character) = {{0, 0}, 0, false};
    }

    // `first` must lie in the rows above.
    HalfForm const& Of(Byte first, Byte second) const noexcept { return forms_[first - first_row][second]; }

  private:
    // In place of a second byte 0x7F: it has no half-width form.
    static constexpr char no_character[] = "\x83\x7F";

    HalfForm& At(char const* pair) noexcept {
        return forms_[static_cast<Byte>(pair[0]) - first_row][static_cast<Byte>(pair[1])];
    }
    // An empty `pair` sets nothing; a second byte 0 is none.
    void Set(char const* pair, Byte first, Byte second = 0) noexcept {
        if (!pair[0]) return;
        At(pair) = {
            {static_cast<char>(first), static_cast<char>(second)}, static_cast<Byte>(second ? 2 : 1), false};
    }

    std::array<std::array<HalfForm, 256>, last_row - first_row + 1> forms_;
};

// Made at the first use, which may be in another object's initialisation.
HalfForms const& Halves() noexcept {
    static HalfForms const forms;
    return forms;
}

using platform::ViewOf;

}  // namespace

void xc_han2zen_sjis_all(char* out, char const* text) { ToFullWidth<true>(out, text); }

void xc_han2zen_sjis_kana(char* out, char const* text) { ToFullWidth<false>(out, text); }

void xc_zen2han_sjis_all(char* out, char const* text) {
    HalfForms const& forms = Halves();
    ByteRange in(text);
    while (!in.Empty()) {
        Byte const c = *in.at;
        if (!IsLead(c) || !in.Holds(2)) {
            *out++ = static_cast<char>(c);
            ++in.at;
            continue;
        }
        if (c > last_row || forms.Of(c, in.at[1]).stays) {
            out = PutPair(reinterpret_cast<char const*>(in.at), out);
        } else {
            HalfForm const& half = forms.Of(c, in.at[1]);
            for (int i = 0; i < half.size; ++i) *out++ = half.bytes[i];
        }
        in.at += 2;
    }
    *out = '\0';
}

int xcstrhzstr(char const* text, char const* word) {
    text::ScratchText wide_text(2 * ViewOf(text).size() + 1);
    text::ScratchText wide_word(2 * ViewOf(word).size() + 1);
    xc_han2zen_sjis_all(wide_text.Data(), text);
    xc_han2zen_sjis_all(wide_word.Data(), word);
    return platform::mbsstr(wide_text.Data(), wide_word.Data()) ? 1 : 0;
}

int xcstrhzistr(char const* text, char const* word) {
    text::ScratchText narrow_text(ViewOf(text).size() + 1);
    text::ScratchText narrow_word(ViewOf(word).size() + 1);
    xc_zen2han_sjis_all(narrow_text.Data(), text);
    xc_zen2han_sjis_all(narrow_word.Data(), word);
    return xcstristr(narrow_text.Data(), narrow_word.Data()) ? 1 : 0;
}
