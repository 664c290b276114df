#include "tessaly/delivery/xemail.h"

#include <cstring>
#include <string_view>

#include "platform/view_of.h"
#include "tessaly/platform/cstring.h"

namespace {

// An address belongs to `type` if it ends in `tail` and contains `part`, if there is one.
struct TerminalRule {
    TermType type;
    char const* tail;
    char const* part = nullptr;
};

// The mail domains of the carriers, in the order of testing.
constexpr TerminalRule rules[] = {
    {nd, "@docomo.ne.jp"},

    {at, ".ido.ne.jp", "@ez"},  // the hosts eza to ezj

    {at, "@ezweb.ne.jp"},
    {at, "@dct.dion.ne.jp"},
    {at, "@tct.dion.ne.jp"},
    {at, "@hct.dion.ne.jp"},
    {at, "@kct.dion.ne.jp"},
    {at, "@cct.dion.ne.jp"},
    {at, "@sct.dion.ne.jp"},
    {at, "@qct.dion.ne.jp"},
    {at, "@oct.dion.ne.jp"},
    {at, "@sky.tu-ka.ne.jp"},
    {at, "@cara.tu-ka.ne.jp"},
    {at, "@sky.tkk.ne.jp"},
    {at, "@sky.tkc.ne.jp"},
    {at, ".ezweb.ne.jp"},
    {at, ".sky.tu-ka.ne.jp"},
    {at, ".cara.tu-ka.ne.jp"},
    {at, ".sky.tkk.ne.jp"},
    {at, ".sky.tkc.ne.jp"},

    // Regions: d Hokkaido, h Tohoku and Niigata, t Kanto and Koshin, c Tokai, r Hokuriku, k Kansai, n
    // Chugoku, s Shikoku, q Kyushu and Okinawa.
    {sb, "@jp-d.ne.jp"},
    {sb, "@jp-h.ne.jp"},
    {sb, "@jp-t.ne.jp"},
    {sb, "@jp-c.ne.jp"},
    {sb, "@jp-r.ne.jp"},
    {sb, "@jp-k.ne.jp"},
    {sb, "@jp-n.ne.jp"},
    {sb, "@jp-s.ne.jp"},
    {sb, "@jp-q.ne.jp"},
    {sb, "@d.vodafone.ne.jp"},
    {sb, "@h.vodafone.ne.jp"},
    {sb, "@t.vodafone.ne.jp"},
    {sb, "@c.vodafone.ne.jp"},
    {sb, "@r.vodafone.ne.jp"},
    {sb, "@k.vodafone.ne.jp"},
    {sb, "@n.vodafone.ne.jp"},
    {sb, "@s.vodafone.ne.jp"},
    {sb, "@q.vodafone.ne.jp"},
    {sb, "@disney.ne.jp"},
    {sb, "@softbank.ne.jp"},

    {wl, "@pdx.ne.jp"},
    {wl, ".pdx.ne.jp"},
};
static_assert(std::size(rules) == 42);

using platform::ViewOf;

}  // namespace

TermType CXEmail::GetTermTypeFromMailAddr(char const* address) {
    CString lowered(address);
    lowered.MakeLower();
    for (TerminalRule const& rule : rules) {
        if (strrcmp(lowered, rule.tail) != 0) continue;
        if (!rule.part || std::strstr(lowered, rule.part)) return rule.type;
    }
    return pc;
}

int CXEmail::strrcmp(char const* text, char const* tail) {
    std::string_view const whole = ViewOf(text), wanted = ViewOf(tail);
    if (whole.size() < wanted.size()) return -1;
    int const order = whole.substr(whole.size() - wanted.size()).compare(wanted);
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}
