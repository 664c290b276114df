#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/consent/suspensions.h"
#include "engine/sending/mail_history.h"
#include "engine/sending/mailing.h"

// What a mail that came back, or a server's refusal of a recipient, tells of the address.
namespace engine {

// None for what does not count against the address: a matter of the sender, the mail or a policy, or no
// bounce.
std::optional<Bounce> BounceOf(AnswerKind kind);
// Of a refusal by its reply code, its status code (RFC 3463) and what the server said.
std::optional<Bounce> BounceOf(int code, std::string_view enhanced, std::string_view text);

// Counts the recipients whom servers refused in a run for the list of suspended addresses.
class RecipientBounces {
  public:
    // `mail`: -1 for a draft.
    RecipientBounces(Session& session, int mail) : session_(session), mail_(mail) {}

    // Those of earlier runs, of which one may have been killed before it counted them. Who was changed since
    // is passed over: the refusal may be of another address. Loads the customers.
    void Take(MailHistory const& history);
    void Take(Delivery const& delivery);
    // Counts them, when no other process changes the environment, and tells how many addresses are suspended
    // by that. A front end that stops the wait leaves them to the next run of the mail. Throws Failure.
    void Save();

  private:
    struct Refused {
        std::string address;
        Bounce bounce;
        std::string text, time;
    };

    Session& session_;
    int const mail_;
    std::vector<Refused> refused_;
};

}  // namespace engine
