#pragma once

#include "tessaly/platform/component.h"

// The component that requests a page of the web (RFC 9110), directly or through a proxy.

enum HTTPSProperty : int {
    https_proxy_password = 27,
    https_proxy_port = 28,    // number
    https_proxy_server = 29,  // empty: none; "*" with UseWinInet=True: as the system has it (http_proxy,
                              // https_proxy and no_proxy of the environment)
    https_proxy_user = 31,
    https_time_limit = 43,  // number: seconds for the whole request; 0: none
};

enum HTTPSMethod : int {
    https_configure = 1,  // one argument, "NAME=VALUE": UseWinInet=True or =False
    https_get = 4,        // one argument, the address. Follows redirections.
};

enum HTTPSEvent : int {
    https_event_header = 6,  // a header line of an answer, as it came
    https_event_transfer = 13,
};  // the other numbers are reserved

struct HTTPSHeaderEventParams {
    char const* field;
    char const* value;
};
struct HTTPSTransferEventParams {
    char const* bytes;
    int count;
};

class HttpsComponent;
using HTTPSHandle = HttpsComponent*;

// Results: platform::ComponentError.
TESSALY_API HTTPSHandle HTTPS_Create(platform::ComponentDispatcher dispatcher, void* object);
TESSALY_API void HTTPS_Destroy(HTTPSHandle handle);
TESSALY_API int HTTPS_Set(HTTPSHandle handle, int property, int index, platform::ComponentValue const& value,
                          int length);
TESSALY_API int HTTPS_Do(HTTPSHandle handle, int method, int count, platform::ComponentValue const* arguments,
                         int const* lengths);
// The text of the last failure: "HTTP status", the status and its reason for a status of 400 or above, else
// why there was no answer. Only the status has digits.
TESSALY_API char const* HTTPS_GetLastError(HTTPSHandle handle);

// The component as a class, whose events are operations for a derived class.
class TESSALY_API HTTPS {
  public:
    virtual int FireReserved1(void*) { return 0; }
    virtual int FireReserved2(void*) { return 0; }
    virtual int FireReserved3(void*) { return 0; }
    virtual int FireReserved4(void*) { return 0; }
    virtual int FireReserved5(void*) { return 0; }
    virtual int FireHeader(HTTPSHeaderEventParams*) { return 0; }
    virtual int FireReserved7(void*) { return 0; }
    virtual int FireReserved8(void*) { return 0; }
    virtual int FireReserved9(void*) { return 0; }
    virtual int FireReserved10(void*) { return 0; }
    virtual int FireReserved11(void*) { return 0; }
    virtual int FireReserved12(void*) { return 0; }
    virtual int FireTransfer(HTTPSTransferEventParams*) { return 0; }
    virtual ~HTTPS() = default;

    HTTPS(HTTPS const&) = delete;
    HTTPS& operator=(HTTPS const&) = delete;
    HTTPSHandle Handle() const { return m_hHandle; }

  protected:
    HTTPS() = default;
    // Calls the event of that number, 1 to 13, as an operation of `object`, an HTTPS; 0 for any other.
    static int Dispatch(void* object, int event, void* parameters);

    HTTPSHandle m_hHandle = nullptr;
};
