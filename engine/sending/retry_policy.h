#pragma once

#include <chrono>

#include "engine/environment/session.h"
#include "engine/mails/states.h"

namespace engine {

// Whether a recipient who did not get a mail is tried again, by the settings retry.allowed and retry.max. The
// library's CheckRetrySendOK and GetRetryAddress read the same two.
class RetryPolicy {
  public:
    explicit RetryPolicy(Session& session)
        : allowed_(session.Setting("retry.allowed") != "N"), limit_(session.NumberSetting("retry.max")) {}

    // The state of a recipient after an attempt that failed, or whose mail came back. `retry_number` is that
    // of the attempt, 0 for the first.
    RecipientState AfterFailure(int retry_number) const {
        return allowed_ && retry_number < limit_ ? RecipientState::waiting : RecipientState::failed;
    }

  private:
    bool allowed_;
    int limit_;
};

// Within one attempt: how often, and after which pause, a server that did not answer is tried again.
inline constexpr int connect_tries = 3;
inline constexpr auto pause_between_tries = std::chrono::seconds(1);

}  // namespace engine
