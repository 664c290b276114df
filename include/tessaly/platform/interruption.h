#pragma once

#include <cstdint>
#include <memory>

#include "tessaly/platform/export.h"

namespace platform {

// Lets any thread end the waiting of others: a descriptor that is readable from Raise to Clear.
class TESSALY_API Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;
    void Raise() noexcept;
    void Clear() noexcept;
    bool IsRaised() const noexcept;
    int Descriptor() const noexcept;
    // Milliseconds since the first Raise; -1 when it is not raised.
    std::int64_t Age() const noexcept;

  private:
    struct Event;
    std::unique_ptr<Event> event_;
};

// As long as an object lives, the waits of all sockets of its thread end with socket_interrupted soon after
// the interruption is raised. What is under way has `grace_ms` to come to its end, and where the thread has
// an object of PatientWaits, `patient_grace_ms`, both from the first Raise. One object at a time for a
// thread.
class TESSALY_API InterruptibleWaits {
  public:
    static constexpr int grace_ms = 300;
    static constexpr int patient_grace_ms = 1000;

    explicit InterruptibleWaits(Interruption const& interruption) noexcept;
    ~InterruptibleWaits();
    InterruptibleWaits(InterruptibleWaits const&) = delete;
    InterruptibleWaits& operator=(InterruptibleWaits const&) = delete;

    // Of the calling thread. The interruption's descriptor, -1 for none.
    static int Descriptor() noexcept;
    // What is left of the grace, -1 while nothing is raised.
    static int MillisecondsLeft() noexcept;
};

// While an object lives, its thread awaits something whose outcome would otherwise stay unknown.
class TESSALY_API PatientWaits {
  public:
    PatientWaits() noexcept;
    ~PatientWaits();
    PatientWaits(PatientWaits const&) = delete;
    PatientWaits& operator=(PatientWaits const&) = delete;
};

}  // namespace platform
