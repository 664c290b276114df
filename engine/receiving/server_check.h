#pragma once

#include <cstdint>
#include <string>

#include "engine/environment/session.h"
#include "engine/sending/secure_clients.h"
#include "engine/sending/server_settings.h"

// Whether the servers of an environment can be used, checked with the clients of sending and receiving.
namespace engine {

struct CheckedServer {
    enum Kind { outgoing, mailbox } kind;
    std::string host;
    int port;
    Security security;
    bool logs_in;
};

struct ServerCheck {
    bool works = false;
    std::string reason;  // where it does not, on one line
    Handshake handshake;
    bool certificate_ends_soon = false;
    std::uint64_t mails = 0;  // in a mailbox
};
// A certificate with fewer days left ends soon.
inline constexpr int days_of_warning = 14;

struct CheckRequest {
    // Shows each check before and after it; a connection may take as long as the settings allow.
    class View {
      public:
        virtual ~View() = default;
        virtual void Begin(CheckedServer const&) = 0;
        virtual void End(CheckedServer const&, ServerCheck const&) = 0;
    };

    std::string smtp, pop;  // "HOST:PORT" in place of the servers of the settings

    // Connects as far as the login, and leaves: the server for outgoing mail, and the mailbox where one is
    // set or given. Throws Failure when one of them cannot be used.
    void Run(Session& session, View& view) const;
};

}  // namespace engine
