#pragma once

namespace platform::posix {

// The number that the mail clients know for an errno value. The only place where one becomes the other.
int SocketErrorOf(int error) noexcept;

}  // namespace platform::posix
