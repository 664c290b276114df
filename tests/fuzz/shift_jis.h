#pragma once

#include <string>
#include <string_view>

namespace fuzz {

// What stands in `text` of ASCII without control bytes, half-width kana, and codes of the 94 rows and cells
// of JIS X 0208: text that every conversion among the kanji codes keeps.
inline std::string WholeCharacters(std::string_view text) {
    std::string kept;
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto const first = static_cast<unsigned char>(text[at]);
        auto const second = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
        if ((first >= 0x20 && first < 0x7F) || (first >= 0xA1 && first <= 0xDF)) {
            kept += text[at];
        } else if (((first >= 0x81 && first <= 0x9F) || (first >= 0xE0 && first <= 0xEF)) && second >= 0x40 &&
                   second != 0x7F && second <= 0xFC) {
            kept += text.substr(at, 2);
            ++at;
        }
    }
    return kept;
}

}  // namespace fuzz
