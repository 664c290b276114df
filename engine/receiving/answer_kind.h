#pragma once

#include <optional>
#include <string_view>

#include "engine/mails/states.h"

namespace engine {

// As files hold it; never changes.
char const* KeyOf(AnswerKind kind);
// By its key, or by what files of earlier versions hold; their bounces, which they did not tell apart, count
// as soft.
std::optional<AnswerKind> AnswerKindOf(std::string_view text);

}  // namespace engine
