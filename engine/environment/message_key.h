#pragma once

#include <string>

#include "engine/environment/session.h"

// The key with which an environment signs what its mails carry, so that an answer is known to be to one of
// them: 32 random bytes in a file of its own. Nothing depends on the key alone: without it mails leave
// unsigned, and the histories decide.
namespace engine {

inline constexpr char const* message_key_file = "message.key";

struct MessageKey {
    enum State { none, whole, damaged };
    State state = none;
    std::string bytes{};  // of a whole one; else empty
};
// The one of an environment at present, by its data directory. A file that cannot be read counts as damaged.
MessageKey ReadMessageKey(std::string const& data_directory);

// The key for mails that are sent. The first call makes it, under the lock of the environment. Where it is
// damaged or cannot be made, the front end is told, and the result is empty. Throws Failure when the front
// end stops the waiting for the lock.
std::string MessageKeyForSending(Session& session);

// Puts a damaged one aside, so that the next mails are signed with a new one. Result: the name that it got.
// The session is one for restoring. Throws Failure.
std::string PutAsideMessageKey(Session const& session);

}  // namespace engine
