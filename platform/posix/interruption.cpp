#include "tessaly/platform/interruption.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>

#include "platform/clock.h"
#include "platform/posix/descriptor.h"

namespace platform {
namespace {

constexpr std::int64_t not_raised = -1;

struct ThreadState {
    Interruption const* interruption = nullptr;
    int grace_ms = InterruptibleWaits::grace_ms;
};
thread_local ThreadState state;

}  // namespace

struct Interruption::Event {
    posix::Descriptor descriptor{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::atomic<std::int64_t> raised_at = not_raised;  // by the monotonic clock
};

Interruption::Interruption() : event_(std::make_unique<Event>()) {}

Interruption::~Interruption() = default;

void Interruption::Raise() noexcept {
    std::int64_t never = not_raised;
    event_->raised_at.compare_exchange_strong(never, MonotonicMilliseconds());
    eventfd_write(Descriptor(), 1);
}

void Interruption::Clear() noexcept {
    eventfd_t count = 0;
    eventfd_read(Descriptor(), &count);
    event_->raised_at = not_raised;
}

bool Interruption::IsRaised() const noexcept {
    pollfd event{Descriptor(), POLLIN, 0};
    return poll(&event, 1, 0) > 0;
}

int Interruption::Descriptor() const noexcept { return event_->descriptor.Get(); }

std::int64_t Interruption::Age() const noexcept {
    std::int64_t const raised_at = event_->raised_at;
    return raised_at == not_raised ? not_raised : MonotonicMilliseconds() - raised_at;
}

InterruptibleWaits::InterruptibleWaits(Interruption const& interruption) noexcept {
    state.interruption = &interruption;
}

InterruptibleWaits::~InterruptibleWaits() { state.interruption = nullptr; }

int InterruptibleWaits::Descriptor() noexcept {
    return state.interruption ? state.interruption->Descriptor() : -1;
}

int InterruptibleWaits::MillisecondsLeft() noexcept {
    std::int64_t const age = state.interruption ? state.interruption->Age() : not_raised;
    if (age == not_raised) return -1;
    return static_cast<int>(std::max<std::int64_t>(state.grace_ms - age, 0));
}

PatientWaits::PatientWaits() noexcept { state.grace_ms = InterruptibleWaits::patient_grace_ms; }

PatientWaits::~PatientWaits() { state.grace_ms = InterruptibleWaits::grace_ms; }

}  // namespace platform
