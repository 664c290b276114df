#include "platform/interruption.h"

#include <poll.h>
#include <sys/eventfd.h>

#include "platform/posix/descriptor.h"

namespace platform {

struct Interruption::Event {
    posix::Descriptor descriptor{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

Interruption::Interruption() : event_(std::make_unique<Event>()) {}

Interruption::~Interruption() = default;

void Interruption::Raise() noexcept { eventfd_write(Descriptor(), 1); }

void Interruption::Clear() noexcept {
    eventfd_t count = 0;
    eventfd_read(Descriptor(), &count);
}

bool Interruption::IsRaised() const noexcept {
    pollfd event{Descriptor(), POLLIN, 0};
    return poll(&event, 1, 0) > 0;
}

int Interruption::Descriptor() const noexcept { return event_->descriptor.Get(); }

}  // namespace platform
