#include "engine/receiving/answer_kind.h"

#include <cstddef>

namespace engine {
namespace {

// By AnswerKind; `earlier` is what earlier versions wrote.
constexpr struct {
    char const *key, *earlier;
} kinds[answer_kinds] = {{"bounce", "エラー"},    {"delay", "遅延"},        {"receipt", "開封"},
                         {"refusal", "配信停止"}, {"registration", "登録"}, {"other", "その他"}};

}  // namespace

char const* KeyOf(AnswerKind kind) { return kinds[static_cast<std::size_t>(kind)].key; }

std::optional<AnswerKind> AnswerKindOf(std::string_view text) {
    for (std::size_t i = 0; i < answer_kinds; ++i)
        if (text == kinds[i].key || text == kinds[i].earlier) return static_cast<AnswerKind>(i);
    return {};
}

}  // namespace engine
