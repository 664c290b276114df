#pragma once

#include <string>
#include <string_view>

#include "engine/incoming/delivery_status.h"
#include "engine/mails/states.h"

namespace engine {

struct BounceReason {
    AnswerKind kind = AnswerKind::soft;
    std::string decided_by;  // the code, the words, or "-" for none
};

// Why a mail came back. `said`: what the server said; `explained`: what the bounce says besides, which counts
// only where the codes and `said` decide nothing. A passing failure (4.x.x) is never hard.
BounceReason ReasonOf(StatusCodes const& codes, std::string_view said, std::string_view explained);

// Whether a text holds known words of a bounce.
bool HasBounceWords(std::string_view text);

}  // namespace engine
