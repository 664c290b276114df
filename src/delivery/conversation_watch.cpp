#include "delivery/conversation_watch.h"

#include <algorithm>

#include "tessaly/protocol/mail_component.h"

namespace delivery {
namespace {

constexpr int with_time = 1, without_rule = 0;

CString Upper(CString text) { return text.MakeUpper(); }

char const* Find(std::span<NumberSentence const> table, int number) {
    auto const row = std::find_if(table.begin(), table.end(),
                                  [&](NumberSentence const& known) { return known.number == number; });
    return row == table.end() ? nullptr : row->sentence;
}

char const* Find(std::span<TextSentence const> table, std::string_view text) {
    auto const row = std::find_if(table.begin(), table.end(), [&](TextSentence const& known) {
        return text.starts_with(known.beginning) && text.find(known.holds) != text.npos;
    });
    return row == table.end() ? nullptr : row->sentence;
}

}  // namespace

void ConversationWatch::Init() {
    log_.Init();
    status_ = 0;
    failed_ = false;
}

void ConversationWatch::Write(char const* mark, CString const& text) {
    log_.SetLogData(CString("[") + mark + "]" + text + "\r\n", with_time, without_rule);
}

void ConversationWatch::TakeError(char const* description) {
    message_ = description;
    Write("異常", message_);
    failed_ = true;
}

void ConversationWatch::Advance(std::span<ConversationStep const> steps, std::string_view line) {
    for (ConversationStep const& step : steps) {
        if (!line.starts_with(step.beginning)) continue;
        status_ = step.status;
        return;
    }
}

void ConversationWatch::TakeLine(int direction, char const* line) {
    CString const upper = Upper(line);
    if (!failed_) {
        if (direction == protocol::trail_sent) Advance(tables_.sent, upper.View());
        if (direction == protocol::trail_received) failed_ = tables_.fails(upper.View(), status_);
        if (direction == protocol::trail_information) Advance(tables_.information, upper.View());
    }
    bool const secret = direction == protocol::trail_sent && !tables_.secret.empty() &&
                        upper.View().starts_with(tables_.secret);
    Write(direction == protocol::trail_sent       ? "送信"
          : direction == protocol::trail_received ? "受信"
                                                  : "情報",
          secret ? tables_.shown : line);
}

CString ConversationWatch::SentenceFor(CString const& text, int code) {
    CString reason;
    reason.Format("[エラー理由][%d]", code);
    log_.SetLogData(reason + text + "\r\n", with_time, without_rule);
    char const* sentence = Find(tables_.texts, Upper(text).View());
    if (!sentence) sentence = Find(tables_.codes, code);
    if (!sentence) sentence = Find(tables_.statuses, status_);
    return sentence ? CString(sentence) : text;
}

}  // namespace delivery
