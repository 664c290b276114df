#pragma once

#include <memory>

#include "tessaly/protocol/smtps.h"

namespace delivery {
class ConversationWatch;
}

// The SMTP client over TLS: the component holds the conversation, and is configured and called through its
// own interface (protocol/smtps.h, Handle()); this class keeps the transfer log, records the step that the
// conversation reached, and gives its failure in Japanese. Not copied; one object serves one thread, which
// also runs the events.
class TESSALY_API CMySMTPS : public SMTPS {
  public:
    // The step that the conversation reached. It stays at the step of the first failure.
    enum Status : int {
        status_none = 0,
        status_connecting = -1,
        status_connected = -2,
        status_ehlo = -3,
        status_helo = -4,
        status_starttls = -5,
        status_cram_md5 = -6,
        status_login = -7,
        status_rset = -8,
        status_sender = -9,
        status_recipient = -10,
        status_data = -11,
        status_quit = -12,
        status_disconnected = -13,
    };

    CMySMTPS();
    ~CMySMTPS() override;

    // Prepares the object and the component for one conversation; closes one that is open. A time limit of 60
    // seconds, port 25, no security, everything else empty. Result: that of the component's last setting.
    int Init();
    void SetLogTitle(CString title);
    void WriteLog();
    int GetNowStatus() const;
    // The text of the component's last error event.
    CString GetErrorMessage() const;
    // The sentence for the component's last failure; its own text where there is none.
    CString GetLastErrorInJapanese();

    // The same failure as data: the step in which the last call failed, and the whole reply.
    protocol::SmtpFailure const& GetFailure() const { return SMTPS_GetSmtpFailure(m_hHandle); }

    int FireConnectionStatus(SMTPSConnectionStatusEventParams* parameters) override;
    int FireError(SMTPSErrorEventParams* parameters) override;
    int FirePITrail(SMTPSPITrailEventParams* parameters) override;
    int FireSSLStatus(SMTPSSSLStatusEventParams* parameters) override;

  private:
    std::unique_ptr<delivery::ConversationWatch> watch_;
};
