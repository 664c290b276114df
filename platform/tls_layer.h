#pragma once

#include <functional>
#include <memory>

#include "tessaly/platform/cstring.h"

// Transport Layer Security over a connected socket: TLS 1.2 (RFC 5246) or 1.3 (RFC 8446). Sessions are
// resumed from one connection to the next of the process.
namespace platform {

struct TlsOptions {
    // As in a subject alternative name of the certificate, whole or with "*" for its first label (RFC 9525
    // 6); the subject is not looked at. A host name is also sent to the server (SNI, RFC 6066 3).
    CString host;
    unsigned port;    // identifies, with the host, an earlier session
    CString ca_file;  // library path of the certificates to trust (PEM); empty for those of the system
    bool verify = true;
};

// A server's certificate, for people to read. Texts in UTF-8; times "YYYY/MM/DD hh:mm:ss", UTC.
struct TlsCertificate {
    CString subject, issuer, names;  // names: those of hosts, separated by ", "
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

// The state of one secured connection. One thread uses an object.
class TlsLayer {
  public:
    // The condition under which a call can be repeated.
    enum class Wait { to_receive, to_send };
    // Waits until the socket is ready. Result: 0, or the socket's error.
    using Waiting = std::function<int(Wait)>;

    TlsLayer();
    ~TlsLayer();

    // Makes the handshake over a connected socket that does not block. A host that cannot be checked, an
    // empty one or one too long for a name, ends it. An interrupted wait is timed_out. The waiting limits the
    // time.
    TlsFailure Start(TlsOptions const& options, int descriptor, Waiting const& wait);
    // Sends the end of the connection, and does not wait for the peer's answer.
    void End();
    bool IsOn() const { return connection_ != nullptr; }
    // The text of the TLS library or of the verification about the last failure, in English.
    CString FailureText() const { return failure_text_; }
    // Such as "TLSv1.3, TLS_AES_256_GCM_SHA384".
    CString Parameters() const;
    // That of the last handshake, failed or not; all empty where the server showed none.
    TlsCertificate const& Certificate() const { return certificate_; }

    // One try to move bytes. Result: their number, 0 when the peer closed, or -1 with errno; for EAGAIN
    // `wait` becomes the condition for the next try.
    long TrySend(void const* data, int size, Wait& wait);
    long TryReceive(void* data, int size, Wait& wait);
    // Whether there are received bytes that were not read.
    bool HasReceived() const;

  private:
    struct Connection;
    TlsFailure Shake(Waiting const& wait);
    long Result(int result, Wait& wait);

    std::unique_ptr<Connection> connection_;
    TlsCertificate certificate_;
    CString failure_text_;
};

}  // namespace platform
