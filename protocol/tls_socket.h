#pragma once

#include "platform/tls_layer.h"
#include "tessaly/platform/interruption.h"
#include "tessaly/protocol/socket_support.h"

// A SocketSupport whose bytes are secured from StartTls on, and plain before. One thread uses an object,
// except for Interrupt.
class TlsSocket : public SocketSupport {
  public:
    ~TlsSocket() override;

    // Makes the handshake on the connected socket, within `ms` milliseconds in all (0: no limit). It fails if
    // bytes came before it (RFC 3207 6), and for a host that cannot be checked: an empty one, or one that is
    // too long for a name.
    platform::TlsFailure StartTls(platform::TlsOptions const& options, unsigned ms);
    // That of the last handshake (platform/tls_layer.h).
    CString FailureText() const { return failure_text_.IsEmpty() ? tls_.FailureText() : failure_text_; }
    platform::TlsCertificate const& Certificate() const { return certificate_; }
    bool IsSecure() const { return tls_.IsOn(); }
    // Such as "TLSv1.3, TLS_AES_256_GCM_SHA384".
    CString Parameters() const { return tls_.Parameters(); }
    void Close() override;

    // From any thread: the waiting call, and every later one, ends with socket_interrupted.
    void Interrupt() noexcept { interruption_.Raise(); }
    bool Interrupted() const noexcept { return interruption_.IsRaised(); }
    // Ends an interruption, so that the socket can be used again.
    void Resume() noexcept { interruption_.Clear(); }

  protected:
    long TrySend(void const* data, int size, int flags, Wait& wait) override;
    long TryReceive(void* data, int size, int flags, Wait& wait) override;
    bool HasReceived() const override { return tls_.HasReceived(); }
    int InterruptDescriptor() const override { return interruption_.Descriptor(); }

  private:
    platform::TlsLayer tls_;
    platform::Interruption interruption_;
    platform::TlsCertificate certificate_;
    CString failure_text_;
};
