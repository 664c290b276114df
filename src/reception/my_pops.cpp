#include "tessaly/reception/my_pops.h"

#include "delivery/conversation_watch.h"

namespace {

using delivery::ConversationStep;
using delivery::NumberSentence;
using delivery::TextSentence;

constexpr int time_limit_seconds = 60, pop_port = 110;

constexpr ConversationStep sent[] = {
    {"USER", CMyPOPS::status_user},     {"PASS", CMyPOPS::status_password},   {"STAT", CMyPOPS::status_count},
    {"RETR", CMyPOPS::status_fetching}, {"UIDL", CMyPOPS::status_unique_ids}, {"QUIT", CMyPOPS::status_quit},
};
constexpr ConversationStep information[] = {
    {"CONNECTING TO MAIL SERVER.", CMyPOPS::status_connecting},
    {"CONNECTED.", CMyPOPS::status_connected},
    {"DISCONNECTED.", CMyPOPS::status_disconnected},
};

bool Fails(std::string_view line, int) { return line.starts_with("-ERR"); }

constexpr char const* no_handshake =
    "SSL通信を開始しようとしましたが。何らかの原因で通信が確立しませんでした。";
constexpr char const* timed_out = "サーバとの接続がタイムアウトしました。回線の状況を確認してください。";
constexpr TextSentence texts[] = {
    {"APOP TIMESTAMP NOT FOUND.", "", "サーバがAPOPに対応していません。"},
    {"TIMEOUT.", "", timed_out},
    {"AUTHENTICATION FAILED", "",
     "ログイン時の認証に失敗しました。ログインIDやパスワードを確認してください。"},
    {"THE REMOTEHOST ADDRESS IS INVALID (0.0.0.0).", "",
     "受信サーバアドレスが正しくありません。接続可能な送信サーバのアドレスを正しく指定してください。"},
    {"ERROR DURING HANDSHAKE", "", no_handshake},
    {"SERVER DISCONNECTED BEFORE HANDSHAKE COMPLETION", "", no_handshake},
    {"SERVER CERTIFICATE VERIFICATION FAILED. CONNECTION ABORTED.", "", "サーバ証明書の検証に失敗しました。"},
};

constexpr NumberSentence codes[] = {
    {276, "SSL通信中にエラーが発生しました。接続を中止しました。"},
    {301, "受信サーバとの通信がタイムアウトしました。"},
    {10053, "ソフトウェアが接続を中止しました。サーバへの接続途中で、何らかの障害が起きたようです。"},
    {10060, timed_out},
    {10061, "接続が拒否されました。ファイアウォールの設定や接続回線の確認をしてください。"},
    {10065, "ホストへの経路がありません。接続回線の確認をしてください。"},
};

constexpr NumberSentence statuses[] = {
    {CMyPOPS::status_none, "不明なエラーが発生しました。"},
    {CMyPOPS::status_connecting,
     "受信サーバに接続ができません。アドレスやポート番号の指定が正しいか確認してください。"},
    {CMyPOPS::status_connected,
     "受信サーバに接続しました。しかし、ユーザIDとパスワードを使った認証ができません。"},
    {CMyPOPS::status_user, "受信サーバのユーザIDが正しいものではありません。"},
    {CMyPOPS::status_password,
     "受信サーバへのログインに失敗しました。ユーザIDやパスワードを確認してください。"},
    {CMyPOPS::status_count, "サーバ上の受信メール数が取得できませんでした。"},
    {CMyPOPS::status_fetching, "サーバから受信メールが取得できませんでした。"},
    {CMyPOPS::status_unique_ids, "受信サーバが割り当てる一意なID（UID)が取得できませんでした。"},
    {CMyPOPS::status_quit, "受信サーバから切断ができませんでした。"},
    {CMyPOPS::status_disconnected, "受信サーバから切断しましたが、不明なエラーが発生しました。"},
};

constexpr delivery::ConversationTables tables = {sent,  information, Fails,  texts,
                                                 codes, statuses,    "PASS", "PASS ********"};

}  // namespace

CMyPOPS::CMyPOPS() : watch_(std::make_unique<delivery::ConversationWatch>(tables)) {
    m_hHandle = POPS_Create(Dispatch, static_cast<POPS*>(this));
    Init();
}

CMyPOPS::~CMyPOPS() {
    WriteLog();
    POPS_Destroy(m_hHandle);
}

int CMyPOPS::Init() {
    constexpr char const* empty = "";
    watch_->Init();
    unique_ids_.RemoveAll();
    auto const set = [&](int property, platform::ComponentValue const& value) {
        return POPS_Set(m_hHandle, property, 0, value, 0);
    };
    set(pops_time_limit, time_limit_seconds);
    set(pops_auth, pops_auth_user);
    set(pops_user, empty);
    set(pops_password, empty);
    set(pops_security, protocol::security_none);
    platform::ComponentValue const protocols[] = {"SSLEnabledProtocols=255"};
    POPS_Do(m_hHandle, pops_configure, 1, protocols, nullptr);
    set(pops_server, empty);
    return set(pops_port, pop_port);
}

int CMyPOPS::ListMessageUIDs() {
    int const count = POPS_Get(m_hHandle, pops_count, 0, nullptr).Number();
    for (int number = 1; number <= count; ++number) {
        if (int const error = POPS_Set(m_hHandle, pops_message, 0, number, 0)) return error;
        CString unique_id = POPS_Get(m_hHandle, pops_unique_id, 0, nullptr).Text();
        unique_ids_.Add(unique_id.TrimLeft());
    }
    return 0;
}

void CMyPOPS::SetLogTitle(CString title) { watch_->Log().SetLogTitle(title); }

void CMyPOPS::WriteLog() { watch_->Log().WriteToFile(); }

int CMyPOPS::GetNowStatus() const { return watch_->Status(); }

CString CMyPOPS::GetErrorMessage() const { return watch_->Message(); }

int CMyPOPS::FireConnectionStatus(POPSConnectionStatusEventParams* parameters) {
    watch_->Write("情報", parameters->text);
    return 0;
}

int CMyPOPS::FireError(POPSErrorEventParams* parameters) {
    watch_->TakeError(parameters->description);
    return 0;
}

int CMyPOPS::FireMessageList(POPSMessageListEventParams* parameters) {
    CString const unique_id = parameters->unique_id;
    CString number;
    number.Format(" (%d)", parameters->number);
    watch_->Write("受信", unique_id + number);
    unique_ids_.Add(unique_id);
    return 0;
}

int CMyPOPS::FirePITrail(POPSPITrailEventParams* parameters) {
    watch_->TakeLine(parameters->direction, parameters->message);
    return 0;
}

int CMyPOPS::FireSSLStatus(POPSSSLStatusEventParams* parameters) {
    watch_->Write("SSL ", parameters->message);
    return 0;
}

CString CMyPOPS::GetLastErrorInJapanese() {
    return watch_->SentenceFor(POPS_GetLastError(m_hHandle), POPS_GetLastErrorCode(m_hHandle));
}
