#include "engine/receiving/answer_kind.h"

#include <array>
#include <cstddef>

namespace engine {
namespace {

struct Kind {
    char const *name, *key;
};
// By AnswerKind.
constexpr std::array<Kind, 6> kinds = {{{"エラー", "bounce"},
                                        {"遅延", "delay"},
                                        {"開封", "receipt"},
                                        {"配信停止", "refusal"},
                                        {"登録", "registration"},
                                        {"その他", "other"}}};

}  // namespace

char const* NameOf(AnswerKind kind) { return kinds[static_cast<std::size_t>(kind)].name; }

char const* KeyOf(AnswerKind kind) { return kinds[static_cast<std::size_t>(kind)].key; }

std::optional<AnswerKind> AnswerKindOf(std::string_view text) {
    for (std::size_t i = 0; i < kinds.size(); ++i)
        if (text == kinds[i].key || text == kinds[i].name) return static_cast<AnswerKind>(i);
    return {};
}

}  // namespace engine
