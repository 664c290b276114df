#include "mailing.h"

#include <charconv>
#include <chrono>
#include <exception>
#include <memory>
#include <random>
#include <thread>
#include <utility>

#include "crossing.h"
#include "mail_text.h"
#include "merged_mail.h"
#include "terminal.h"
#include "tessaly/delivery.h"
#include "tessaly/text.h"

namespace app {
namespace {

constexpr char const* mail_mark = "m";
constexpr char const* own_mark = "tessaly-";

// A server that fails this often in a row, whoever the recipient was, takes no more now.
constexpr int most_failures_in_a_row = 5;
constexpr int connect_tries = 3;
constexpr auto pause_between_tries = std::chrono::seconds(1);

// What sets the Message-IDs of one mailing apart from those of another that goes on at the same time.
// Stands behind the customer's number.
CString MessageIdText(int mail, CString const& sender) {
    CString text;
    text.Format("tessaly-%08x", std::random_device()());
    if (mail != new_mail) text = mail_mark + CString(std::to_string(mail).c_str()) + "." + text;
    return text + "@" + sender.Mid(sender.Find('@') + 1);
}

bool ReadNumber(std::string_view text, int& number) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number >= 0;
}

// Whether a refusal, whose text ends in the server's reply in brackets, is one for now only (RFC 5321 4.2.1).
bool IsTemporary(CString const& refusal) { return refusal.Mid(refusal.Find('[') + 1, 1) == "4"; }

}  // namespace

char const* NameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::sent: return "送信";
        case Outcome::refused: return "拒否";
        case Outcome::failed: return "失敗";
    }
    return "";
}

std::optional<MailNumbers> NumbersIn(std::string_view message_id) {
    std::vector<std::string_view> parts;
    for (std::string_view rest = message_id.substr(0, message_id.find('@'));;) {
        const std::size_t dot = rest.find('.');
        parts.push_back(rest.substr(0, dot));
        if (dot == rest.npos) break;
        rest.remove_prefix(dot + 1);
    }
    const std::size_t count = parts.size();
    MailNumbers numbers{};
    bool const ours = count >= 3 && parts[count - 1].starts_with(own_mark) &&
                      parts[count - 2].starts_with(mail_mark) &&
                      ReadNumber(parts[count - 2].substr(1), numbers.mail) &&
                      ReadNumber(parts[count - 3], numbers.customer);
    return ours ? std::optional(numbers) : std::nullopt;
}

std::vector<CString> HeaderLines(Mailbox const& from, MailContent const& content, Mailbox const& to,
                                 CString const& subject) {
    std::vector<CString> lines;
    lines.push_back("From: " + HeaderMailbox({Mailable(from.name, true), from.address}));
    Mailbox const& reply_to = content.reply_to;
    if (!reply_to.address.IsEmpty())
        lines.push_back("Reply-To: " + HeaderMailbox({Mailable(reply_to.name, true), reply_to.address}));
    lines.push_back("To: " + HeaderMailbox(to));
    lines.push_back("Date: " + MailSend::MakeSmtpDateNow(""));
    lines.push_back("Subject: " + HeaderText(subject));
    lines.push_back("List-Unsubscribe: <mailto:" + from.address + "?subject=unsubscribe&body=%3CREFUSE%3E>");
    if (content.asks_receipt) lines.push_back("Disposition-Notification-To: " + from.address);
    return lines;
}

// One thread's connection to the server.
class Mailing::Client {
  public:
    explicit Client(Mailing const& mailing) : mailing_(mailing) {
        ServerSettings const& server = mailing.server_;
        client_.SetSmtpHost(server.host, server.port);
        auto const allows = [&](char const* method) {
            return server.auth == "any" || server.auth == method ? 1 : 0;
        };
        client_.SetSmtpAuth(server.auth == "none" ? 0 : 1, allows("cram-md5"), allows("login"),
                            allows("plain"));
        client_.SetSmtpUserPass(server.user, server.password);
        client_.SetTimeOutTime(server.timeout_milliseconds);
        client_.SetTimeOutTimeBeforeConnect(server.timeout_milliseconds);
        client_.SetSenderAddr(mailing.from_.address);
    }

    Delivery Send(int id) {
        Delivery delivery{id, {}, Outcome::failed, {}, {}, true};
        OneCustomer customer;
        if (!mailing_.fetch_(id, customer)) {
            delivery.reply = "顧客が見つかりません";
            delivery.attempted = false;
            return delivery;
        }
        delivery.address = customer.Email;
        if (MailAddressChecker(customer.Email) != 1) {
            delivery.outcome = Outcome::refused;
            delivery.reply = "メールアドレスの形が正しくありません";
            return delivery;
        }
        MailVersion const& version = mailing_.content_.For(customer.Email);
        const MergedMail text = Merge(version, mailing_.content_.honorific, customer);
        delivery.message_id = MailSend::MakeMessageID(mailing_.message_id_text_, id);
        for (int attempt = 1;; ++attempt) {
            Fill(text, version.attachments, delivery.message_id);
            int const result = client_.Send();
            Judge(result, delivery);
            if (!connection_failed_ || attempt == connect_tries || Interrupted()) return delivery;
            std::this_thread::sleep_for(pause_between_tries);
        }
    }
    // Whether the last failure would meet every other recipient too.
    bool FailedForAll() const { return failed_for_all_; }
    bool Hopeless() const { return hopeless_; }
    bool Connected() const { return !connection_failed_; }

  private:
    void Fill(MergedMail const& text, std::vector<CString> const& attachments, CString const& message_id) {
        client_.ClearMailHeader();
        for (CString const& line :
             HeaderLines(mailing_.from_, mailing_.content_, {text.to_name, text.to_address}, text.subject))
            client_.AddHeader(line);
        if (text.mime) {
            client_.SetContentType(text.mime->type, text.mime->subtype, text.mime->parameters);
            client_.SetBody(text.mime->body);
        } else {
            client_.SetContentType("text", "plain", "; charset=ISO-2022-JP");
            client_.SetBody(text.body);
        }
        client_.ClearAttachFile();
        for (CString const& part : attachments) client_.AddAttachFile(part);
        client_.SetRecipient(text.to_address);
        client_.SetMessageID(message_id);
    }

    void Judge(int result, Delivery& delivery) {
        CArray<MailSendErr, MailSendErr&> refused;
        client_.GetErrList(refused);
        CErrMsg& error = client_.GetErrMsg();
        connection_failed_ = result == MailSend::SendNotDelivered && refused.IsEmpty();
        hopeless_ = error.GetLastCode() >= smtp_auth_not_supported && error.GetLastCode() <= smtp_auth_failed;
        bool const not_for_recipient = result == MailSend::SendServerRefused && refused.IsEmpty();
        failed_for_all_ = connection_failed_ || hopeless_ || result == MailSend::SendSocketFailure ||
                          not_for_recipient || error.GetLastCode() == smtp_server_not_ready;
        if (result == MailSend::SendAccepted) {
            delivery.outcome = Outcome::sent;
            delivery.reply.clear();
            failed_for_all_ = hopeless_ = false;
            return;
        }
        bool const for_good = !refused.IsEmpty() && !IsTemporary(refused[0].message);
        delivery.attempted =
            !connection_failed_ && !hopeless_ && error.GetLastCode() != smtp_server_not_ready;
        delivery.outcome = for_good ? Outcome::refused : Outcome::failed;
        delivery.reply = OnOneLine(TextOf(error));
    }

    Mailing const& mailing_;
    MailSend client_;
    bool connection_failed_ = false, failed_for_all_ = false, hopeless_ = false;
};

Mailing::Mailing(MailContent const& content, Mailbox const& from, ServerSettings const& server, Fetch fetch,
                 std::function<void(Delivery const&)> on_delivery)
    : content_(content),
      from_(from),
      server_(server),
      fetch_(std::move(fetch)),
      on_delivery_(std::move(on_delivery)),
      message_id_text_(MessageIdText(content.mail, from.address)) {
    MailSend::SetXMailer(HeaderText(Mailable(server.mailer, true)));
}

void Mailing::Run(std::vector<int> const& ids, int threads) {
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) workers.emplace_back([&] { Work(ids); });
    for (std::thread& worker : workers) worker.join();
    if (stopped_.empty() && Interrupted()) stopped_ = "中断しました。";
}

void Mailing::Work(std::vector<int> const& ids) {
    try {
        SendEach(ids);
    } catch (std::exception const& failure) {
        std::lock_guard guard(lock_);
        Stop(failure.what());
    }
}

void Mailing::SendEach(std::vector<int> const& ids) {
    Client client(*this);
    int in_a_row = 0;
    while (!stop_ && !Interrupted()) {
        const std::size_t mine = next_++;
        if (mine >= ids.size()) return;
        const Delivery delivery = client.Send(ids[mine]);
        Finish(delivery);
        if (Judge(client, in_a_row)) continue;
        std::lock_guard guard(lock_);
        Stop("送信サーバーが受け付けないので止めました: " + delivery.reply);
    }
}

// Whether it makes sense to go on. A server that nobody could connect to yet is most likely a wrong setting.
bool Mailing::Judge(Client const& client, int& failures_in_a_row) {
    if (client.Hopeless()) return false;
    if (!client.FailedForAll()) {
        server_answered_ = true;
        failures_in_a_row = 0;
        return true;
    }
    if (!client.Connected() && !server_answered_) return false;
    return ++failures_in_a_row < most_failures_in_a_row;
}

// A report that cannot be written ends the mailing: what is not on record would be sent again.
void Mailing::Finish(Delivery const& delivery) {
    std::lock_guard guard(lock_);
    ++done_;
    if (delivery.outcome == Outcome::sent) ++sent_;
    try {
        on_delivery_(delivery);
    } catch (std::exception const& failure) {
        Stop(failure.what());
    }
}

void Mailing::Stop(std::string const& why) {
    stop_ = true;
    if (stopped_.empty()) stopped_ = why;
}

}  // namespace app
