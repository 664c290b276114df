#pragma once

#include <chrono>
#include <thread>

#include "engine/base/front_end.h"
#include "tessaly/platform/interruption.h"

namespace engine {

// As long as an object lives, the waits for servers of the thread that made it end soon after the front end
// stops the work (platform::InterruptibleWaits).
class StoppableWaits {
  public:
    explicit StoppableWaits(FrontEnd const& front);
    // For the other threads of the work, each of which makes an InterruptibleWaits of it.
    platform::Interruption const& Interruption() const { return interruption_; }

  private:
    platform::Interruption interruption_;
    platform::InterruptibleWaits own_;
    std::jthread watcher_;
};

// Waits that long, or until the front end stops the work.
void Pause(FrontEnd const& front, std::chrono::milliseconds duration);

}  // namespace engine
