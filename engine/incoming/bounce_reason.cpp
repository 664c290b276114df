#include "engine/incoming/bounce_reason.h"

#include <algorithm>
#include <vector>

#include "engine/incoming/classification_table.h"
#include "engine/incoming/folded_text.h"
#include "engine/incoming/word_search.h"

namespace engine {
namespace {

// The words of each rule, and behind them the further ones.
class RuleSearch {
  public:
    RuleSearch() : search_(Words()) {}

    std::vector<bool> In(std::string_view text) const {
        std::vector<bool> found(2 * BounceRules().size(), false);
        search_.Find(Folded(text), found);
        return found;
    }
    static RuleSearch const& Instance() {
        static RuleSearch const search;
        return search;
    }

  private:
    // A word that no text holds stands for none.
    static std::vector<std::string_view> Words() {
        static constexpr std::string_view never("\0", 1);
        std::vector<std::string_view> words;
        for (BounceRule const& rule : BounceRules()) words.push_back(rule.words.empty() ? never : rule.words);
        for (BounceRule const& rule : BounceRules())
            words.push_back(rule.more_words.empty() ? never : rule.more_words);
        return words;
    }

    WordSearch search_;
};

bool Fits(std::string_view pattern, std::string_view code) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '*') return true;
        if (i >= code.size() || (pattern[i] != '?' && pattern[i] != code[i])) return false;
    }
    return pattern.size() == code.size();
}

bool FitsCode(BounceRule const& rule, StatusCodes const& codes) {
    if (rule.code.empty()) return true;
    return Fits(rule.code, codes.status) || (codes.reply > 0 && Fits(rule.code, std::to_string(codes.reply)));
}

BounceRule const* FirstRule(StatusCodes const& codes, std::string_view text) {
    std::vector<bool> const found = RuleSearch::Instance().In(text);
    auto const rules = BounceRules();
    for (std::size_t i = 0; i < rules.size(); ++i)
        if ((rules[i].words.empty() || found[i]) && FitsCode(rules[i], codes) &&
            (rules[i].more_words.empty() || found[rules.size() + i]))
            return &rules[i];
    return nullptr;
}

BounceRule const* FirstRuleByCodeAlone(StatusCodes const& codes) {
    auto const rules = BounceRulesByCodeAlone();
    auto const rule =
        std::find_if(rules.begin(), rules.end(), [&](BounceRule const& one) { return FitsCode(one, codes); });
    return rule == rules.end() ? nullptr : &*rule;
}

}  // namespace

BounceReason ReasonOf(StatusCodes const& codes, std::string_view said, std::string_view explained) {
    BounceRule const* rule = FirstRule(codes, said);
    if (!rule) rule = FirstRule(codes, explained);
    if (!rule) rule = FirstRuleByCodeAlone(codes);
    if (!rule) return {AnswerKind::soft, "-"};
    bool const passing =
        codes.status.empty() ? codes.reply >= 400 && codes.reply < 500 : codes.status.starts_with('4');
    bool const by_status = Fits(rule->code, codes.status);
    return {passing && rule->kind == AnswerKind::hard ? AnswerKind::soft : rule->kind,
            !rule->words.empty() ? std::string(rule->words)
            : by_status          ? codes.status
                                 : std::to_string(codes.reply)};
}

bool HasBounceWords(std::string_view text) { return FirstRule({}, text) != nullptr; }

}  // namespace engine
