#pragma once

#include "tessaly/protocol/mail_component.h"
#include "tessaly/protocol/pop_failure.h"

// The component that fetches mail over POP3 (RFC 1939), plain or secured by TLS (RFC 2595, RFC 8314).

enum POPSProperty : int {
    pops_auth = 1,        // number: POPSAuth
    pops_port = 13,       // number
    pops_server = 14,     // name or address
    pops_count = 17,      // read: messages on the server, by STAT
    pops_size = 18,       // read: bytes of message `index`, by pops_list_sizes; 0 for an unknown one
    pops_message = 21,    // number, from 1: chooses the current message and requests its unique ID
    pops_text = 25,       // read: the fetched message, line ends CR LF
    pops_unique_id = 27,  // read: of the current message, the text behind the number in its line
    pops_password = 28,
    pops_security = 37,  // number: protocol::MailSecurity
    // Number: seconds for connecting, for the handshake, and for each wait; 0: none. A whole reply has a
    // limit of its own, by this one (SocketSupport::ReplyLimit).
    pops_time_limit = 38,
    pops_user = 40,     //
    pops_ca_file = 50,  // library path of trusted certificates (PEM); empty: those of the system
    pops_verify = 51,   // number: 0 takes any certificate; 1 at first
};

enum POPSAuth : int { pops_auth_user = 0, pops_auth_apop = 1 };

enum POPSMethod : int {
    pops_configure = 1,    // one argument, "NAME=VALUE": SSLEnabledProtocols (TLS 1.2 at least in any case)
    pops_connect = 2,      // up to and including login and STAT
    pops_list = 3,         // UIDL; an event for each message
    pops_retrieve = 4,     // RETR; one argument, the message's number
    pops_top = 5,          // TOP; two arguments, the message's number and how many lines of its body
    pops_delete = 6,       // DELE; one argument. The server deletes at the end.
    pops_noop = 7,         // NOOP
    pops_disconnect = 8,   // QUIT
    pops_reset = 9,        // closes the connection and resets every property to its first value
    pops_interrupt = 10,   // from any thread: ends the running method, or else the next one
    pops_list_sizes = 11,  // LIST
};

enum POPSEvent : int {
    pops_event_connection_status = 1,
    pops_event_error = 3,
    pops_event_message_list = 5,
    pops_event_trail = 6,
    pops_event_certificate = 7,
    pops_event_ssl_status = 8,
};  // 2, 4, 9 and 10 are reserved

using POPSConnectionStatusEventParams = protocol::ConnectionStatusEvent;
using POPSErrorEventParams = protocol::ErrorEvent;
struct POPSMessageListEventParams {
    int number;
    char const* unique_id;
};
using POPSPITrailEventParams = protocol::PITrailEvent;
using POPSCertificateEventParams = protocol::CertificateEvent;
using POPSSSLStatusEventParams = protocol::SSLStatusEvent;

class PopsComponent;
using POPSHandle = PopsComponent*;

// A property that can be read.
class POPSValue {
  public:
    POPSValue(int number) : number_(number) {}
    POPSValue(CString const& text) : text_(text) {}
    int Number() const { return number_; }
    CString const& Text() const { return text_; }

  private:
    int number_ = 0;
    CString text_;
};

// Results: the number of a platform::ComponentFailure.
TESSALY_API POPSHandle POPS_Create(platform::ComponentDispatcher dispatcher, void* object);
TESSALY_API void POPS_Destroy(POPSHandle handle);
// `index` and `length` are not used.
TESSALY_API int POPS_Set(POPSHandle handle, int property, int index, platform::ComponentValue const& value,
                         int length);
TESSALY_API POPSValue POPS_Get(POPSHandle handle, int property, int index, int* length);
TESSALY_API int POPS_Do(POPSHandle handle, int method, int count, platform::ComponentValue const* arguments,
                        int const* lengths);
// The text of the last failure, valid until the next call.
TESSALY_API char const* POPS_GetLastError(POPSHandle handle);
TESSALY_API int POPS_GetLastErrorCode(POPSHandle handle);
// The step in which the last method that speaks to the server, or the choosing of a message, failed, and the
// reply. Valid until the next call.
TESSALY_API protocol::PopFailure const& POPS_GetPopFailure(POPSHandle handle);

// The component as a class, whose events are operations for a derived class.
class TESSALY_API POPS {
  public:
    virtual int FireConnectionStatus(POPSConnectionStatusEventParams*) { return 0; }
    virtual int FireReserved2(void*) { return 0; }
    virtual int FireError(POPSErrorEventParams*) { return 0; }
    virtual int FireReserved4(void*) { return 0; }
    virtual int FireMessageList(POPSMessageListEventParams*) { return 0; }
    virtual int FirePITrail(POPSPITrailEventParams*) { return 0; }
    virtual int FireCertificate(POPSCertificateEventParams*) { return 0; }
    virtual int FireSSLStatus(POPSSSLStatusEventParams*) { return 0; }
    virtual int FireReserved9(void*) { return 0; }
    virtual int FireReserved10(void*) { return 0; }
    virtual ~POPS() = default;

    POPS(POPS const&) = delete;
    POPS& operator=(POPS const&) = delete;
    POPSHandle Handle() const { return m_hHandle; }

  protected:
    POPS() = default;
    // Calls the event of that number, 1 to 10, as an operation of `object`, a POPS; 0 for any other.
    static int Dispatch(void* object, int event, void* parameters);

    POPSHandle m_hHandle = nullptr;
};
