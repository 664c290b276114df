#pragma once

#include <cstdint>

// Time of day and time zone. Units that are compiled with literals in code page 932 cannot include <chrono>,
// so every clock of the library is here. A test can stop the clock.
namespace platform {

struct Instant {
    std::int64_t seconds;  // since 1970-01-01 00:00:00 UTC
    int milliseconds;      // 0 to 999
};

struct CalendarTime {
    int year, month, day, hour, minute, second;  // month and day from 1
    int weekday;                                 // 0 Sunday
};

Instant Now() noexcept;
// In the process's time zone (TZ), and in UTC. Both may be called from any thread.
CalendarTime LocalTime(std::int64_t seconds) noexcept;
CalendarTime UtcTime(std::int64_t seconds) noexcept;
inline CalendarTime LocalTimeNow() noexcept { return LocalTime(Now().seconds); }
// Offset of local time from UTC at `seconds`, in seconds, positive to the east, summer time included.
long UtcOffset(std::int64_t seconds) noexcept;
// Offset of standard time from UTC in seconds, positive to the west, read anew from TZ (the runtime's
// _timezone after _tzset).
long StandardTimezone() noexcept;
// Steady clock for time limits and progress.
std::int64_t MonotonicMilliseconds() noexcept;

// For tests: the process's clock stands at `instant` as long as the object lives. One at a time.
class FrozenClock {
  public:
    explicit FrozenClock(Instant instant) noexcept;
    ~FrozenClock();
    FrozenClock(FrozenClock const&) = delete;
    FrozenClock& operator=(FrozenClock const&) = delete;
    void Set(Instant instant) noexcept;
};

}  // namespace platform
