#include "engine/receiving/news.h"

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/sending/sending.h"
#include "tessaly/information.h"

namespace engine {
namespace {

// The library keeps the proxy in a profile file, which follows the settings here.
void TakeProxy(Session& session, CInformationManager& information) {
    std::string const proxy = session.Setting("news.proxy");
    if (proxy.empty()) return;
    CString server, port, user, password;
    int number = 0, authenticates = 0;
    ReadServer(proxy, "news.proxy", server, number);
    if (number == 0)
        throw Failure(Failure::invalid_value,
                      "news.proxy は「サーバー:ポート」の形で書いてください: " + proxy);
    CString const wanted_port = std::to_string(number).c_str(),
                  wanted_user = Into(session.Setting("news.proxy-user"), "news.proxy-user"),
                  wanted_password = Into(session.Setting("news.proxy-password"), "news.proxy-password");
    CString const file = IntoPath(session.DataDirectory() + "/proxy.ini"), wanted_server = server;
    bool const known =
        information.GetProxyAuthSetting(file, server, port, user, password, authenticates) == 1 &&
        server == wanted_server && port == wanted_port && user == wanted_user && password == wanted_password;
    if (!known && !information.SetProxyAuthSetting(file, wanted_server, wanted_port, wanted_user,
                                                   wanted_password, wanted_user.IsEmpty() ? 0 : 1))
        throw Failure(Failure::not_written,
                      "プロキシーの設定を書けません: " + session.DataDirectory() + "/proxy.ini");
}

}  // namespace

std::optional<std::string> DateOfNews(Session& session) {
    CInformationManager information;
    TakeProxy(session, information);
    COleDateTime date;
    date.SetStatus(COleDateTime::null);
    int const result = information.GetRenewalDateOfNewestInformationPage(date);
    std::string const said = "\n" + OnOneLine(information.GetLastError().View());
    switch (result < 0 ? -result : result) {
        case CInformationManager::request_ok: break;
        case CInformationManager::request_proxy_refused:
            throw Failure(
                Failure::server_failed,
                "プロキシーに断られました。news.proxy-user と news.proxy-password を確かめてください。" +
                    said);
        case CInformationManager::request_not_found:
            throw Failure(Failure::server_failed, "お知らせのページがありません。" + said);
        default:
            throw Failure(Failure::server_failed,
                          (result < 0 ? "プロキシーを通して、お知らせを見られませんでした。"
                                      : "お知らせを見られませんでした。") +
                              said);
    }
    if (date.GetStatus() != COleDateTime::valid) return {};
    return Out(DateText(date));
}

}  // namespace engine
