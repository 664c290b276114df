#pragma once

#include <string_view>

#include "engine/base/iconv_text.h"

namespace engine {

// A text of ISO-2022-JP, its successors 1, 2 and 3, and its forms with rows of vendors and with half-width
// kana, by escapes or shifts. A line end closes what was left open.
DecodedText FromJis(std::string_view bytes);

// Whether there is an escape that only such texts hold.
bool HasJisEscapes(std::string_view bytes);

}  // namespace engine
