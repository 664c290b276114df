#include "engine/sending/mail_channel.h"

#include "engine/base/crossing.h"
#include "engine/environment/session.h"
#include "engine/sending/secure_clients.h"

namespace engine {
namespace {

// What the step at which a mail failed means, for either client. A farewell (421) is never about one
// recipient.
Verdict VerdictOf(protocol::SmtpFailure const& failure) {
    bool const refused = failure.phase == protocol::SmtpPhase::recipient &&
                         failure.code >= platform::ComponentFailure::first_refusal && !failure.IsFarewell();
    bool const local = failure.phase == protocol::SmtpPhase::none;
    Verdict verdict;
    verdict.connected = failure.phase != protocol::SmtpPhase::connect;
    verdict.attempted = local || failure.IsInMail();
    verdict.for_all = !refused && !local;
    bool const for_good = refused && failure.code >= platform::ComponentFailure::first_for_good;
    verdict.kind = for_good ? Outcome::refused : failure.in_doubt ? Outcome::unknown : Outcome::failed;
    verdict.code = failure.code;
    verdict.enhanced = OnOneLine(failure.enhanced.View());
    return verdict;
}

class PlainChannel : public MailChannel {
  public:
    explicit PlainChannel(ServerSettings const& server) {
        client_.SetSmtpHost(server.host, server.port);
        auto const allows = [&](char const* method) {
            return server.auth == "any" || server.auth == method ? 1 : 0;
        };
        client_.SetSmtpAuth(server.auth == "none" ? 0 : 1, allows("cram-md5"), allows("login"),
                            allows("plain"));
        client_.SetSmtpUserPass(server.user, server.password);
        client_.SetTimeOutTime(server.timeout_milliseconds);
        client_.SetTimeOutTimeBeforeConnect(server.timeout_milliseconds);
    }

    void Send(OutgoingMail const& mail, Known const& known) override {
        Fill(client_, mail);
        client_.on_result = [&](int result) { known(Judge(result)); };
        client_.Send();
    }

    ChannelCheck Check() override {
        if (client_.CheckConversation() == MailSend::CheckPassed) return {true, {}, {}};
        return {false, OnOneLine(TextOf(client_.GetErrMsg())), {}};
    }

  private:
    struct Client : MailSend {
        void OnResult(int result) override { on_result(result); }
        std::function<void(int)> on_result;
    };

    Verdict Judge(int result) {
        if (result == MailSend::SendAccepted) return {Outcome::sent, {}};
        protocol::SmtpFailure const& failure = client_.GetFailure();
        Verdict verdict = VerdictOf(failure);
        verdict.hopeless =
            result == MailSend::SendNoAuthentication ||
            (result == MailSend::SendServerRefused && failure.phase == protocol::SmtpPhase::authentication);
        bool const bad_recipient =
            result == MailSend::SendNotDelivered && failure.phase == protocol::SmtpPhase::none;
        if (bad_recipient) verdict.kind = Outcome::refused;
        if (verdict.hopeless) verdict.for_all = true, verdict.attempted = false;
        verdict.reply = OnOneLine(TextOf(client_.GetErrMsg()));
        return verdict;
    }

    Client client_;
};

// The connection stays for several mails; after a failure there is a new one. It always stays for the
// component, so that the verdict is known before QUIT.
class SecureChannel : public MailChannel {
  public:
    explicit SecureChannel(ServerSettings const& server) : server_(server) {}
    ~SecureChannel() override { client_.Disconnect(); }

    void Send(OutgoingMail const& mail, Known const& known) override {
        bool const kept = sent_ > 0;
        if (!kept) client_.Prepare(server_);
        bool const last = ++sent_ >= server_.mails_per_connection;
        client_.Set(smtps_keep_connection, 1);
        client_.Set(smtps_from, mail.sender);
        client_.Set(smtps_recipients, mail.recipient);
        client_.Set(smtps_message, MessageOf(mail));
        bool const sent = client_.Do(smtps_send) == platform::component_ok;
        Verdict const verdict =
            sent ? Verdict{Outcome::sent, {}} : Judge(SMTPS_GetLastFailure(client_.Handle()));
        // A server that ends a kept connection has not taken the mail.
        bool const again = !sent && kept && client_.GetFailure().IsFarewell();
        if (!again) known(verdict);
        if (last || !sent) {
            client_.Disconnect();
            sent_ = 0;
        }
        if (again) Send(mail, known);
    }

    ChannelCheck Check() override {
        client_.Prepare(server_);
        bool const works = client_.Do(smtps_connect) == platform::component_ok;
        ChannelCheck check{works, works ? std::string() : client_.Reason(), client_.LastHandshake()};
        client_.Disconnect();
        return check;
    }

  private:
    CString MessageOf(OutgoingMail const& mail) const {
        delivery::WireParts parts;
        CStringArray attachments;
        parts.header = mail.header + "\r\n";
        for (CString const& part : *mail.attachments) attachments.Add(part);
        parts.message_id = mail.message_id;
        parts.mailer_name = MailSend::GetXMailer();
        parts.content_type = mail.content.type + "/" + mail.content.subtype + mail.content.parameters;
        parts.body = mail.content.body;
        if (!attachments.IsEmpty()) parts.boundary = delivery::NewBoundary();
        parts.attachments = &attachments;
        return delivery::MakeMessage(parts);
    }

    Verdict Judge(platform::ComponentFailure failure) {
        protocol::SmtpFailure const& step = client_.GetFailure();
        Verdict verdict = VerdictOf(step);
        bool const of_connection = verdict.for_all && !step.IsInMail();
        verdict.hopeless = of_connection && (IsAboutSettings(failure) || failure.IsForGood());
        if (of_connection) verdict.connected = failure.IsByServer() || verdict.hopeless;
        verdict.reply = client_.Reason();
        return verdict;
    }
    static bool IsAboutSettings(platform::ComponentFailure failure) {
        return failure == platform::component_authentication || failure == platform::component_no_upgrade ||
               failure == platform::component_certificate;
    }

    ServerSettings const server_;
    SecureSender client_;
    int sent_ = 0;  // over this connection
};

}  // namespace

std::unique_ptr<MailChannel> MakeMailChannel(ServerSettings const& server) {
    if (server.security == Security::none) return std::make_unique<PlainChannel>(server);
    return std::make_unique<SecureChannel>(server);
}

}  // namespace engine
