#pragma once

class CErrMsg;

namespace delivery {

// The kind of socket call that failed; some socket errors mean different things to the user.
enum class SocketCall { connect = 1, send = 2, receive = 3, shutdown = 4 };

// The number of storage/error_codes.h for a socket error (platform/socket.h); error_unknown_code when there
// is none.
int SocketErrorCode(int socket_error, SocketCall call) noexcept;

// Sets `error` for a failed call: to that number, or for an error without one, and for a peer that closed
// (`socket_error` 0), to error_unknown_code with a text of its own.
void SetSocketError(CErrMsg& error, int socket_error, SocketCall call);

}  // namespace delivery
