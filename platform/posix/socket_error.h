#pragma once

namespace platform::posix {

// The error number of the mail clients for an errno value. The conversion is made only here.
int SocketErrorOf(int error) noexcept;

}  // namespace platform::posix
