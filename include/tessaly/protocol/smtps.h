#pragma once

#include "tessaly/protocol/mail_component.h"
#include "tessaly/protocol/smtp_failure.h"

// The component that sends mail over SMTP (RFC 5321), plain or secured by TLS (RFC 3207, RFC 8314).

// Texts, unless a property is marked as a number.
enum SMTPSProperty : int {
    smtps_auth = 3,         // number: SMTPSAuth
    smtps_from = 14,        // envelope sender, an address
    smtps_port = 19,        // number
    smtps_server = 20,      // name or address
    smtps_text = 21,        // of the message, behind the headers; line ends CR LF
    smtps_headers = 23,     // header lines, each with its CR LF
    smtps_message = 24,     // a whole MIME message, in place of headers and text
    smtps_hello_name = 25,  // behind EHLO and HELO; empty: this host's name
    smtps_password = 26,
    smtps_recipients = 30,       // addresses, divided by commas
    smtps_security = 40,         // number: protocol::MailSecurity
    smtps_keep_connection = 41,  // number, or the text "1": whether the connection stays after a message
    // Number: seconds for connecting, for the handshake, and for each wait; 0: none. A whole reply has a
    // limit of its own, by this one (SocketSupport::ReplyLimit).
    smtps_time_limit = 42,
    smtps_user = 43,     // empty: no authentication
    smtps_ca_file = 50,  // library path of trusted certificates (PEM); empty: those of the system
    smtps_verify = 51,   // number: 0 takes any certificate; 1 at first
};

enum SMTPSAuth : int {
    // The first of CRAM-MD5 (RFC 2195), LOGIN and PLAIN (RFC 4616) that the server offers and does not
    // refuse; PLAIN over a secured connection only.
    smtps_auth_any = 0,
    smtps_auth_cram_md5 = 1,
    smtps_auth_login = 2,
    smtps_auth_plain = 3,
    smtps_auth_none = 4,
};

enum SMTPSMethod : int {
    smtps_configure = 1,   // one argument, "NAME=VALUE": SSLEnabledProtocols (TLS 1.2 at least in any case)
    smtps_connect = 2,     // up to and including authentication
    smtps_send = 3,        // the message; connects if need be. A refused recipient ends it for all.
    smtps_disconnect = 4,  // QUIT
    smtps_reset_mail = 5,  // RSET
    smtps_reset = 9,       // closes the connection and resets every property to its first value
    smtps_interrupt = 10,  // from any thread: ends the running method, or else the next one
};

enum SMTPSEvent : int {
    smtps_event_connection_status = 1,
    smtps_event_error = 3,
    smtps_event_trail = 5,
    smtps_event_certificate = 6,
    smtps_event_ssl_status = 7,
};  // 2, 4, 8 and 9 are reserved

using SMTPSConnectionStatusEventParams = protocol::ConnectionStatusEvent;
using SMTPSErrorEventParams = protocol::ErrorEvent;
using SMTPSPITrailEventParams = protocol::PITrailEvent;
using SMTPSCertificateEventParams = protocol::CertificateEvent;
using SMTPSSSLStatusEventParams = protocol::SSLStatusEvent;

class SmtpsComponent;
using SMTPSHandle = SmtpsComponent*;

// Results: the number of a platform::ComponentFailure.
TESSALY_API SMTPSHandle SMTPS_Create(platform::ComponentDispatcher dispatcher, void* object);
TESSALY_API void SMTPS_Destroy(SMTPSHandle handle);
// `index` and `length` are not used.
TESSALY_API int SMTPS_Set(SMTPSHandle handle, int property, int index, platform::ComponentValue const& value,
                          int length);
TESSALY_API int SMTPS_Do(SMTPSHandle handle, int method, int count, platform::ComponentValue const* arguments,
                         int const* lengths);
// The text of the last failure, valid until the next call.
TESSALY_API char const* SMTPS_GetLastError(SMTPSHandle handle);
TESSALY_API int SMTPS_GetLastErrorCode(SMTPSHandle handle);
// The same failure with the source of its number.
TESSALY_API platform::ComponentFailure SMTPS_GetLastFailure(SMTPSHandle handle);
// The step in which the last smtps_connect, smtps_send or smtps_reset_mail failed, and the reply. The step is
// that of this call alone, even if an earlier refusal was followed by another way. Valid until the next call.
TESSALY_API protocol::SmtpFailure const& SMTPS_GetSmtpFailure(SMTPSHandle handle);

// The component as a class, whose events are operations for a derived class.
class TESSALY_API SMTPS {
  public:
    virtual int FireConnectionStatus(SMTPSConnectionStatusEventParams*) { return 0; }
    virtual int FireReserved2(void*) { return 0; }
    virtual int FireError(SMTPSErrorEventParams*) { return 0; }
    virtual int FireReserved4(void*) { return 0; }
    virtual int FirePITrail(SMTPSPITrailEventParams*) { return 0; }
    virtual int FireCertificate(SMTPSCertificateEventParams*) { return 0; }
    virtual int FireSSLStatus(SMTPSSSLStatusEventParams*) { return 0; }
    virtual int FireReserved8(void*) { return 0; }
    virtual int FireReserved9(void*) { return 0; }
    virtual ~SMTPS() = default;

    SMTPS(SMTPS const&) = delete;
    SMTPS& operator=(SMTPS const&) = delete;
    SMTPSHandle Handle() const { return m_hHandle; }

  protected:
    SMTPS() = default;
    // Calls the event of that number, 1 to 9, as an operation of `object`, an SMTPS; 0 for any other.
    static int Dispatch(void* object, int event, void* parameters);

    SMTPSHandle m_hHandle = nullptr;
};
