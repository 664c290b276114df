#pragma once

#include <functional>
#include <memory>
#include <string>

#include "engine/mails/states.h"
#include "engine/sending/outgoing_mail.h"
#include "engine/sending/secure_clients.h"
#include "engine/sending/server_settings.h"
#include "tessaly/delivery.h"

// One connection to the server for outgoing mail, plain or secured: each thread of a mailing has one.
namespace engine {

struct Verdict {
    Outcome kind = Outcome::failed;
    std::string reply{};     // what the server or the library said, on one line
    int code = 0;            // of the reply that refused; 0: none
    std::string enhanced{};  // its status code (RFC 3463); empty: none
    bool connected = true;   // false: no server answered; another try may succeed
    bool attempted = true;   // false: the failure came before the mail: connection, greeting or login
    bool for_all = false;    // every other recipient would fail too
    bool hopeless = false;   // another try would fail too
};

// Whether a server would take mail, found without sending any.
struct ChannelCheck {
    bool works = false;
    std::string reason;  // where it does not
    Handshake handshake;
};

class MailChannel {
  public:
    virtual ~MailChannel() = default;
    // `known` gets the verdict when it is known, before anything else goes to the server (RSET, QUIT).
    using Known = std::function<void(Verdict const&)>;
    virtual void Send(OutgoingMail const& mail, Known const& known) = 0;
    // Connects as Send does, up to the login, and quits.
    virtual ChannelCheck Check() = 0;
};

std::unique_ptr<MailChannel> MakeMailChannel(ServerSettings const& server);

}  // namespace engine
