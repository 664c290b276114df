#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/environment/session.h"
#include "engine/receiving/trace.h"
#include "engine/sending/send_history.h"

namespace engine {

// The send histories of the mails that are answered, each read once, when it is first needed.
class SentHistories : public SentMails {
  public:
    // With `changes`, histories can be changed, and stay locked from their first use until Save.
    SentHistories(Session& session, bool changes) : session_(session), changes_(changes) {}

    bool Has(MailNumbers const& numbers) override;
    std::vector<std::string> IdsOf(MailNumbers const& numbers) override;
    std::optional<MailNumbers> BehindOldId(std::string_view message_id) override;
    // The last mail to the only customer with an address (AddressKey) who was mailed within the last 7 days.
    std::optional<Trace::LastMail> LastMailTo(std::string const& address);

    // To look at, and with `changes` to change, once Change is called. Null while the mail is being sent or
    // its history is damaged; `trouble` receives the reason.
    MailHistory* Get(int mail, std::string& trouble);
    // The one that Get gave. It is saved by Save.
    SendHistory& Change(int mail);
    // Writes the histories that were changed, and the list of mails once for all. Throws Failure.
    void Save();

  private:
    template <class History>
    struct Opened {
        std::unique_ptr<History> history{};
        std::string trouble{};  // why there is none
        bool changed = false;
    };
    template <class History>
    using ByMail = std::map<int, Opened<History>>;
    struct Recent {
        int mail;
        std::string time, message_id;
        bool is_only = true;  // no other customer has the address
        int customer = -1;
    };

    template <class History, class... More>
    Opened<History>& Open(ByMail<History>& histories, int mail, More... more);
    MailHistory* ToLookAt(int mail);
    void ReadOldIds();
    void ReadRecent();
    void TakeRecent(int mail, std::string const& since, std::unordered_map<int, Recent>& of_customers);

    Session& session_;
    bool const changes_;
    ByMail<SendHistory> opened_;
    ByMail<MailHistory> looked_at_;
    std::optional<std::unordered_map<std::string, MailNumbers>> old_ids_;
    std::optional<std::unordered_map<std::string, Recent>> recent_;  // by AddressKey
};

}  // namespace engine
