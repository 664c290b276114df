#include "platform/timer.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <vector>

#include "platform/clock.h"

namespace platform {
namespace {

struct Timer {
    std::uint32_t id;
    std::int64_t period;
    std::int64_t due;  // on the monotonic clock; once it has come, the message waits
};

thread_local std::vector<Timer> timers;

auto FindTimer(std::uint32_t id) {
    return std::find_if(timers.begin(), timers.end(), [id](Timer const& timer) { return timer.id == id; });
}

// Unique in the process, so that a thread cannot end its own timer by another's ID.
std::uint32_t NewId() {
    static std::atomic<std::uint32_t> last{0};
    for (;;) {
        std::uint32_t const id = ++last;
        if (id != 0 && FindTimer(id) == timers.end()) return id;
    }
}

// Null without a timer.
Timer* EarliestDue() {
    auto const earlier = [](Timer const& a, Timer const& b) { return a.due < b.due; };
    auto const first = std::min_element(timers.begin(), timers.end(), earlier);
    return first == timers.end() ? nullptr : &*first;
}

// The timer whose message has waited longest; null for none.
Timer* LongestWaiting(std::int64_t now) {
    Timer* const first = EarliestDue();
    return first && first->due <= now ? first : nullptr;
}

// The next time is counted from the last one that was due, unless that has passed as well.
void TakeMessage(Timer& timer, std::int64_t now) {
    timer.due += timer.period;
    if (timer.due <= now) timer.due = now + timer.period;
}

}  // namespace

std::uint32_t SetTimer(std::uint32_t milliseconds) {
    std::int64_t const period = std::max(milliseconds, 1U);
    timers.push_back({NewId(), period, MonotonicMilliseconds() + period});
    return timers.back().id;
}

int KillTimer(std::uint32_t id) {
    auto const timer = FindTimer(id);
    if (timer == timers.end()) return 0;
    timers.erase(timer);
    return 1;
}

bool PeekMessage(Message* message, unsigned first, unsigned last, bool remove) {
    if (timers.empty() || wm_timer < first || wm_timer > last) return false;
    std::int64_t const now = MonotonicMilliseconds();
    Timer* timer = LongestWaiting(now);
    if (!timer) return false;
    *message = {wm_timer, timer->id};
    if (remove) TakeMessage(*timer, now);
    return true;
}

int MillisecondsToNextTimer() {
    Timer const* const first = EarliestDue();
    if (!first) return -1;
    return static_cast<int>(std::clamp<std::int64_t>(first->due - MonotonicMilliseconds(), 0, INT_MAX));
}

}  // namespace platform
