#pragma once

#include <cstdint>

// Thread timers: a timer belongs to the thread that set it, and when it is due a timer message waits in that
// thread's queue until it is removed. Blocking socket calls of the thread wake up for it (platform/socket.h).
namespace platform {

inline constexpr unsigned wm_timer = 275;

struct Message {
    unsigned message;
    std::uint32_t wParam;  // ID of the timer
};

// Repeats every `milliseconds` (at least 1) until killed. Result: its ID; 0 on failure.
std::uint32_t SetTimer(std::uint32_t milliseconds);
// 1, or 0 when this thread has no such timer. Its waiting messages go too.
int KillTimer(std::uint32_t id);
// The oldest waiting message whose number lies in `first` to `last`, taken out of the queue if `remove`.
// false when there is none.
bool PeekMessage(Message* message, unsigned first, unsigned last, bool remove);
// Milliseconds until the next timer of this thread is due, 0 when a message waits, -1 with neither.
int MillisecondsToNextTimer();

}  // namespace platform
