#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "engine/base/failure.h"
#include "engine/mails/mail_content.h"
#include "engine/sending/mail_channel.h"

// The mailing loop: one mail to each recipient, from several threads, each with a connection of its own.
namespace engine {

// A recipient at the moment of the hand-out.
enum class Standing {
    recipient,
    refuses,    // by the customer's flag, or by the list of refusals
    suspended,  // the address
    gone
};

struct Delivery {
    enum Course {
        ended,     // with the outcome
        left_out,  // who refuses mail or is gone since the mailing began
        cut_off    // by a stop, before the server could take the mail
    };

    int id;
    CString address;
    Outcome outcome;
    std::string reply;  // what the server or the library said, on one line
    CString message_id;
    bool attempted = true;   // false: the failure came before the mail: connection, greeting or login
    int code = 0;            // of the reply that refused; 0: none
    std::string enhanced{};  // its status code (RFC 3463); empty: none
    Course course = ended;   // any other goes with nothing attempted
};

// Puts on record, before a mail is sent, that it is about to be.
class MailIntents {
  public:
    virtual ~MailIntents() = default;
    // Once, before the others: whom the mailing goes to, in this order, and what gives a mail its Message-ID.
    // Both stay valid during the mailing; the Message-IDs are made in another thread.
    virtual void Expect(std::vector<int> const& ids, std::function<CString(int id)> message_id) = 0;
    // Waits until the mail at that place of the order may be sent. Result: its Message-ID. Throws Failure
    // when that cannot be put on record. From any thread, once for each place.
    virtual CString Take(std::size_t place) = 0;
    // The mail is sent now. From any thread. Throws Failure likewise.
    virtual void Start(int id) = 0;
};

class Mailing {
  public:
    // Gives a recipient's data, from any thread.
    using Fetch = std::function<Standing(int id, OneCustomer&)>;
    // `on_delivery` is called for each recipient when the course is known and before anything else goes to
    // the server, by one thread at a time. Without `intents` no mail has to wait.
    Mailing(FrontEnd const& front, MailContent const& content, Mailbox const& from,
            ServerSettings const& server, Fetch fetch, std::function<void(Delivery const&)> on_delivery,
            MailIntents* intents = nullptr, WayBack const& way_back = {});
    // Returns when every mail has ended or was left out, when the front end stops the mailing, or when the
    // server takes no more; `Stopped` then gives the reason.
    void Run(std::vector<int> const& ids, int threads);

    std::uint64_t Done() const { return done_; }
    std::uint64_t Sent() const { return sent_; }
    std::uint64_t LeftOut() const { return left_out_; }
    // Why the mailing stopped before all mails had an outcome; empty when it did not.
    std::string const& Stopped() const { return stopped_; }
    Failure::Kind StopKind() const { return stop_kind_; }

  private:
    class Client;
    void Work(std::vector<int> const& ids);
    void SendEach(std::vector<int> const& ids);
    CString NewMessageId(int id) const;
    bool Judge(Verdict const& verdict, int& failures_in_a_row);
    Delivery::Course Finish(Delivery const& delivery);
    void Stop(Failure::Kind kind, std::string const& why);  // lock_ held

    FrontEnd const& front_;
    MailTemplate const template_;
    ServerSettings const& server_;
    Fetch fetch_;
    std::function<void(Delivery const&)> on_delivery_;
    MailIntents* const intents_;
    IdSigner const signer_;
    CString const message_id_text_;
    std::string const domain_;
    std::mutex lock_;
    std::atomic<std::size_t> next_ = 0;
    std::atomic<std::uint64_t> done_ = 0, sent_ = 0, left_out_ = 0;
    std::atomic<bool> stop_ = false;
    std::atomic<bool> server_answered_ = false;  // for some recipient
    std::string stopped_;
    Failure::Kind stop_kind_ = Failure::stopped;
};

}  // namespace engine
