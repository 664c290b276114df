#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/consent/suspensions.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/session.h"
#include "engine/incoming/classification.h"
#include "engine/incoming/incoming_mail.h"
#include "engine/incoming/own_id.h"
#include "engine/incoming/refusal.h"
#include "engine/receiving/answer_kind.h"
#include "engine/receiving/sent_histories.h"
#include "engine/receiving/trace.h"
#include "engine/sending/retry_policy.h"
#include "tessaly/delivery.h"

namespace engine {

struct Answer {
    AnswerKind kind = AnswerKind::other;
    int mail = -1, customer = -1;  // which mail and customer it answers; -1: not known
    CString from;
    std::string effect;       // what was done, or why nothing was
    bool by_address = false;  // the mail is known by an address in it alone
    bool keep = false;        // for the sender to read
    bool postponed = false;   // the mail's history cannot be changed now: to be taken again later
    bool settles = false;     // it shows that an unknown mail was sent
};

// Assigns received mail to the mail and the customer that it answers (trace.h), tells what it is
// (classification.h, refusal.h), and applies its effect:
// - a bounce makes the history's row wait or fail, and counts for the suspension of the address;
// - a receipt marks it opened;
// - a refusal or complaint ends direct mail to the address. A refusal counts where its sender is the customer
//   or its token is right; any other, and one that is not certain, is kept for a person to decide;
// - a registration makes or updates a customer;
// - a mail that cannot be read has no effect, and is kept.
// Any answer shows that the server took the mail, which settles an unknown recipient, except one that is
// known by an address alone. Taking the same mail again changes nothing. The effects are in memory until
// Save.
class Answers {
  public:
    // With `apply` false the effects are told and not applied; else the session is one for changing.
    Answers(Session& session, bool apply);

    // One answer, or several of a digest.
    std::vector<Answer> Take(CString const& text);
    // Histories, lists, customers and the list of mails. Throws Failure.
    void Save();

    // A person's decision that a mail is a refusal: by a customer, if one is given, else by the mail's sender
    // or the customer whose mail it answers. The session is one for changing. Throws Failure.
    Answer Refuse(CString const& text, std::optional<int> customer);

  private:
    // One received mail.
    struct Reading {
        IncomingMail const& mail;
        Trace const& trace;
        Traced const* traced;  // null: it is not known what the mail answers
        Classification seen{};
    };

    bool Analyse(IncomingMail const& mail);
    Answer Judge(Reading reading);
    bool IsReturnedMail(Reading const& reading) const;
    void TraceByAddress(Reading& reading, std::optional<Traced>& found);
    void Bounce(Answer& answer, Reading const& reading);
    void CountBounce(Answer& answer, Reading const& reading);
    void Receipt(Answer& answer);
    void Complaint(Answer& answer);
    void Written(Answer& answer, Reading const& reading);
    void Refusal(Answer& answer, int customer, RefusedBy how);
    void Unclear(Answer& answer, std::string const& why);
    void Registration(Answer& answer);
    // Null, with the reason in the answer, while the mail is being sent or its history is damaged.
    MailHistory* HistoryOf(Answer& answer);
    void Settle(Answer& answer, Traced const& traced);
    bool IsCurrent(HistoryListViewer& history, Answer& answer, Traced const& traced) const;
    int CustomerAt(CString const& address);
    std::string AddressOf(int customer);
    void Store(OneCustomer& customer);
    // What the changes of customers and lists need, from the first of them until Save.
    KeptRefusals& Refusers();
    Suspensions& Suspended();

    Session& session_;
    bool const apply_;
    MailAnalyzer analyzer_;
    RetryPolicy const retry_;
    std::string const register_mode_;
    CString const refuse_keyword_;
    RefusalWords const refusal_words_;
    IdSigner const signer_;
    SentHistories sent_;
    std::optional<KeptRefusals> refusers_;
    std::optional<Suspensions> suspended_;
};

}  // namespace engine
