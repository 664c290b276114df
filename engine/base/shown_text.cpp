#include "engine/base/shown_text.h"

#include "engine/base/crossing.h"

namespace engine {
namespace {

bool IsControl(char32_t point) { return point < 0x20 || (point >= 0x7F && point < 0xA0); }

// Line and paragraph separators of Unicode end a line on some terminals.
bool IsSeparator(char32_t point) { return point == 0x2028 || point == 0x2029; }

// Marks and overrides of direction (UAX 9), zero-width blanks, tags and annotations. Joiners and variation
// selectors stay: they make signs of several characters.
bool IsHidden(char32_t point) {
    return point == 0x061C || point == 0x180E || point == 0x200B || point == 0x200E || point == 0x200F ||
           (point >= 0x202A && point <= 0x202E) || (point >= 0x2060 && point <= 0x206F) || point == 0xFEFF ||
           (point >= 0xFFF9 && point <= 0xFFFB) || (point >= 0xE0000 && point <= 0xE007F);
}

std::string Shown(std::string_view utf8, bool keeps_lines) {
    std::string text;
    text.reserve(utf8.size());
    for (std::size_t at = 0; at < utf8.size();) {
        std::size_t const begin = at;
        char32_t const point = platform::TakeUtf8(utf8, at);
        if (point == platform::not_a_character)
            text += "\uFFFD";
        else if (point == '\r' && utf8.substr(at).starts_with('\n'))
            continue;
        else if (keeps_lines && (point == '\n' || point == '\r' || IsSeparator(point)))
            text += '\n';
        else if (keeps_lines && point == '\t')
            text += '\t';
        else if (IsControl(point) || IsSeparator(point))
            text += ' ';
        else if (!IsHidden(point))
            text += utf8.substr(begin, at - begin);
    }
    return text;
}

}  // namespace

std::string ShownLine(std::string_view utf8) {
    return Shown(utf8.substr(0, utf8.find_last_not_of("\r\n") + 1), false);
}

std::string ShownText(std::string_view utf8) { return Shown(utf8, true); }

}  // namespace engine
