#include "tessaly/text/mail_text_check.h"

#include <cstring>

#include "tessaly/platform/mbcs.h"
#include "tessaly/text/width.h"
#include "text/byte_runs.h"
#include "text/scratch_text.h"

namespace {

using text::Byte;
using text::ByteRange;

constexpr bool IsLead(Byte c) noexcept { return (c >= 0x80 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF); }
constexpr bool IsUserDefinedLead(Byte c) noexcept { return c >= 0xF0 && c <= 0xFC; }
// Row 13 of the NEC special characters.
constexpr bool IsNecSpecial(Byte lead, Byte trail) noexcept { return lead == 0x87 && trail <= 0x9C; }

// The character at the start of a text, and its bytes. Kinds from `cut_user_defined` on must not occur in a
// line of Shift-JIS text.
struct Character {
    enum Kind { plain, half_kana, nec_special, user_defined, cut_user_defined, control, broken } kind;
    int size;
};

Character ClassOf(ByteRange in) noexcept {
    Byte const c = *in.at;
    bool const last = !in.Holds(2);
    if (c < 0x20 && c != '\t') return {Character::control, 1};
    if (c < 0x7F) return {Character::plain, 1};
    if (text::IsHalfKana(c)) return {Character::half_kana, 1};
    if (IsUserDefinedLead(c))
        return last ? Character{Character::cut_user_defined, 1} : Character{Character::user_defined, 2};
    if (!IsLead(c) || last) return {Character::broken, 1};
    if (!platform::IsTrailByte(in.at[1])) return {Character::broken, 2};
    return {IsNecSpecial(c, in.at[1]) ? Character::nec_special : Character::plain, 2};
}

// Calls `offends` with each character that must not occur in a mail.
template <class Offends>
int CheckMailBody(char const* text, int& noHalfKana, int& noMachineChar, int& noBrokenChar, Offends offends) {
    noHalfKana = noMachineChar = noBrokenChar = 1;
    for (ByteRange in(text); !in.Empty();) {
        Character const character = ClassOf(in);
        bool passes = false;
        switch (character.kind) {
            case Character::plain:
            case Character::control: passes = true; break;
            case Character::half_kana: noHalfKana = 0; break;
            case Character::cut_user_defined: noBrokenChar = 0; [[fallthrough]];
            case Character::user_defined:
            case Character::nec_special: noMachineChar = 0; break;
            case Character::broken: noBrokenChar = 0; break;
        }
        if (!passes) offends(reinterpret_cast<char const*>(in.at), character.size);
        in.at += character.size;
    }
    return noHalfKana && noMachineChar && noBrokenChar ? 1 : 0;
}

}  // namespace

void xc_format_string4mail(CString text, CString& out, CodeConvertStruct* table) {
    text::ScratchText wide(2 * static_cast<std::size_t>(text.GetLength()) + 1);
    xc_han2zen_sjis_kana(wide.Data(), text);
    out = wide.Data();
    for (CodeConvertStruct* row = table; row && row->from; ++row) out.Replace(row->from, row->to);
}

int CheckCharacterCodeForWinSJIS(char const* text, char* out) {
    if (!text) text = "";
    if (out) std::memmove(out, text, std::strlen(text) + 1);
    int clean = 1;
    for (ByteRange in(text); !in.Empty();) {
        Character const character = ClassOf(in);
        if (character.kind >= Character::cut_user_defined) {
            clean = 0;
            if (out) out[reinterpret_cast<char const*>(in.at) - text] = '\0';
        }
        in.at += character.size;
    }
    return clean;
}

int CheckMailBodyCharacterCode(char const* text, int& noHalfKana, int& noMachineChar, int& noBrokenChar) {
    return CheckMailBody(text, noHalfKana, noMachineChar, noBrokenChar, [](char const*, int) {});
}

int CheckMailBodyCharacterCode(char const* text, int& noHalfKana, int& noMachineChar, int& noBrokenChar,
                               CStringArray& found) {
    found.RemoveAll();
    return CheckMailBody(text, noHalfKana, noMachineChar, noBrokenChar,
                         [&found](char const* at, int size) { found.Add(CString(at, size)); });
}

namespace text {

bool IsPlainMailText(std::string_view text) noexcept {
    constexpr Byte special_row = 0x87, no_lead_elsewhere = 0x80;
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto const c = static_cast<Byte>(text[at]);
        if (c >= 0x20 && c < 0x7F) continue;
        if (!IsLead(c) || c == special_row || c == no_lead_elsewhere || ++at == text.size() ||
            !platform::IsTrailByte(text[at]))
            return false;
    }
    return true;
}

}  // namespace text
