#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "engine/environment/session.h"
#include "engine/incoming/own_id.h"
#include "engine/receiving/answer_kind.h"
#include "engine/receiving/inbox.h"
#include "engine/sending/mailing.h"
#include "engine/sending/retry_policy.h"
#include "engine/sending/send_history.h"
#include "tessaly/delivery.h"
#include "tessaly/mime.h"

namespace engine {

struct Answer {
    AnswerKind kind = AnswerKind::other;
    int mail = -1, customer = -1;  // which mail and customer it answers; -1: not known
    CString from;
    std::string effect;  // what was done, or why nothing was
    bool keep = false;   // for the sender to read
    bool postponed =
        false;             // the mail's history cannot be changed now; the answer is to be taken again later
    bool settles = false;  // it shows that an unknown mail was sent
};

// Assigns received mail to the mail and the customer that it answers, and applies its effect: a bounce makes
// the history's row wait or fail, a receipt marks it opened, a refusal ends direct mail to the customer, a
// registration makes or updates one. Any of them shows that the server took the mail, which settles an
// unknown recipient. Taking the same mail again changes nothing. The effects are in memory until Save.
class Answers {
  public:
    // With `apply` false the effects are told and not applied; else the session is one for changing.
    Answers(Session& session, bool apply);

    Answer Take(std::string const& text);
    // Histories, customers and the list of mails. Throws Failure.
    void Save();

  private:
    struct Original {
        int mail, customer;
    };
    struct Opened {
        std::unique_ptr<SendHistory> history;
        std::string trouble{};  // why there is none
    };

    void Bounce(Answer& answer);
    void Receipt(Answer& answer);
    void Refusal(Answer& answer);
    void Registration(Answer& answer);
    std::optional<Original> OriginalOf(CString const& message_id);
    void ReadOldHistories();
    // Null, with the reason in the answer, while the mail is being sent or its history is damaged.
    MailHistory* HistoryOf(Answer& answer);
    void Settle(Answer& answer);
    bool IsCurrent(HistoryListViewer& history, Answer& answer) const;
    int CustomerBehind(Answer const& answer);
    void Store(OneCustomer& customer);

    Session& session_;
    bool const apply_;
    MailAnalyzer analyzer_;
    RetryPolicy const retry_;
    std::string register_mode_;
    CString refuse_keyword_;
    CString original_id_;  // the Message-ID of the mail that is answered
    std::map<int, Opened> histories_;
    std::map<int, std::unique_ptr<MailHistory>> looked_at_;  // without being changed
    std::unordered_map<std::string, Original> old_ids_;
    bool old_ids_read_ = false, customers_changed_ = false;
};

}  // namespace engine
