#include "engine/sending/mail_channel.h"

#include "engine/base/crossing.h"
#include "engine/environment/session.h"
#include "engine/sending/secure_clients.h"

namespace engine {
namespace {

// Whether a refusal, whose text ends in the server's reply in brackets, is one for now only (RFC 5321 4.2.1).
bool IsTemporary(CString const& refusal) { return refusal.Mid(refusal.Find('[') + 1, 1) == "4"; }

class PlainChannel : public MailChannel {
  public:
    PlainChannel(ServerSettings const& server, CString const& sender) {
        client_.SetSmtpHost(server.host, server.port);
        auto const allows = [&](char const* method) {
            return server.auth == "any" || server.auth == method ? 1 : 0;
        };
        client_.SetSmtpAuth(server.auth == "none" ? 0 : 1, allows("cram-md5"), allows("login"),
                            allows("plain"));
        client_.SetSmtpUserPass(server.user, server.password);
        client_.SetTimeOutTime(server.timeout_milliseconds);
        client_.SetTimeOutTimeBeforeConnect(server.timeout_milliseconds);
        client_.SetSenderAddr(sender);
    }

    Verdict Send(OutgoingMail const& mail) override {
        client_.ClearMailHeader();
        for (CString const& line : mail.header) client_.AddHeader(line);
        client_.SetContentType(mail.type, mail.subtype, mail.parameters);
        client_.SetBody(mail.body);
        client_.ClearAttachFile();
        for (CString const& part : *mail.attachments) client_.AddAttachFile(part);
        client_.SetRecipient(mail.recipient);
        client_.SetMessageID(mail.message_id);
        return Judge(client_.Send());
    }

  private:
    Verdict Judge(int result) {
        if (result == MailSend::SendAccepted) return {Outcome::sent, {}};
        Verdict verdict;
        CArray<MailSendErr, MailSendErr&> refused;
        client_.GetErrList(refused);
        CErrMsg& error = client_.GetErrMsg();
        int const code = error.GetLastCode();
        verdict.connected = result != MailSend::SendNotDelivered || !refused.IsEmpty();
        verdict.hopeless = code >= smtp_auth_not_supported && code <= smtp_auth_failed;
        bool const not_for_recipient = result == MailSend::SendServerRefused && refused.IsEmpty();
        verdict.for_all = !verdict.connected || verdict.hopeless || result == MailSend::SendSocketFailure ||
                          not_for_recipient || code == smtp_server_not_ready;
        verdict.attempted = verdict.connected && !verdict.hopeless && code != smtp_server_not_ready;
        bool const for_good = !refused.IsEmpty() && !IsTemporary(refused[0].message);
        verdict.kind = for_good ? Outcome::refused : Outcome::failed;
        verdict.reply = OnOneLine(TextOf(error));
        return verdict;
    }

    MailSend client_;
};

// The connection stays for several mails; after a failure there is a new one.
class SecureChannel : public MailChannel {
  public:
    SecureChannel(ServerSettings const& server, CString const& sender) : server_(server), sender_(sender) {}
    ~SecureChannel() override { client_.Disconnect(); }

    Verdict Send(OutgoingMail const& mail) override {
        if (sent_ == 0) client_.Prepare(server_);
        bool const last = ++sent_ >= server_.mails_per_connection;
        client_.Set(smtps_keep_connection, last ? 0 : 1);
        client_.Set(smtps_from, sender_);
        client_.Set(smtps_recipients, mail.recipient);
        client_.Set(smtps_message, MessageOf(mail));
        bool const sent = client_.Do(smtps_send) == platform::component_ok;
        Verdict verdict{Outcome::sent, {}};
        if (!sent) {
            verdict = Judge(SMTPS_GetLastFailure(client_.Handle()));
            client_.Disconnect();
        }
        if (last || !sent) sent_ = 0;
        return verdict;
    }

  private:
    CString MessageOf(OutgoingMail const& mail) const {
        delivery::WireParts parts;
        CStringArray attachments;
        for (CString const& line : mail.header) parts.header += line + "\r\n";
        for (CString const& part : *mail.attachments) attachments.Add(part);
        parts.message_id = mail.message_id;
        parts.mailer_name = MailSend::GetXMailer();
        parts.content_type = mail.type + "/" + mail.subtype + mail.parameters;
        parts.body = mail.body;
        if (!attachments.IsEmpty()) parts.boundary = delivery::NewBoundary();
        parts.attachments = &attachments;
        return delivery::MakeMessage(parts);
    }

    Verdict Judge(platform::ComponentFailure failure) {
        Verdict verdict;
        int const status = client_.GetNowStatus();
        bool const in_mail = status <= CMySMTPS::status_sender && status >= CMySMTPS::status_data;
        bool const of_recipient = status == CMySMTPS::status_recipient && failure.IsByServer();
        verdict.hopeless = !in_mail && (IsAboutSettings(failure) || failure.IsForGood());
        verdict.connected = in_mail || failure.IsByServer() || verdict.hopeless;
        verdict.attempted = in_mail;
        verdict.for_all = !of_recipient && failure != platform::component_line_too_long;
        verdict.kind = of_recipient && failure.IsForGood() ? Outcome::refused : Outcome::failed;
        verdict.reply = client_.Reason();
        return verdict;
    }
    static bool IsAboutSettings(platform::ComponentFailure failure) {
        return failure == platform::component_authentication || failure == platform::component_no_upgrade ||
               failure == platform::component_certificate;
    }

    ServerSettings const server_;
    CString const sender_;
    SecureSender client_;
    int sent_ = 0;  // over this connection
};

}  // namespace

std::unique_ptr<MailChannel> MakeMailChannel(ServerSettings const& server, CString const& sender) {
    if (server.security == Security::none) return std::make_unique<PlainChannel>(server, sender);
    return std::make_unique<SecureChannel>(server, sender);
}

}  // namespace engine
