#pragma once

#include <memory>

#include "platform/cstring.h"
#include "platform/export.h"
#include "platform/socket_support.h"

// Transport Layer Security under the socket of the mail clients: TLS 1.2 (RFC 5246) or 1.3 (RFC 8446).
namespace platform {

struct TlsOptions {
    // As a subject alternative name of the certificate must have it, whole or with "*" for its first label
    // (RFC 9525 6); the subject is not looked at. A host name also goes to the server (SNI, RFC 6066 3).
    CString host;
    unsigned port;    // with the host, that to which an earlier session belongs
    CString ca_file;  // library path of the certificates to trust (PEM); empty for those of the system
    bool verify = true;
};

// What a server showed of itself, for people to read. Texts in UTF-8; times "YYYY/MM/DD hh:mm:ss", UTC.
struct TlsCertificate {
    CString subject, issuer, names;  // names: those of hosts, divided by ", "
    CString valid_from, valid_until;
};

enum class TlsFailure {
    none,
    no_authorities,  // the file of trusted certificates cannot be read
    handshake,
    closed,       // by the peer, before the handshake was complete
    certificate,  // it is not trusted, not valid now, or of another host
    timed_out,
    interrupted,
    lost,  // by the socket's error
};

}  // namespace platform

// A SocketSupport whose bytes are secured from StartTls on; until then it is one. Sessions are resumed from
// one connection to the next of the process. One thread uses an object, but for Interrupt.
class TESSALY_API TlsSocket : public SocketSupport {
  public:
    TlsSocket();
    ~TlsSocket() override;

    // Makes the handshake on the connected socket, within `ms` milliseconds in all (0: no limit). Bytes that
    // came before it, unasked, end it (RFC 3207 6), and so does a host that cannot be checked: an empty one,
    // or one that is too long for a name.
    platform::TlsFailure StartTls(platform::TlsOptions const& options, unsigned ms);
    // What the TLS library or the verification said to the last failure, in English.
    CString FailureText() const { return failure_text_; }
    bool IsSecure() const { return tls_ != nullptr; }
    // Such as "TLSv1.3, TLS_AES_256_GCM_SHA384".
    CString Parameters() const;
    // Of the last handshake, failed or not; all empty where the server showed none.
    platform::TlsCertificate const& Certificate() const { return certificate_; }
    void Close() override;

    // From any thread: the call that waits now, and every later one, ends with socket_interrupted.
    void Interrupt() noexcept;
    bool Interrupted() const noexcept;
    // The end of an interruption, before the socket is used again.
    void Resume() noexcept;

  protected:
    long TrySend(void const* data, int size, int flags, Wait& wait) override;
    long TryReceive(void* data, int size, int flags, Wait& wait) override;
    bool HasReceived() const override;
    int InterruptDescriptor() const override;

  private:
    struct Tls;
    struct Event;
    platform::TlsFailure Shake(unsigned ms);
    long Result(int result, Wait& wait);

    std::unique_ptr<Tls> tls_;
    std::unique_ptr<Event> interruption_;
    platform::TlsCertificate certificate_;
    CString failure_text_;
};
