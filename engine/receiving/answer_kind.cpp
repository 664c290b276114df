#include "engine/receiving/answer_kind.h"

#include <cstddef>
#include <iterator>

namespace engine {
namespace {

constexpr char const* keys[] = {
    "hard",         "soft",       "delay",     "delivered", "mailbox_full",   "blocked", "content_refused",
    "challenge",    "auto_reply", "complaint", "receipt",   "deleted_unread", "refusal", "unclear_refusal",
    "registration", "unreadable", "other"};
static_assert(std::size(keys) == answer_kinds);

// What earlier versions wrote. They did not tell bounces apart.
constexpr struct {
    std::string_view text;
    AnswerKind kind;
} earlier[] = {{"bounce", AnswerKind::soft},      {"エラー", AnswerKind::soft},
               {"遅延", AnswerKind::delayed},     {"開封", AnswerKind::receipt},
               {"配信停止", AnswerKind::refusal}, {"登録", AnswerKind::registration},
               {"その他", AnswerKind::other}};

}  // namespace

char const* KeyOf(AnswerKind kind) { return keys[static_cast<std::size_t>(kind)]; }

std::optional<AnswerKind> AnswerKindOf(std::string_view text) {
    for (std::size_t i = 0; i < answer_kinds; ++i)
        if (text == keys[i]) return static_cast<AnswerKind>(i);
    for (auto const& [name, kind] : earlier)
        if (text == name) return kind;
    return {};
}

}  // namespace engine
