#include "protocol/tls_socket.h"

using platform::TlsFailure;
using platform::TlsLayer;

TlsSocket::~TlsSocket() { TlsSocket::Close(); }

void TlsSocket::Close() {
    tls_.End();
    SocketSupport::Close();
}

TlsFailure TlsSocket::StartTls(platform::TlsOptions const& options, unsigned ms) {
    failure_text_.Empty();
    certificate_ = {};
    if (!GetLineBuffer().IsEmpty()) {
        failure_text_ = "data before the handshake";
        return TlsFailure::handshake;
    }
    SetTimeOut(ms);
    TlsFailure const failure = tls_.Start(options, Handle(), [&](TlsLayer::Wait wait) {
        return WaitFor(wait == TlsLayer::Wait::to_receive ? Wait::to_receive : Wait::to_send);
    });
    KillTimeOut();
    certificate_ = tls_.Certificate();
    bool const interrupted = Interrupted() || platform::InterruptibleWaits::MillisecondsLeft() == 0;
    return failure == TlsFailure::timed_out && interrupted ? TlsFailure::interrupted : failure;
}

long TlsSocket::TrySend(void const* data, int size, int flags, Wait& wait) {
    if (!tls_.IsOn()) return SocketSupport::TrySend(data, size, flags, wait);
    auto needed = TlsLayer::Wait::to_send;
    long const sent = tls_.TrySend(data, size, needed);
    wait = needed == TlsLayer::Wait::to_receive ? Wait::to_receive : Wait::to_send;
    return sent;
}

long TlsSocket::TryReceive(void* data, int size, int flags, Wait& wait) {
    if (!tls_.IsOn()) return SocketSupport::TryReceive(data, size, flags, wait);
    auto needed = TlsLayer::Wait::to_receive;
    long const received = tls_.TryReceive(data, size, needed);
    wait = needed == TlsLayer::Wait::to_receive ? Wait::to_receive : Wait::to_send;
    return received;
}
