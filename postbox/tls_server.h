#pragma once

#include <cstddef>
#include <memory>
#include <string>

// The server's side of TLS, for the built-in post box.
namespace postbox {

// One connection; closes nothing.
class TlsStream {
  public:
    struct Session;
    explicit TlsStream(std::unique_ptr<Session> session);
    ~TlsStream();
    TlsStream(TlsStream const&) = delete;
    TlsStream& operator=(TlsStream const&) = delete;

    // Bytes moved; 0 or less at the end.
    long Read(void* data, std::size_t size);
    long Write(void const* data, std::size_t size);
    bool HasReceived() const;

  private:
    std::unique_ptr<Session> session_;
};

// Makes a key and a self-signed certificate for this machine's loopback names, valid for 30 days. The key
// never leaves the process.
class TlsServer {
  public:
    // Throws Error.
    TlsServer();
    ~TlsServer();
    TlsServer(TlsServer const&) = delete;
    TlsServer& operator=(TlsServer const&) = delete;

    // In PEM, for the clients that are to trust it.
    std::string const& Certificate() const { return certificate_; }
    // The handshake over an accepted, blocking connection; null when it fails. Any thread may call it.
    std::unique_ptr<TlsStream> Accept(int descriptor) const;

  private:
    struct Identity;
    std::unique_ptr<Identity> identity_;
    std::string certificate_;
};

}  // namespace postbox
