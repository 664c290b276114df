#pragma once

#include <optional>
#include <string_view>

namespace engine {

// What a received mail is taken for.
enum class AnswerKind { bounce, delay, receipt, refusal, registration, other };

// For the sender, in Japanese.
char const* NameOf(AnswerKind kind);
// As files hold it; never changes.
char const* KeyOf(AnswerKind kind);
// By its key, or by the Japanese name that files of earlier versions hold.
std::optional<AnswerKind> AnswerKindOf(std::string_view text);

}  // namespace engine
