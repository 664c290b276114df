#include "delivery/socket_error_codes.h"

#include "tessaly/platform/socket.h"
#include "tessaly/storage/err_msg.h"

using enum storage::ErrorCode;

namespace delivery {

namespace {

struct CodesOfError {
    int socket_error;
    int when_connecting, when_sending, when_receiving, when_shutting_down;
};

constexpr CodesOfError Always(int socket_error, int code) noexcept {
    return {socket_error, code, code, code, code};
}

constexpr CodesOfError codes[] = {
    Always(platform::socket_access, socket_broadcast_address),
    {platform::socket_fault, socket_bad_address_length, socket_fault, error_unknown_code, error_unknown_code},
    {platform::socket_invalid, socket_bad_host_address, socket_not_bound, socket_not_bound,
     socket_bad_shutdown_argument},
    Always(platform::socket_too_many_open, socket_too_many_files),
    Always(platform::socket_would_block, socket_already_running),
    Always(platform::socket_in_progress, socket_in_progress),
    Always(platform::socket_not_socket, socket_not_a_socket),
    Always(platform::socket_destination_required, socket_destination_required),
    Always(platform::socket_address_family, socket_address_family_not_supported),
    Always(platform::socket_address_in_use, socket_process_limit),
    Always(platform::socket_address_not_available, socket_address_not_available),
    Always(platform::socket_network_down, socket_net_down),
    Always(platform::socket_network_unreachable, socket_net_unreachable),
    Always(platform::socket_network_reset, socket_net_reset),
    Always(platform::socket_aborted, socket_connection_aborted),
    Always(platform::socket_reset, socket_connection_reset),
    {platform::socket_no_buffers, socket_no_buffers, socket_would_block, socket_would_block,
     socket_would_block},
    Always(platform::socket_is_connected, socket_already_connected),
    Always(platform::socket_not_connected, socket_not_connected),
    Always(platform::socket_shut_down, socket_shut_down),
    Always(platform::socket_timed_out, socket_timed_out),
    Always(platform::socket_refused, socket_connection_refused),
    Always(platform::socket_not_initialised, socket_not_initialised),
};

}  // namespace

int SocketErrorCode(int socket_error, SocketCall call) noexcept {
    for (CodesOfError const& row : codes) {
        if (row.socket_error != socket_error) continue;
        switch (call) {
            case SocketCall::connect: return row.when_connecting;
            case SocketCall::send: return row.when_sending;
            case SocketCall::receive: return row.when_receiving;
            case SocketCall::shutdown: return row.when_shutting_down;
        }
    }
    return error_unknown_code;
}

void SetSocketError(CErrMsg& error, int socket_error, SocketCall call) {
    constexpr int peer_closed = 0;
    int const code = SocketErrorCode(socket_error, call);
    if (code != error_unknown_code)
        error.SetErr(code);
    else if (socket_error == peer_closed)
        error.SetErrS(code, "サーバーとの通信が途中で切断されました.");
    else if (socket_error == platform::socket_interrupted)
        error.SetErrS(code, "サーバーとの通信を中断しました.");
    else
        error.SetErrS(code, "サーバーとの通信に失敗しました.\r\n(ソケットエラー %d)", socket_error);
}

}  // namespace delivery
