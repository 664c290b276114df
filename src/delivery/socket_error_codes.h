#pragma once

#include "platform/export.h"

namespace delivery {

// The kind of socket call that failed; some socket errors mean different things to the user.
enum class SocketCall { connect = 1, send = 2, receive = 3, shutdown = 4 };

// The number of storage/error_codes.h that tells the user about a socket error (platform/socket.h);
// error_unknown_code when there is none.
TESSALY_API int SocketErrorCode(int socket_error, SocketCall call) noexcept;

}  // namespace delivery
