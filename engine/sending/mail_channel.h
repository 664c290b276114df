#pragma once

#include <memory>
#include <string>

#include "engine/mails/states.h"
#include "engine/sending/outgoing_mail.h"
#include "engine/sending/secure_clients.h"
#include "engine/sending/server_settings.h"
#include "tessaly/delivery.h"

// One connection to the server for outgoing mail, plain or secured: what a thread of a mailing sends through.
namespace engine {

struct Verdict {
    Outcome kind = Outcome::failed;
    std::string reply;      // what the server or the library said, on one line
    bool connected = true;  // false: no server answered; worth another try
    bool attempted = true;  // false: the failure came before the recipient's turn
    bool for_all = false;   // it would meet every other recipient too
    bool hopeless = false;  // and so would trying again
};

// Whether a mail could be handed over, without one.
struct ChannelCheck {
    bool works = false;
    std::string reason;  // where it does not
    Handshake handshake;
};

class MailChannel {
  public:
    virtual ~MailChannel() = default;
    virtual Verdict Send(OutgoingMail const& mail) = 0;
    // The same way as far as the login, and QUIT.
    virtual ChannelCheck Check() = 0;
};

std::unique_ptr<MailChannel> MakeMailChannel(ServerSettings const& server, CString const& sender);

}  // namespace engine
