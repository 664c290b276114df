#include "tessaly/protocol/smtps.h"

#include <algorithm>
#include <vector>

#include "platform/secrets.h"
#include "protocol/mail_address.h"
#include "protocol/mail_conversation.h"
#include "protocol/smtp_conversation.h"
#include "tessaly/platform/socket.h"
#include "tessaly/protocol/mail_dots.h"

using namespace platform;
using namespace protocol;

namespace {

constexpr std::size_t longest_line = 998;
constexpr int shown_of_reply = 200;  // bytes of a reply in a failure's text
constexpr int default_port = 25;
constexpr char const* sender_and_recipients_needed = "Sender and recipients are needed.";

bool HasTooLongLine(std::string_view text) {
    for (std::size_t at = 0, end; at < text.size(); at = end + 2) {
        end = std::min(text.find("\r\n", at), text.size());
        if (end - at > longest_line) return true;
    }
    return false;
}

std::vector<CString> AddressesIn(CString const& list) {
    std::vector<CString> addresses;
    for (int at = 0; at <= list.GetLength();) {
        int const comma = list.Find(',', at), end = comma < 0 ? list.GetLength() : comma;
        CString address = list.Mid(at, end - at);
        if (!address.Trim().IsEmpty()) addresses.push_back(address);
        at = end + 1;
    }
    return addresses;
}

bool IsAddress(CString const& text) { return !text.IsEmpty() && FitsEnvelope(text.View()); }

}  // namespace

// The methods that a setting allows, and whether PLAIN needs a secured connection.
constexpr struct {
    int setting;
    AllowedMethods allowed;
    bool plain_when_secured;
} auth_settings[] = {
    {smtps_auth_any, {true, true, true}, true},
    {smtps_auth_cram_md5, {true, false, false}, false},
    {smtps_auth_login, {false, true, false}, false},
    {smtps_auth_plain, {false, false, true}, false},
};

class SmtpsComponent : public MailConversation, private SmtpConversation::Channel {
  public:
    SmtpsComponent(ComponentDispatcher dispatcher, void* object)
        : MailConversation({smtps_event_connection_status, smtps_event_error, smtps_event_trail,
                            smtps_event_certificate, smtps_event_ssl_status},
                           dispatcher, object) {
        settings_.port = default_port;
    }

    ComponentFailure Set(int property, ComponentValue const& value);
    ComponentFailure Do(int method, int count, ComponentValue const* arguments);
    SmtpFailure const& LastStep() const { return step_; }

  private:
    ComponentFailure Connect();
    ComponentFailure Introduce();
    ComponentFailure Send();
    ComponentFailure Begin();
    ComponentFailure Quit();
    ComponentFailure ResetMail();
    ComponentFailure Reset();
    SmtpOptions Options() const;
    // The failure of a step, by its result and the phase of the conversation.
    ComponentFailure FailureOf(SmtpResult result, SmtpConversation const& smtp);
    // The failure for a reply with which the conversation cannot go on.
    ComponentFailure Refused(SmtpReply const& reply);
    ComponentFailure Unreadable(ComponentError error, char const* why, std::string_view line);
    // Forgets the last step: the next failure is one of `phase` without a reply.
    void ForgetStep(SmtpPhase phase) { (step_ = {}).phase = phase; }
    CString Message() const;

    // A failed channel has recorded its failure, fired its event, and keeps it in lost_.
    bool SendLine(CString const& line, bool secret) override;
    bool SendText(CString& text) override;
    bool Read(SmtpReply& reply) override;
    bool Secure() override;
    bool IsSecure() const override { return MailConversation::IsSecure(); }
    bool Works(ComponentFailure failure) { return !(lost_ = failure); }

    CString from_, recipients_, text_, headers_, message_, hello_name_;
    int auth_ = smtps_auth_any;
    bool keep_ = false;
    ComponentFailure lost_;
    SmtpFailure step_;
};

ComponentFailure SmtpsComponent::Set(int property, ComponentValue const& value) {
    switch (property) {
        case smtps_auth: auth_ = value.Number(); break;
        case smtps_from: from_ = value.Text(); break;
        case smtps_port: settings_.port = value.Number(); break;
        case smtps_server: settings_.server = value.Text(); break;
        case smtps_text: text_ = value.Text(); break;
        case smtps_headers: headers_ = value.Text(); break;
        case smtps_message: message_ = value.Text(); break;
        case smtps_hello_name: hello_name_ = value.Text(); break;
        case smtps_password:
            Wipe(settings_.password);
            settings_.password = CString(value.Bytes());
            break;
        case smtps_recipients: recipients_ = value.Text(); break;
        case smtps_security: return SetSecurity(value);
        case smtps_keep_connection: keep_ = value.Number() != 0 || value.Text() == "1"; break;
        case smtps_time_limit: settings_.seconds = value.Number(); break;
        case smtps_user: settings_.user = value.Text(); break;
        case smtps_ca_file: settings_.ca_file = value.Text(); break;
        case smtps_verify: SetVerify(value); break;
        default: return Fail(component_unknown, "Unknown property.");
    }
    return component_ok;
}

ComponentFailure SmtpsComponent::Do(int method, int count, ComponentValue const* arguments) {
    switch (method) {
        case smtps_configure:
            return count == 1 ? Configure(arguments[0].Text())
                              : Fail(component_unknown, "One argument is needed.");
        case smtps_connect: return Connect();
        case smtps_send: return Send();
        case smtps_disconnect: return Quit();
        case smtps_reset_mail:
            return IsOpen() ? ResetMail() : Fail(component_not_connected, "Not connected.");
        case smtps_reset: return Reset();
        case smtps_interrupt: Interrupt(); return component_ok;
        default: return Fail(component_unknown, "Unknown method.");
    }
}

ComponentFailure SmtpsComponent::Reset() {
    socket_.Close();  // no event tells of the first state
    Wipe(settings_.password);
    settings_ = {};
    settings_.port = default_port;
    for (CString* text : {&from_, &recipients_, &text_, &headers_, &message_, &hello_name_}) text->Empty();
    auth_ = smtps_auth_any;
    keep_ = false;
    step_ = {};
    ForgetError();
    return component_ok;
}

// --- The channel of the conversation ---

bool SmtpsComponent::SendLine(CString const& line, bool secret) {
    return Works(MailConversation::SendLine(line, secret ? hidden_secret : nullptr));
}

bool SmtpsComponent::SendText(CString& text) { return Works(MailConversation::SendText(text)); }

bool SmtpsComponent::Secure() { return Works(MailConversation::Secure()); }

bool SmtpsComponent::Read(SmtpReply& reply) {
    ReplyReading const strictly{true, [this](std::string_view line) { ShowReceived(CString(line)); }};
    switch (ReadReply(socket_, reply, strictly)) {
        case ReplyOutcome::complete: return Works(component_ok);
        case ReplyOutcome::unreadable:
            return Works(
                Unreadable(component_protocol, "The server's reply cannot be read: ", reply.LastLine()));
        case ReplyOutcome::odd_code:
            return Works(Unreadable(component_reply_code,
                                    "The server's reply has no code of SMTP: ", reply.LastLine()));
        case ReplyOutcome::closed: SetLastSocketError(0); break;
        case ReplyOutcome::failed:
        case ReplyOutcome::too_long: break;
    }
    return Works(FailBySocket());
}

ComponentFailure SmtpsComponent::Unreadable(ComponentError error, char const* why, std::string_view line) {
    return FailAndClose(error, CString(why) + CString(line.substr(0, shown_of_reply)));
}

ComponentFailure SmtpsComponent::Refused(SmtpReply const& reply) {
    if (reply.code >= ComponentFailure::first_refusal)
        return Fail(ComponentFailure::OfReply(reply.code), CString(reply.LastLine()));
    return Unreadable(component_unexpected_reply,
                      "The server's reply does not fit the command: ", reply.LastLine());
}

ComponentFailure SmtpsComponent::FailureOf(SmtpResult result, SmtpConversation const& smtp) {
    if (result == SmtpResult::done) return component_ok;
    step_ = smtp.Failure();
    switch (result) {
        case SmtpResult::lost: return lost_;
        case SmtpResult::no_upgrade:
            return Fail(component_no_upgrade,
                        "STARTTLS is not available: " + CString(smtp.Reply().LastLine()));
        case SmtpResult::no_method:
            return Fail(component_authentication,
                        "Authentication failed: the server offers no method that can be used.");
        default: return Refused(smtp.Reply());
    }
}

// --- The connection ---

SmtpOptions SmtpsComponent::Options() const {
    SmtpOptions options;
    options.falls_back = true;
    options.upgrade = Upgrades();
    options.upgrade_if_offered = settings_.security == security_upgrade_if_offered;
    options.authenticate = !settings_.user.IsEmpty() && auth_ != smtps_auth_none;
    for (auto const& row : auth_settings) {
        if (row.setting != auth_) continue;
        options.allowed = row.allowed;
        options.plain_when_secured = row.plain_when_secured;
    }
    char name[256] = "localhost";
    if (hello_name_.IsEmpty()) platform::GetHostName(name, sizeof name);
    options.host_name = hello_name_.IsEmpty() ? CString(name) : hello_name_;
    options.user = settings_.user;
    options.password = settings_.password;
    return options;
}

ComponentFailure SmtpsComponent::Connect() {
    ForgetStep(SmtpPhase::none);
    if (hello_name_.FindOneOf("\r\n") >= 0)
        return Fail(component_unknown, "A line end in the name for EHLO.");
    ForgetStep(SmtpPhase::connect);
    if (ComponentFailure const failure = Open()) return failure;
    ComponentFailure const failure = Introduce();
    if (failure && IsOpen()) Quit();
    return failure;
}

ComponentFailure SmtpsComponent::Introduce() {
    SmtpConversation smtp(*this, Options());
    SmtpResult result = smtp.Greet();
    if (result == SmtpResult::done) result = smtp.Introduce();
    return FailureOf(result, smtp);
}

ComponentFailure SmtpsComponent::ResetMail() {
    SmtpConversation smtp(*this, {});
    return FailureOf(smtp.Reset(), smtp);
}

// --- Mail ---

CString SmtpsComponent::Message() const { return message_.IsEmpty() ? headers_ + "\r\n" + text_ : message_; }

ComponentFailure SmtpsComponent::Send() {
    ForgetStep(SmtpPhase::none);
    CString const message = Message();
    std::vector<CString> const to = AddressesIn(recipients_);
    if (!IsAddress(from_) || to.empty() || !std::all_of(to.begin(), to.end(), IsAddress))
        return Fail(component_missing, sender_and_recipients_needed);
    if (HasTooLongLine(message.View()))
        return Fail(component_line_too_long, "A line of the message is longer than 998 bytes.");
    ComponentFailure failure = Begin();
    if (!failure) {
        CString wire;
        wire.Reserve(message.GetLength() + message.GetLength() / 64 + 8);
        AppendDotStuffed(wire, message.View());
        wire += message.View().ends_with("\r\n") ? ".\r\n" : "\r\n.\r\n";
        SmtpConversation smtp(*this, {});
        failure = FailureOf(smtp.Mail(from_, to, wire), smtp);
    }
    if (IsOpen() && !keep_) Quit();
    return failure;
}

// The server may have closed a kept connection meanwhile; then a new one is opened.
ComponentFailure SmtpsComponent::Begin() {
    if (IsOpen()) {
        Quiet const quiet(*this);
        SmtpConversation smtp(*this, {});
        bool const silent = !socket_.Readable(0);  // readable means closed, or a 421
        if (silent && smtp.Reset() == SmtpResult::done) return component_ok;
        Close();
    }
    return Connect();
}

// A failure after the last mail does not change the outcomes already reported.
ComponentFailure SmtpsComponent::Quit() {
    if (!IsOpen()) return component_ok;
    Quiet const quiet(*this);
    SmtpConversation(*this, {}).Quit();
    Close();
    return component_ok;
}

// --- The functions ---

SMTPSHandle SMTPS_Create(ComponentDispatcher dispatcher, void* object) {
    return new SmtpsComponent(dispatcher, object);
}

void SMTPS_Destroy(SMTPSHandle handle) { delete handle; }

int SMTPS_Set(SMTPSHandle handle, int property, int, ComponentValue const& value, int) {
    return handle->Set(property, value).Number();
}

int SMTPS_Do(SMTPSHandle handle, int method, int count, ComponentValue const* arguments, int const*) {
    return handle->Do(method, count, arguments).Number();
}

char const* SMTPS_GetLastError(SMTPSHandle handle) { return handle->LastErrorText(); }

int SMTPS_GetLastErrorCode(SMTPSHandle handle) { return handle->LastFailure().Number(); }

ComponentFailure SMTPS_GetLastFailure(SMTPSHandle handle) { return handle->LastFailure(); }

SmtpFailure const& SMTPS_GetSmtpFailure(SMTPSHandle handle) { return handle->LastStep(); }

int SMTPS::Dispatch(void* object, int event, void* parameters) {
    auto* const self = static_cast<SMTPS*>(object);
    switch (event) {
        case 1: return self->FireConnectionStatus(static_cast<SMTPSConnectionStatusEventParams*>(parameters));
        case 2: return self->FireReserved2(parameters);
        case 3: return self->FireError(static_cast<SMTPSErrorEventParams*>(parameters));
        case 4: return self->FireReserved4(parameters);
        case 5: return self->FirePITrail(static_cast<SMTPSPITrailEventParams*>(parameters));
        case 6: return self->FireCertificate(static_cast<SMTPSCertificateEventParams*>(parameters));
        case 7: return self->FireSSLStatus(static_cast<SMTPSSSLStatusEventParams*>(parameters));
        case 8: return self->FireReserved8(parameters);
        case 9: return self->FireReserved9(parameters);
        default: return 0;
    }
}
