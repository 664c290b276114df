#include "tessaly/platform/https.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/secrets.h"

using namespace platform;

namespace {

constexpr long most_redirections = 5;
constexpr long first_failing_status = 400;

// Callers search the text of a failure for a status, so it must hold no digits but those of the status.
CString WithoutDigits(std::string_view text) {
    std::string kept(text);
    std::erase_if(kept, [](char c) { return c >= '0' && c <= '9'; });
    return CString(std::string_view(kept));
}

std::string_view Trimmed(std::string_view text) {
    std::size_t const begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin);
}

struct CloseHandle {
    void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};

}  // namespace

class HttpsComponent {
  public:
    HttpsComponent(ComponentDispatcher dispatcher, void* object) : dispatcher_(dispatcher), object_(object) {
        static std::once_flag once;
        std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
        curl_.reset(curl_easy_init());
    }
    ~HttpsComponent() { Wipe(proxy_password_); }
    HttpsComponent(HttpsComponent const&) = delete;
    HttpsComponent& operator=(HttpsComponent const&) = delete;

    int Set(int property, ComponentValue const& value);
    int Do(int method, int count, ComponentValue const* arguments);
    CString const& LastErrorText() const { return error_text_; }

  private:
    int Get(CString const& address);
    void SetProxy();
    // The status with which the request failed, that of the server or, where a proxy refused the connection,
    // of the proxy; 0 for none.
    long FailingStatus() const;
    int FailByStatus(long status);
    int Fail(int code, CString const& text) {
        error_text_ = text;
        return code;
    }
    void TakeHeader(std::string_view line);
    static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* self);

    ComponentDispatcher const dispatcher_;
    void* const object_;
    std::unique_ptr<CURL, CloseHandle> curl_;
    CString proxy_server_, proxy_user_, proxy_password_;
    int proxy_port_ = 0, seconds_ = 0;
    bool as_the_system_ = false;
    std::string reason_;  // of the last answer (RFC 9112 4)
    CString error_text_;
};

int HttpsComponent::Set(int property, ComponentValue const& value) {
    switch (property) {
        case https_proxy_password:
            Wipe(proxy_password_);
            proxy_password_ = CString(value.Bytes());
            break;
        case https_proxy_port: proxy_port_ = value.Number(); break;
        case https_proxy_server: proxy_server_ = value.Text(); break;
        case https_proxy_user: proxy_user_ = value.Text(); break;
        case https_time_limit: seconds_ = value.Number(); break;
        default: return Fail(component_unknown, "Unknown property.");
    }
    return component_ok;
}

int HttpsComponent::Do(int method, int count, ComponentValue const* arguments) {
    CString const argument = count == 1 ? arguments[0].Text() : CString();
    if (method == https_get && count == 1) return Get(argument);
    if (method != https_configure || argument.Left(11) != "UseWinInet=")
        return Fail(component_unknown, "Unknown method or configuration.");
    as_the_system_ = argument.CompareNoCase("UseWinInet=True") == 0;
    return component_ok;
}

void HttpsComponent::SetProxy() {
    CURL* const curl = curl_.get();
    if (as_the_system_ && proxy_server_ == "*") return;  // curl's own way
    curl_easy_setopt(curl, CURLOPT_PROXY, static_cast<char const*>(proxy_server_));
    if (proxy_server_.IsEmpty()) return;
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "");
    curl_easy_setopt(curl, CURLOPT_PROXYPORT, static_cast<long>(proxy_port_));
    if (proxy_user_.IsEmpty()) return;
    curl_easy_setopt(curl, CURLOPT_PROXYAUTH, CURLAUTH_ANY);
    curl_easy_setopt(curl, CURLOPT_PROXYUSERNAME, static_cast<char const*>(proxy_user_));
    curl_easy_setopt(curl, CURLOPT_PROXYPASSWORD, static_cast<char const*>(proxy_password_));
}

int HttpsComponent::Get(CString const& address) {
    CURL* const curl = curl_.get();
    if (!curl) return Fail(component_unknown, "No memory.");
    curl_easy_reset(curl);
    reason_.clear();
    error_text_.Empty();
    curl_easy_setopt(curl, CURLOPT_URL, static_cast<char const*>(address));
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, most_redirections);
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(std::max(seconds_, 0)));
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, OnHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
    SetProxy();
    CURLcode const result = curl_easy_perform(curl);
    long const status = FailingStatus();
    curl_easy_reset(curl);  // clears the copy of the password as well
    if (result == CURLE_OPERATION_TIMEDOUT) return Fail(component_timeout, "Timeout.");
    if (status != 0) return FailByStatus(status);
    // The library's own sentence, which names neither host nor port.
    if (result != CURLE_OK) return Fail(component_no_answer, WithoutDigits(curl_easy_strerror(result)));
    return component_ok;
}

long HttpsComponent::FailingStatus() const {
    for (CURLINFO const of : {CURLINFO_RESPONSE_CODE, CURLINFO_HTTP_CONNECTCODE}) {
        long status = 0;
        curl_easy_getinfo(curl_.get(), of, &status);
        if (status >= first_failing_status) return status;
    }
    return 0;
}

int HttpsComponent::FailByStatus(long status) {
    CString text;
    text.Format("HTTP status %ld ", status);
    return Fail(component_http, (text + WithoutDigits(reason_)).TrimRight());
}

std::size_t HttpsComponent::OnHeader(char* data, std::size_t size, std::size_t count, void* self) {
    static_cast<HttpsComponent*>(self)->TakeHeader({data, size * count});
    return size * count;
}

std::size_t HttpsComponent::OnBody(char* data, std::size_t size, std::size_t count, void* self) {
    auto* const component = static_cast<HttpsComponent*>(self);
    HTTPSTransferEventParams part{data, static_cast<int>(size * count)};
    component->dispatcher_(component->object_, https_event_transfer, &part);
    return size * count;
}

void HttpsComponent::TakeHeader(std::string_view line) {
    if (line.starts_with("HTTP/")) {
        std::string_view const status = Trimmed(line.substr(std::min(line.find(' '), line.size())));
        reason_ = Trimmed(status.substr(std::min(status.find(' '), status.size())));
        return;
    }
    std::size_t const colon = line.find(':');
    if (colon == line.npos) return;
    std::string const field(line.substr(0, colon)), value(Trimmed(line.substr(colon + 1)));
    HTTPSHeaderEventParams header{field.c_str(), value.c_str()};
    dispatcher_(object_, https_event_header, &header);
}

// --- The functions ---

HTTPSHandle HTTPS_Create(ComponentDispatcher dispatcher, void* object) {
    return new HttpsComponent(dispatcher, object);
}

void HTTPS_Destroy(HTTPSHandle handle) { delete handle; }

int HTTPS_Set(HTTPSHandle handle, int property, int, ComponentValue const& value, int) {
    return handle->Set(property, value);
}

int HTTPS_Do(HTTPSHandle handle, int method, int count, ComponentValue const* arguments, int const*) {
    return handle->Do(method, count, arguments);
}

char const* HTTPS_GetLastError(HTTPSHandle handle) { return handle->LastErrorText(); }

int HTTPS::Dispatch(void* object, int event, void* parameters) {
    auto* const self = static_cast<HTTPS*>(object);
    switch (event) {
        case 1: return self->FireReserved1(parameters);
        case 2: return self->FireReserved2(parameters);
        case 3: return self->FireReserved3(parameters);
        case 4: return self->FireReserved4(parameters);
        case 5: return self->FireReserved5(parameters);
        case 6: return self->FireHeader(static_cast<HTTPSHeaderEventParams*>(parameters));
        case 7: return self->FireReserved7(parameters);
        case 8: return self->FireReserved8(parameters);
        case 9: return self->FireReserved9(parameters);
        case 10: return self->FireReserved10(parameters);
        case 11: return self->FireReserved11(parameters);
        case 12: return self->FireReserved12(parameters);
        case 13: return self->FireTransfer(static_cast<HTTPSTransferEventParams*>(parameters));
        default: return 0;
    }
}
