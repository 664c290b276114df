#include "tessaly/information/information_manager.h"

#include <cstdlib>
#include <optional>
#include <string>

#include "storage/key_symbols.h"
#include "tessaly/information/my_https.h"
#include "tessaly/storage/ini_manager.h"
#include "tessaly/storage/split_string.h"
#include "tessaly/storage/substitution.h"
#include "tessaly/text/dates.h"

namespace {

constexpr int time_limit_seconds = 5;
constexpr char const *section = "PROXY", *key = "DATA";
// The row of the alphabets depends on this text, which never changes: stored rows must stay readable.
constexpr char const* key_text = "TessalyProxySetting";
enum Field : int { field_server, field_port, field_user, field_password, field_use_auth, field_count };
constexpr std::size_t symbols_of_group = 4, most_padding = 2;

CString Doubled(CString text) {
    text.Replace("\"", "\"\"");
    return text;
}

CString EncodedRow(CString const& plain) {
    std::string row = storage::EncodeSymbols(plain.View(), GetKeyNumber(key_text));
    while (row.size() % symbols_of_group != 0) row += '=';
    return CString(std::string_view(row));
}

std::optional<CString> DecodedRow(CString const& row) {
    std::string_view symbols = row.View();
    if (symbols.size() % symbols_of_group != 0) return std::nullopt;
    for (std::size_t i = 0; i < most_padding && symbols.ends_with('='); ++i) symbols.remove_suffix(1);
    std::optional<std::string> const plain = storage::DecodeSymbols(symbols, GetKeyNumber(key_text));
    return plain ? std::optional(CString(std::string_view(*plain))) : std::nullopt;
}

}  // namespace

int CInformationManager::GetRenewalDateOfNewestInformationPage(COleDateTime& date) {
    CString last_modified;
    last_error_.Empty();
    if (int const result = Request(last_modified); result != request_ok) return HasProxy() ? -result : result;
    ConvertDateTimeFormat(last_modified, date);
    return request_ok;
}

int CInformationManager::Request(CString& last_modified) {
    CMyHTTPS request;
    auto const set = [&](int property, platform::ComponentValue const& value) {
        HTTPS_Set(request.Handle(), property, 0, value, 0);
    };
    set(https_time_limit, time_limit_seconds);
    if (HasProxy()) {
        set(https_proxy_server, proxy_server_);
        set(https_proxy_port, std::atoi(proxy_port_));
        set(https_proxy_user, proxy_user_);
        set(https_proxy_password, proxy_password_);
    } else {
        platform::ComponentValue const own_way[] = {"UseWinInet=True"};
        HTTPS_Do(request.Handle(), https_configure, 1, own_way, nullptr);
        set(https_proxy_server, "*");
    }
    platform::ComponentValue const address[] = {page_address};
    bool const answered =
        HTTPS_Do(request.Handle(), https_get, 1, address, nullptr) == platform::component_ok;
    last_modified = request.GetLastModified();
    if (answered) return request_ok;
    last_error_ = HTTPS_GetLastError(request.Handle());
    auto const tells = [&](char const* text) { return last_error_.Find(text) >= 0; };
    if (tells("407") || tells("Proxy Authentication Required")) return request_proxy_refused;
    if (tells("404") || tells("Not Found")) return request_not_found;
    return request_failed;
}

void CInformationManager::SetFields(CString const& server, CString const& port, CString const& user,
                                    CString const& password) {
    proxy_server_ = server;
    proxy_port_ = port;
    proxy_user_ = user;
    proxy_password_ = password;
}

int CInformationManager::SetProxyAuthSetting(CString file, CString server, CString port, CString user,
                                             CString password, int useAuth) {
    CString plain = "\"" + Doubled(server) + "\",\"" + port + "\",\"";
    if (useAuth) plain += Doubled(user);
    plain += "\",\"";
    if (useAuth) plain += Doubled(password);
    plain += useAuth ? "\",\"1\"" : "\",\"0\"";
    int const written = CIniManager::WriteProfileStringA(file, section, key, EncodedRow(plain));
    if (written)
        SetFields(server, port, user, password);
    else
        SetFields({}, {}, {}, {});
    return written;
}

int CInformationManager::GetProxyAuthSetting(CString file, CString& server, CString& port, CString& user,
                                             CString& password, int& useAuth) {
    CString row;
    if (!CIniManager::GetProfileStringA(file, section, key, row, "")) return 0;
    CArray<CString, CString> fields;
    if (auto const plain = DecodedRow(row)) SplitString(*plain, fields, ",", '"');
    bool const good = fields.GetSize() == field_count;
    server = good ? fields[field_server] : CString();
    port = good ? fields[field_port] : CString();
    user = good ? fields[field_user] : CString();
    password = good ? fields[field_password] : CString();
    if (good) {
        useAuth = std::atoi(fields[field_use_auth]) == 1 ? 1 : 0;
        if (!useAuth) {
            user.Empty();
            password.Empty();
        }
    }
    SetFields(server, port, user, password);
    return good ? 1 : 0;
}
