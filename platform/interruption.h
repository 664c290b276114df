#pragma once

#include <memory>

namespace platform {

// Lets any thread end the waiting of another: a descriptor that is readable from Raise to Clear.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    void Raise() noexcept;
    void Clear() noexcept;
    bool IsRaised() const noexcept;
    int Descriptor() const noexcept;

  private:
    struct Event;
    std::unique_ptr<Event> event_;
};

}  // namespace platform
