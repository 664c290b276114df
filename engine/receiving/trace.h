#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/incoming/incoming_mail.h"
#include "engine/incoming/own_id.h"

// Which mail to which customer a received mail answers, by what of that mail came back.
namespace engine {

// What is known of the mails that were sent.
class SentMails {
  public:
    virtual ~SentMails() = default;
    // Whether there is such a mail and such a customer, deleted ones too.
    virtual bool Has(MailNumbers const& numbers) = 0;
    // The Message-IDs on record for them: of the last attempt, then of one whose outcome is not known. Called
    // only where Has.
    virtual std::vector<std::string> IdsOf(MailNumbers const& numbers) = 0;
    // The mail and customer of a Message-ID without numbers, as earlier versions gave them.
    virtual std::optional<MailNumbers> BehindOldId(std::string_view message_id) = 0;
};

struct Traced {
    enum How {
        by_id,
        by_token,    // in the address to which the mail came, or one to unsubscribe
        by_address,  // of a customer who was mailed not long ago; less certain than the others
    };
    MailNumbers numbers;
    std::string message_id{};  // as it is on record, where it is; else as found; empty for none
    How how = by_id;
    std::size_t depth = 0;    // how many messages hold the one in which it was found
    std::size_t message = 0;  // that one
};

// Looks through one received mail. What is found counts only where the mail and the customer exist, and the
// Message-ID is on record for them or signed by this environment (an earlier attempt).
class Trace {
  public:
    // `raw` is the text of `mail`. All of them must stay as long as the object is used.
    Trace(IncomingMail const& mail, std::string_view raw, IdSigner const& signer, SentMails& sent);

    // Each mail and customer once; empty for none. Of messages within others the innermost that tell
    // something count: several, where several lie beside each other, as in a digest of bounces. Of one
    // message the most certain place counts: its Message-ID, In-Reply-To, References, the rest of its header,
    // its parts. Then follow the text as it came, and the tokens.
    std::vector<Traced> All() const;

    // Who asks to unsubscribe by a right token in the subject or at the start of the text of the mail itself.
    std::optional<MailNumbers> Unsubscriber() const;

    // For a bounce in which nothing else is found: by the only customer among those whose addresses its
    // report names, else its header, else its text. `lookup` gives the last mail to the customer with an
    // address, if exactly one has it and was mailed within the time that counts.
    struct LastMail {
        MailNumbers numbers;
        std::string message_id;
    };
    using Lookup = std::function<std::optional<LastMail>(std::string const& address)>;
    std::optional<Traced> ByAddress(Lookup const& lookup) const;

  private:
    struct Place {
        std::size_t message, depth;
    };
    std::vector<Traced> Within(Place place) const;
    std::vector<Traced> InMessage(Place place) const;
    std::vector<Traced> InText(std::string_view text, Place place) const;
    std::optional<Traced> InField(std::string_view field, Place place) const;
    std::optional<Traced> Counted(std::string const& id, MailNumbers const& numbers, Place place) const;
    std::optional<Traced> Old(std::string_view id, Place place) const;
    std::optional<MailNumbers> SignedBy(std::string_view text, IdSigner::Use use) const;
    std::vector<Traced> ByToken() const;
    std::optional<MailNumbers> InCopiedHeader() const;

    IncomingMail const& mail_;
    std::string_view const raw_;
    IdSigner const& signer_;
    SentMails& sent_;
    std::vector<std::vector<std::size_t>> held_;  // by message: the messages in it
};

}  // namespace engine
