#include "delivery/conversation_log.h"

#include "platform/clock.h"
#include "tessaly/storage/log_writer.h"

namespace delivery {

void ConversationLog::Note(std::string_view text) { Add("｜L｜", text); }

void ConversationLog::Command(std::string_view line) { Add("｜S｜", line); }

void ConversationLog::Reply(std::string_view text) { Add("｜R｜", text); }

void ConversationLog::Add(std::string_view mark, std::string_view text) {
    lines_.append(TimeStamp()).append(mark).append(text);
    if (!text.ends_with("\r\n")) lines_ += "\r\n";
}

std::string_view ConversationLog::TimeStamp() {
    std::int64_t const now = platform::Now().seconds;
    if (now != stamp_second_) {
        platform::CalendarTime const local = platform::LocalTime(now);
        stamp_.Format("%02d:%02d:%02d", local.hour, local.minute, local.second);
        stamp_second_ = now;
    }
    return stamp_.View();
}

void ConversationLog::Write() {
    if (lines_.empty()) return;
    constexpr int as_it_is = 0, without_rule = 0;
    log_.SetLogData(CString(lines_), as_it_is, without_rule);
    lines_.clear();
}

}  // namespace delivery
