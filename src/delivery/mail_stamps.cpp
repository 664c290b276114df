#include "tessaly/delivery/mail_stamps.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

#include "mime/boundary.h"
#include "platform/clock.h"

namespace delivery {

namespace {

constexpr int counter_end = 100000;
constexpr char const* weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr char const* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct MessageIdState {
    std::mutex lock;
    platform::Instant last{-1, -1};
    int counter = 0;
};
MessageIdState message_ids;

// Hours and minutes east of UTC as a number HHMM.
long SystemZone(std::int64_t now) {
    std::ldiv_t const offset = std::ldiv(platform::UtcOffset(now) / 60, 60);
    return offset.quot * 100 + offset.rem;
}

}  // namespace

CString NextMessageId(char const* text, int number) {
    std::lock_guard const held(message_ids.lock);
    platform::Instant const now = platform::Now();
    bool const same =
        now.seconds == message_ids.last.seconds && now.milliseconds == message_ids.last.milliseconds;
    message_ids.counter = same ? (message_ids.counter + 1) % counter_end : 0;
    message_ids.last = now;
    platform::CalendarTime const utc = platform::UtcTime(now.seconds);
    CString id;
    id.Format("%04d%02d%02d%02d%02d%02d%03d.%05d.%d.%s", utc.year, utc.month, utc.day, utc.hour, utc.minute,
              utc.second, now.milliseconds, message_ids.counter, number, text ? text : "");
    return id;
}

CString SmtpDateNow(char const* zone) {
    std::int64_t const now = platform::Now().seconds;
    platform::CalendarTime const local = platform::LocalTime(now);
    long const number =
        std::clamp(zone && *zone ? std::strtol(zone, nullptr, 10) : SystemZone(now), -9999L, 9999L);
    CString date;
    date.Format("%s, %02d %s %04d %02d:%02d:%02d %c%04ld", weekdays[local.weekday], local.day,
                months[local.month - 1], local.year, local.hour, local.minute, local.second,
                number < 0 ? '-' : '+', std::labs(number));
    return date;
}

CString NewBoundary() { return mime::NewBoundary("_MULTIPART_", "_MIXED_"); }

}  // namespace delivery
