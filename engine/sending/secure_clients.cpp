#include "engine/sending/secure_clients.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "engine/base/crossing.h"

namespace engine {
namespace {

constexpr unsigned ms_of_second = 1000;

int SecurityOf(Security security) {
    constexpr int unknown = -1;  // which the components refuse
    switch (security) {
        case Security::none: return protocol::security_none;
        case Security::tls: return protocol::security_tls;
        case Security::starttls: return protocol::security_upgrade;
    }
    return unknown;
}

int AuthOf(std::string const& name) {
    constexpr std::array<std::string_view, 5> names = {"any", "cram-md5", "login", "plain", "none"};
    return static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
}
static_assert(smtps_auth_any == 0 && smtps_auth_plain == 3 && smtps_auth_none == 4);

int Seconds(unsigned milliseconds) {
    return static_cast<int>((milliseconds + ms_of_second - 1) / ms_of_second);
}

std::string ReasonOf(CString const& sentence, char const* said) {
    std::string const text = Out(sentence), reply = OnOneLine(said);
    return OnOneLine(reply.empty() || text == reply ? text : text + " [" + reply + "]");
}

void TakeStatus(Handshake& handshake, std::string_view message) {
    constexpr std::string_view secured = "Secured: ";
    if (message.starts_with(secured)) handshake.parameters = message.substr(secured.size());
}

Handshake From(protocol::CertificateEvent const& shown) {
    return {{}, shown.subject, shown.issuer, shown.host_names, shown.valid_from, shown.valid_until};
}

}  // namespace

void SecureSender::Prepare(ServerSettings const& server) {
    Init();
    handshake_ = {};
    Set(smtps_server, server.host);
    Set(smtps_port, server.port);
    Set(smtps_security, SecurityOf(server.security));
    Set(smtps_ca_file, server.ca_file);
    Set(smtps_time_limit, Seconds(server.timeout_milliseconds));
    Set(smtps_auth, AuthOf(server.auth));
    if (server.auth == "none") return;
    Set(smtps_user, server.user);
    Set(smtps_password, server.password);
}

std::string SecureSender::Reason() {
    return ReasonOf(GetLastErrorInJapanese(), SMTPS_GetLastError(Handle()));
}

int SecureSender::FireSSLStatus(SMTPSSSLStatusEventParams* parameters) {
    TakeStatus(handshake_, parameters->message);
    return CMySMTPS::FireSSLStatus(parameters);
}

int SecureSender::FireCertificate(SMTPSCertificateEventParams* parameters) {
    handshake_ = From(*parameters);
    return 0;
}

void SecureReceiver::Prepare(MailboxSettings const& mailbox) {
    Init();
    handshake_ = {};
    numbers_.clear();
    Set(pops_server, mailbox.host);
    Set(pops_port, mailbox.port);
    Set(pops_security, SecurityOf(mailbox.security));
    Set(pops_ca_file, mailbox.ca_file);
    Set(pops_time_limit, Seconds(mailbox.timeout_milliseconds));
    Set(pops_auth, mailbox.apop ? pops_auth_apop : pops_auth_user);
    Set(pops_user, mailbox.user);
    Set(pops_password, mailbox.password);
}

int SecureReceiver::Do(int method, int number) {
    platform::ComponentValue const arguments[] = {number};
    return POPS_Do(Handle(), method, 1, arguments, nullptr);
}

std::string SecureReceiver::Reason() {
    return ReasonOf(GetLastErrorInJapanese(), POPS_GetLastError(Handle()));
}

int SecureReceiver::FireMessageList(POPSMessageListEventParams* parameters) {
    numbers_.push_back(parameters->number);
    return CMyPOPS::FireMessageList(parameters);
}

int SecureReceiver::FireSSLStatus(POPSSSLStatusEventParams* parameters) {
    TakeStatus(handshake_, parameters->message);
    return CMyPOPS::FireSSLStatus(parameters);
}

int SecureReceiver::FireCertificate(POPSCertificateEventParams* parameters) {
    handshake_ = From(*parameters);
    return 0;
}

}  // namespace engine
