#pragma once

#include <algorithm>
#include <string_view>

namespace engine {

// A text without these signs at its start and end. In code page 932 none of them may be one that can be the
// second byte of a character (0x40 to 0x7E).
inline std::string_view Trimmed(std::string_view text, std::string_view signs = " \t\r\n") {
    text.remove_prefix(std::min(text.find_first_not_of(signs), text.size()));
    return text.substr(0, text.find_last_not_of(signs) + 1);
}

}  // namespace engine
