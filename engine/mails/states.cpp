#include "engine/mails/states.h"

#include "engine/base/crossing.h"
#include "tessaly/delivery.h"
#include "tessaly/mailstore.h"

namespace engine {
namespace {

// Each table in the order of its enumeration.
constexpr struct {
    char const *letter, *word;
} mail_statuses[] = {
    {CMailListViewer::letter_draft, "下書き"},
    {"I", "送信中"},
    {"W", "送信待ち"},
    {"C", "完了"},
    {"E", "エラーあり"},
    {CMailListViewer::letter_deleted, "削除"},
};

constexpr struct {
    char const *letter, *word;
} recipient_states[] = {{HistoryListViewer::state_waiting, "待ち"},
                        {HistoryListViewer::state_complete, "完了"},
                        {HistoryListViewer::state_error, "エラー"},
                        {nullptr, "不明"}};

constexpr char const* outcome_words[] = {"送信", "拒否", "失敗", "不明"};

constexpr char const* answer_words[] = {
    "エラー(宛先)", "エラー(一時)", "遅延",     "配達済み",       "エラー(容量)", "エラー(拒否)",
    "エラー(内容)", "送信者確認",   "自動応答", "迷惑メール報告", "開封",         "未開封削除",
    "配信停止",     "要確認",       "登録",     "読めないメール", "その他"};
static_assert(std::size(answer_words) == answer_kinds);

template <class State>
constexpr std::size_t Index(State state) {
    return static_cast<std::size_t>(state);
}

template <class State, class Table>
std::optional<State> Named(Table const& table, std::string_view letter) {
    for (std::size_t i = 0; i < std::size(table); ++i)
        if (table[i].letter && letter == table[i].letter) return static_cast<State>(i);
    return {};
}

}  // namespace

char const* LetterOf(MailStatus status) { return mail_statuses[Index(status)].letter; }
char const* LetterOf(RecipientState state) { return recipient_states[Index(state)].letter; }

std::optional<MailStatus> MailStatusOf(std::string_view letter) {
    return Named<MailStatus>(mail_statuses, letter);
}
std::optional<RecipientState> RecipientStateOf(std::string_view letter) {
    return Named<RecipientState>(recipient_states, letter);
}

StoredState<MailStatus> StoredMailStatus(CString const& letter) {
    return {MailStatusOf(letter.View()), Out(letter)};
}
StoredState<RecipientState> StoredRecipientState(CString const& letter) {
    return {RecipientStateOf(letter.View()), Out(letter)};
}

char const* WordOf(MailStatus status) { return mail_statuses[Index(status)].word; }
char const* WordOf(RecipientState state) { return recipient_states[Index(state)].word; }
char const* WordOf(Outcome outcome) { return outcome_words[Index(outcome)]; }
bool IsBounce(AnswerKind kind) {
    using enum AnswerKind;
    return kind == hard || kind == soft || kind == mailbox_full || kind == blocked || kind == content_refused;
}

char const* WordOf(AnswerKind kind) { return answer_words[Index(kind)]; }

}  // namespace engine
