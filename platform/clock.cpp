#include "platform/clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <limits>

namespace platform {
namespace {

using std::chrono::sys_days;
using std::chrono::sys_seconds;

// The range of the calendar of <chrono>; times beyond it are set to its ends.
constexpr sys_seconds calendar_first = sys_days{std::chrono::year::min() / 1 / 1};
constexpr sys_seconds calendar_last =
    sys_days{std::chrono::year::max() / 12 / 31} + std::chrono::seconds{86399};

std::int64_t InCalendar(std::int64_t seconds) noexcept {
    return std::clamp<std::int64_t>(seconds, calendar_first.time_since_epoch().count(),
                                    calendar_last.time_since_epoch().count());
}

// The time to which a FrozenClock sets the clock, in milliseconds since 1970.
constexpr std::int64_t running = std::numeric_limits<std::int64_t>::min();
std::atomic<std::int64_t> frozen_at{running};

}  // namespace

Instant Now() noexcept {
    std::int64_t now = frozen_at.load(std::memory_order_relaxed);
    if (now == running) {
        auto const since_1970 = std::chrono::system_clock::now().time_since_epoch();
        now = std::chrono::floor<std::chrono::milliseconds>(since_1970).count();
    }
    int const milliseconds = static_cast<int>((now % 1000 + 1000) % 1000);
    return {(now - milliseconds) / 1000, milliseconds};
}

CalendarTime UtcTime(std::int64_t seconds) noexcept {
    sys_seconds const time{std::chrono::seconds{InCalendar(seconds)}};
    sys_days const day = std::chrono::floor<std::chrono::days>(time);
    std::chrono::year_month_day const date{day};
    std::chrono::hh_mm_ss const clock{time - day};
    return {int{date.year()},
            static_cast<int>(unsigned{date.month()}),
            static_cast<int>(unsigned{date.day()}),
            static_cast<int>(clock.hours().count()),
            static_cast<int>(clock.minutes().count()),
            static_cast<int>(clock.seconds().count()),
            static_cast<int>(std::chrono::weekday{day}.c_encoding())};
}

CalendarTime LocalTime(std::int64_t seconds) noexcept {
    std::int64_t const time = InCalendar(seconds);
    return UtcTime(time + UtcOffset(time));
}

std::int64_t MonotonicMilliseconds() noexcept {
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

FrozenClock::FrozenClock(Instant instant) noexcept { Set(instant); }

FrozenClock::~FrozenClock() { frozen_at.store(running, std::memory_order_relaxed); }

void FrozenClock::Set(Instant instant) noexcept {
    frozen_at.store(instant.seconds * 1000 + instant.milliseconds, std::memory_order_relaxed);
}

}  // namespace platform
