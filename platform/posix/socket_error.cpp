#include "platform/posix/socket_error.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "tessaly/platform/socket.h"

namespace platform {
namespace {

thread_local int last_error = 0;

constexpr struct {
    int error;
    SocketError number;
} numbers[] = {
    {EINTR, socket_interrupted},
    {EBADF, socket_not_socket},
    {ENOTSOCK, socket_not_socket},
    {EACCES, socket_access},
    {EFAULT, socket_fault},
    {EINVAL, socket_invalid},
    {EMFILE, socket_too_many_open},
    {ENFILE, socket_too_many_open},
    {EAGAIN, socket_would_block},
    {EINPROGRESS, socket_in_progress},
    {EALREADY, socket_already},
    {EDESTADDRREQ, socket_destination_required},
    {EAFNOSUPPORT, socket_address_family},
    {EPFNOSUPPORT, socket_address_family},
    {EPROTONOSUPPORT, socket_address_family},
    {EADDRINUSE, socket_address_in_use},
    {EADDRNOTAVAIL, socket_address_not_available},
    {ENETDOWN, socket_network_down},
    {ENETUNREACH, socket_network_unreachable},
    // The clients have a text ("cannot be reached") for an unreachable network only. For the sender a host
    // behind a closed route, or one that this machine's own filter forbids, is the same.
    {EHOSTUNREACH, socket_network_unreachable},
    {EHOSTDOWN, socket_network_unreachable},
    {EPERM, socket_network_unreachable},
    {ENETRESET, socket_network_reset},
    {ECONNABORTED, socket_aborted},
    {EPIPE, socket_aborted},
    {ECONNRESET, socket_reset},
    {ENOBUFS, socket_no_buffers},
    {ENOMEM, socket_no_buffers},
    {EISCONN, socket_is_connected},
    {ENOTCONN, socket_not_connected},
    {ESHUTDOWN, socket_shut_down},
    {ETIMEDOUT, socket_timed_out},
    {ECONNREFUSED, socket_refused},
};

}  // namespace

int posix::SocketErrorOf(int error) noexcept {
    for (auto const& row : numbers)
        if (row.error == error) return row.number;
    return socket_system_failure;
}

int GetLastSocketError() noexcept { return last_error; }

void SetLastSocketError(int error) noexcept { last_error = error; }

int GetHostName(char* name, int size) {
    char whole[256] = {};
    bool const asked = name && size > 0 && gethostname(whole, sizeof whole - 1) == 0;
    SetLastSocketError(asked ? 0 : name && size > 0 ? posix::SocketErrorOf(errno) : socket_fault);
    if (!asked) return -1;
    std::string_view const fitting = std::string_view(whole).substr(0, static_cast<std::size_t>(size) - 1);
    name[fitting.copy(name, fitting.size())] = 0;
    return 0;
}

}  // namespace platform
