#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "postbox/mail_folder.h"
#include "postbox/smtp_session.h"
#include "postbox/tls_server.h"

namespace postbox {

// The built-in post box: a server on the loopback address that stores the mails it gets by SMTP in a folder,
// or serves those of a folder by POP3.
class PostboxServer {
  public:
    enum class Protocol { smtp, pop };
    // Listens at once; port 0 takes a free one. Throws Error.
    // With `tls` every connection begins with its handshake.
    PostboxServer(MailFolder& folder, PostboxRules const& rules, int port, Protocol protocol,
                  TlsServer const* tls);
    ~PostboxServer();
    PostboxServer(PostboxServer const&) = delete;
    PostboxServer& operator=(PostboxServer const&) = delete;

    int Port() const { return port_; }
    unsigned long Stored() const { return stored_; }
    void Stop();

  private:
    void Work();
    void ConverseSmtp(int descriptor);
    void ConversePop(int descriptor);

    MailFolder& folder_;
    PostboxRules const& rules_;
    Protocol protocol_;
    TlsServer const* tls_;
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stop_ = false;
    std::atomic<unsigned long> stored_ = 0, connections_ = 0;
    std::vector<std::thread> workers_;
};

}  // namespace postbox
