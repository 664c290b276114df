#pragma once

#include <optional>
#include <string>

#include "engine/environment/session.h"

namespace engine {

// What a person decides about a kept mail: that it refuses further mail, or that it does not.
struct InboxDecision {
    int number = 0;
    bool refuses = false;
    std::optional<int> customer{};  // who refuses; none: the sender
};

// Applies it, and records it as the mail's effect. Deciding again is allowed; a refusal is not taken back by
// it. The session is one for changing. Result: the effect, UTF-8. Throws Failure.
std::string Decide(Session& session, InboxDecision const& decision);

}  // namespace engine
