#pragma once

#include <cstdint>

// Time of day and time zone. Units that are compiled with literals in code page 932 cannot include <chrono>,
// so every clock of the library is here. A test can hold the clock still.
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
// Seconds that local time at `seconds` stands east of UTC, summer time included.
long UtcOffset(std::int64_t seconds) noexcept;
// Seconds west of UTC without summer time, read anew from TZ (the runtime's _timezone after _tzset).
long StandardTimezone() noexcept;
// Steady clock for time limits and progress.
std::int64_t MonotonicMilliseconds() noexcept;

// The process's clock stands at `instant` while such an object lives; for tests, one at a time.
class FrozenClock {
  public:
    explicit FrozenClock(Instant instant) noexcept;
    ~FrozenClock();
    FrozenClock(FrozenClock const&) = delete;
    FrozenClock& operator=(FrozenClock const&) = delete;
    void Set(Instant instant) noexcept;
};

}  // namespace platform
