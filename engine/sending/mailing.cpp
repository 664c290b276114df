#include "engine/sending/mailing.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/stoppable_waits.h"
#include "engine/mails/mail_text.h"
#include "engine/sending/retry_policy.h"
#include "tessaly/delivery.h"
#include "tessaly/text.h"

namespace engine {
namespace {

// After this many failures in a row that hold for every recipient, the mailing stops.
constexpr int most_failures_in_a_row = 5;

char const* WhyNot(Standing standing) {
    switch (standing) {
        case Standing::gone: return "削除されました";
        case Standing::suspended: return "届かないので止めている宛先です";
        default: return "DMを受け取らなくなりました";
    }
}

// What sets the Message-IDs of one mailing apart from those of another that goes on at the same time. Stands
// behind the customer's number. That of a stored mail holds its number too, so that an answer leads to mail
// and customer in one step; other mail programs keep Message-IDs as they are.
CString MessageIdText(std::optional<int> mail) {
    CString text;
    text.Format("tessaly-%08x", std::random_device()());
    return mail ? "m" + CString(std::to_string(*mail).c_str()) + "." + text : text;
}

}  // namespace

// One thread's connection to the server.
class Mailing::Client {
  public:
    explicit Client(Mailing& mailing) : mailing_(mailing), channel_(MakeMailChannel(mailing.server_)) {}

    // The mail at that place of the mailing.
    Delivery::Course Send(std::size_t place, int id) {
        Delivery delivery{id, {}, Outcome::failed, {}, {}, true};
        CString const message_id =
            mailing_.intents_ ? mailing_.intents_->Take(place) : mailing_.NewMessageId(id);
        OneCustomer customer;
        Standing const standing = mailing_.fetch_(id, customer);
        delivery.address = customer.Email;
        if (standing != Standing::recipient) {
            delivery.reply = WhyNot(standing);
            delivery.attempted = false;
            delivery.course = Delivery::left_out;
            return mailing_.Finish(delivery);
        }
        if (MailAddressChecker(customer.Email) != 1) {
            delivery.outcome = Outcome::refused;
            delivery.reply = "メールアドレスの形が正しくありません";
            return mailing_.Finish(delivery);
        }
        delivery.message_id = message_id;
        OutgoingMail const mail = mailing_.template_.For(customer, message_id);
        if (mailing_.intents_) mailing_.intents_->Start(id);
        bool known = false;
        for (int attempt = 1; !known; ++attempt) {
            if (attempt > 1) Pause(mailing_.front_, pause_between_tries);
            channel_->Send(mail, [&](Verdict const& verdict) {
                verdict_ = verdict;
                known = verdict.connected || attempt == connect_tries || mailing_.front_.Stopped();
                if (known) Finish(delivery);
            });
        }
        return delivery.course;
    }
    // Of the last mail.
    Verdict const& LastVerdict() const { return verdict_; }

  private:
    void Finish(Delivery& delivery) {
        delivery.outcome = verdict_.kind;
        delivery.attempted = verdict_.attempted;
        delivery.reply = verdict_.reply;
        delivery.code = verdict_.code;
        delivery.enhanced = verdict_.enhanced;
        bool const lost = verdict_.kind == Outcome::failed && verdict_.for_all && verdict_.code == 0;
        if (lost && mailing_.front_.Stopped()) {
            delivery.course = Delivery::cut_off;
            delivery.attempted = false;
        }
        mailing_.Finish(delivery);
    }

    Mailing& mailing_;
    std::unique_ptr<MailChannel> channel_;
    Verdict verdict_;
};

Mailing::Mailing(FrontEnd const& front, MailContent const& content, Mailbox const& from,
                 ServerSettings const& server, Fetch fetch, std::function<void(Delivery const&)> on_delivery,
                 MailIntents* intents, WayBack const& way_back)
    : front_(front),
      template_(content, from, way_back),
      server_(server),
      fetch_(std::move(fetch)),
      on_delivery_(std::move(on_delivery)),
      intents_(intents),
      signer_(content.mail ? way_back.signer : IdSigner()),
      message_id_text_(MessageIdText(content.mail)),
      domain_(from.address.Mid(from.address.Find('@') + 1).View()) {
    MailSend::SetXMailer(HeaderText(Mailable(server.mailer, true), std::string_view("X-Mailer: ").size()));
}

void Mailing::Run(std::vector<int> const& ids, int threads) {
    if (intents_) intents_->Expect(ids, [this](int id) { return NewMessageId(id); });
    StoppableWaits const waits(front_);
    std::vector<std::jthread> workers;
    workers.reserve(static_cast<std::size_t>(std::max(threads, 0)));
    for (int i = 0; i < threads; ++i)
        workers.emplace_back([&] {
            platform::InterruptibleWaits const ends(waits.Interruption());
            Work(ids);
        });
    workers.clear();
    if (stopped_.empty() && front_.Stopped()) stopped_ = "中断しました。";
}

CString Mailing::NewMessageId(int id) const {
    CString const local = MailSend::MakeMessageID(message_id_text_, id);
    return CString(std::string_view(signer_.MessageId(local.View(), domain_)));
}

void Mailing::Work(std::vector<int> const& ids) {
    try {
        SendEach(ids);
    } catch (Failure const& failure) {
        std::lock_guard guard(lock_);
        Stop(failure.GetKind(), failure.what());
    } catch (std::exception const& failure) {
        std::lock_guard guard(lock_);
        Stop(Failure::operation_failed, failure.what());
    }
}

void Mailing::SendEach(std::vector<int> const& ids) {
    Client client(*this);
    int in_a_row = 0;
    while (!stop_ && !front_.Stopped()) {
        std::size_t const mine = next_++;
        if (mine >= ids.size()) return;
        Delivery::Course const course = client.Send(mine, ids[mine]);
        if (course == Delivery::cut_off) return;
        if (course == Delivery::left_out) continue;
        if (Judge(client.LastVerdict(), in_a_row)) continue;
        std::lock_guard guard(lock_);
        Stop(Failure::server_failed,
             "送信サーバーが受け付けないので止めました: " + client.LastVerdict().reply);
    }
}

// Whether it makes sense to go on. A server that no thread has reached yet is most likely a wrong setting.
bool Mailing::Judge(Verdict const& verdict, int& failures_in_a_row) {
    if (verdict.hopeless) return false;
    if (!verdict.for_all) {
        server_answered_ = true;
        failures_in_a_row = 0;
        return true;
    }
    if (!verdict.connected && !server_answered_) return false;
    return ++failures_in_a_row < most_failures_in_a_row;
}

// A report that cannot be written ends the mailing: what is not on record would be sent again.
Delivery::Course Mailing::Finish(Delivery const& delivery) {
    std::lock_guard guard(lock_);
    if (delivery.course != Delivery::cut_off) ++done_;
    if (delivery.course == Delivery::left_out) ++left_out_;
    if (delivery.outcome == Outcome::sent) ++sent_;
    try {
        on_delivery_(delivery);
    } catch (Failure const& failure) {
        Stop(failure.GetKind(), failure.what());
    } catch (std::exception const& failure) {
        Stop(Failure::operation_failed, failure.what());
    }
    return delivery.course;
}

void Mailing::Stop(Failure::Kind kind, std::string const& why) {
    stop_ = true;
    if (!stopped_.empty()) return;
    stopped_ = why;
    stop_kind_ = kind;
}

}  // namespace engine
