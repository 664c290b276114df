#include "engine/base/stoppable_waits.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace engine {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto between_looks = std::chrono::milliseconds(50);

}  // namespace

StoppableWaits::StoppableWaits(FrontEnd const& front)
    : own_(interruption_), watcher_([this, &front](std::stop_token const& end) {
          std::mutex lock;
          std::condition_variable_any wake;
          std::unique_lock hold(lock);
          while (!end.stop_requested()) {
              if (front.Stopped()) return interruption_.Raise();
              wake.wait_for(hold, end, between_looks, [] { return false; });
          }
      }) {}

void Pause(FrontEnd const& front, std::chrono::milliseconds duration) {
    auto const end = Clock::now() + duration;
    for (auto now = Clock::now(); now < end && !front.Stopped(); now = Clock::now())
        std::this_thread::sleep_for(std::min<Clock::duration>(end - now, between_looks));
}

}  // namespace engine
