#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"

// The date of the information page on the web, and the settings of the proxy for its request. They are kept
// in a profile file of the application, section "PROXY", key "DATA", as a row that is scrambled under one
// fixed key: server, port, user, password and whether to authenticate.
//
// A request blocks its thread for 5 seconds at most. An object belongs to one thread at a time; a copy has
// the same settings.
class TESSALY_API CInformationManager {
  public:
    // Results of the request, positive where it went the system's own way and negative through the proxy that
    // is set.
    enum RequestResult : int {
        request_ok = 0,
        request_failed = 1,
        request_not_found = 404,
        request_proxy_refused = 407,
    };
    static constexpr char const* page_address = "http://www.tessaly.example/links/tsl/5/?p=tsl5_start_info";

    CInformationManager() = default;
    CInformationManager(CInformationManager const&) = default;
    CInformationManager& operator=(CInformationManager const&) = default;
    virtual ~CInformationManager() = default;

    // The failure of the last request, in English; empty after a success.
    CString GetLastError() const { return last_error_; }
    // Requests the page: through the proxy of one of the two operations below, if both its server and its
    // port are set, else the system's own way (http_proxy of the environment, or directly). `date` becomes
    // the local time of the page's last change; it stays unchanged where the server gives none, and after a
    // failure. Result: RequestResult.
    int GetRenewalDateOfNewestInformationPage(COleDateTime& date);

    // `file`: full path. Writes the row; without `useAuth` user and password are left out of it. Non-zero and
    // the object has all four texts; 0 and the object has none, if the file cannot be written.
    int SetProxyAuthSetting(CString file, CString server, CString port, CString user, CString password,
                            int useAuth);
    // Reads the row. 1; 0 without a row, with everything as it was; 0 for a damaged row, with the texts here
    // and in the object emptied.
    int GetProxyAuthSetting(CString file, CString& server, CString& port, CString& user, CString& password,
                            int& useAuth);

  private:
    int Request(CString& last_modified);
    void SetFields(CString const& server, CString const& port, CString const& user, CString const& password);
    bool HasProxy() const { return !proxy_server_.IsEmpty() && !proxy_port_.IsEmpty(); }

    CString last_error_;
    CString proxy_server_, proxy_port_, proxy_user_, proxy_password_;
};
