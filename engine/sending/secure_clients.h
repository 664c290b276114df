#pragma once

#include <string>
#include <vector>

#include "engine/sending/server_settings.h"
#include "tessaly/delivery.h"

// The library's secure clients as the application uses them: filled from the settings, their failures as one
// line for the user, and the data of the handshake.
namespace engine {

// Of the last handshake, in UTF-8; times in UTC.
struct Handshake {
    std::string parameters;  // empty: none, or it failed
    std::string subject, issuer, host_names, valid_from, valid_until;
};

class SecureSender : public CMySMTPS {
  public:
    // Back to the first state, then as the settings say.
    void Prepare(ServerSettings const& server);
    void Set(int property, platform::ComponentValue const& value) {
        SMTPS_Set(Handle(), property, 0, value, 0);
    }
    int Do(int method) { return SMTPS_Do(Handle(), method, 0, nullptr, nullptr); }
    void Disconnect() { Do(smtps_disconnect); }
    // The library's sentence, and the server's reply or the English reason in brackets.
    std::string Reason();
    engine::Handshake const& LastHandshake() const { return handshake_; }

    int FireSSLStatus(SMTPSSSLStatusEventParams* parameters) override;
    int FireCertificate(SMTPSCertificateEventParams* parameters) override;

  private:
    engine::Handshake handshake_;
};

class SecureReceiver : public CMyPOPS {
  public:
    void Prepare(MailboxSettings const& mailbox);
    void Set(int property, platform::ComponentValue const& value) {
        POPS_Set(Handle(), property, 0, value, 0);
    }
    int Do(int method) { return POPS_Do(Handle(), method, 0, nullptr, nullptr); }
    int Do(int method, int number);
    std::string Reason();
    engine::Handshake const& LastHandshake() const { return handshake_; }
    // Message numbers, beside GetUIDs.
    std::vector<int> const& Numbers() const { return numbers_; }

    int FireMessageList(POPSMessageListEventParams* parameters) override;
    int FireSSLStatus(POPSSSLStatusEventParams* parameters) override;
    int FireCertificate(POPSCertificateEventParams* parameters) override;

  private:
    engine::Handshake handshake_;
    std::vector<int> numbers_;
};

}  // namespace engine
