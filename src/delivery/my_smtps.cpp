#include "tessaly/delivery/my_smtps.h"

#include <cstdlib>
#include <string>

#include "delivery/conversation_watch.h"

namespace {

using delivery::ConversationStep;
using delivery::NumberSentence;
using delivery::TextSentence;

constexpr int time_limit_seconds = 60, smtp_port = 25;

constexpr ConversationStep sent[] = {
    {"EHLO", CMySMTPS::status_ehlo},         {"HELO", CMySMTPS::status_helo},
    {"STARTTLS", CMySMTPS::status_starttls}, {"AUTH CRAM-MD5", CMySMTPS::status_cram_md5},
    {"AUTH LOGIN", CMySMTPS::status_login},  {"RSET", CMySMTPS::status_rset},
    {"MAIL FROM", CMySMTPS::status_sender},  {"RCPT TO", CMySMTPS::status_recipient},
    {"DATA", CMySMTPS::status_data},         {"QUIT", CMySMTPS::status_quit},
};
constexpr ConversationStep information[] = {
    {"CONNECTING TO MAIL SERVER.", CMySMTPS::status_connecting},
    {"CONNECTED.", CMySMTPS::status_connected},
    {"DISCONNECTED.", CMySMTPS::status_disconnected},
};

// The last line of a reply that refuses. After a refused CRAM-MD5, LOGIN may follow.
bool Fails(std::string_view line, int status) {
    if (line.size() < 4 || line[3] != ' ' || status == CMySMTPS::status_cram_md5) return false;
    int const code = std::atoi(std::string(line.substr(0, 3)).c_str());
    return code >= 400 && code <= 599;
}

constexpr char const* wrong_login = "SMTP認証に失敗しました。ログインIDやパスワードを確認してください。";
constexpr char const* no_handshake =
    "SSL通信を開始しようとしましたが、何らかの原因で通信が確立しませんでした。";
constexpr char const* unknown_reason = "何らかの原因で送信に失敗しました。";
constexpr TextSentence texts[] = {
    {"TIMEOUT.", "", "サーバとの接続がタイムアウトしました。回線の状況を確認してください。"},
    {"AUTHENTICATION FAILED", "", wrong_login},
    {"THE REMOTEHOST ADDRESS IS INVALID (0.0.0.0).", "",
     "送信サーバアドレスが正しくありません。接続可能な送信サーバのアドレスを正しく指定してください。"},
    {"ERROR DURING HANDSHAKE", "", no_handshake},
    {"SERVER DISCONNECTED BEFORE HANDSHAKE COMPLETION", "", no_handshake},
    {"SERVER CERTIFICATE VERIFICATION FAILED. CONNECTION ABORTED.", "", "サーバ証明書の検証に失敗しました。"},
    {"421 ", "", "メール送信サービスが利用できません。送信サーバで何らかの問題が起きたようです。"},
    {"432", "", "処理を継続するには、SMTP認証（CRAM-MD5 または LOGIN）を行う必要があります。"},
    {"450 ", "DOMAIN NOT FOUND",
     "送信者、もしくは、送信先のドメインが見つかりません。メールの送信に失敗しました。"},
    {"450 ", "", unknown_reason},
    {"451 ", "", "処理中にエラーが発生しました。メール送信サーバで処理を継続できません。"},
    {"452 ", "", "メール送信サーバのディスク容量が不足しています。メール送信サーバで処理を継続できません。"},
    {"454 ", "", "メール送信サーバが原因で認証に失敗しました。"},
    {"500 ", "", "SMTPコマンドの構文エラーです。コマンドが解釈できないので継続できません。"},
    {"501 ", "", "SMTPコマンドの構文エラーです。コマンドのパラメータが正しくないので継続できません。"},
    {"502 ", "", "実行しようとしたSMTPコマンドは、このメール送信サーバには実装されていません。"},
    {"503 ", "", "SMTPコマンドの構文エラーです。SMTPコマンドの並びが悪いので継続できません。"},
    {"504 ", "", "実行しようとしたSMTPコマンドの引数は、このメール送信サーバには実装されていません。"},
    {"521 ", "", "送信しようとしたメールは、このメール送信サーバでは受け取ることができません。"},
    {"530 ", "", "メール送信サーバにアクセスを拒否されました。"},
    {"534 ", "",
     "SMTP認証の方式が弱すぎます。CRAM-MD5、LOGIN以外の方式を必要とする場合は、SMTP認証を利用できません。"},
    {"535 ", "", wrong_login},
    {"538 ", "", "指定したSMTP認証の方式を利用するには、通信を暗号化する必要があります。"},
    {"550 ", "", "要求を実行できません。メール送信サーバのポリシーに反していないか、確認してください。"},
    {"551 ", "", "受信者が存在しません。ForwardPathへ送ってください。"},
    {"552 ", "",
     "ディスク不足のため、要求された処理は実行できません。送信サーバで何らかの問題が起きたようです。"},
    {"553 ", "NOT LOGGED IN", "送信に失敗しました。SMTP認証でログインしなければならない可能性があります。"},
    {"553 ", "", unknown_reason},
    {"554 ", "", "トランザクションの開始ができません。送信サーバで何らかの問題が起きたようです。"},
    {"555 ", "", "MAIL/RCPTコマンドのパラメータエラーです。"},
};

constexpr NumberSentence codes[] = {
    {276, "SSL通信中にエラーが発生しました。接続を中止しました。"},
    {301, "送信サーバとの通信がタイムアウトしました。"},
    {10053, "ソフトウェアが接続を中止しました。サーバへの接続途中で、何らかの障害が起きたようです。"},
    {10060, "サーバとの接続がタイムアウトしました。回線の状況、アドレスやポート番号を確認してください。"},
    {10061, "接続が拒否されました。ファイアウォールの設定や接続回線の確認をしてください。"},
    {10065, "ホストへの経路がありません。接続回線の確認をしてください。"},
};

constexpr NumberSentence statuses[] = {
    {CMySMTPS::status_none, "不明なエラーが発生しました。"},
    {CMySMTPS::status_connecting,
     "送信サーバに接続ができません。アドレスやポート番号の指定が正しいか確認してください。"},
    {CMySMTPS::status_connected, "送信サーバに接続しました。しかし、送信サーバの応答が停止しました。"},
    {CMySMTPS::status_ehlo, "EHLOコマンドが受け付けられませんでした。"},
    {CMySMTPS::status_helo, "HELOコマンドが受け付けられませんでした。"},
    {CMySMTPS::status_starttls, "送信サーバがSTARTTLSに対応しているか確認してください。"},
    {CMySMTPS::status_cram_md5,
     "SMTP認証(CRAM-MD5)に失敗しました。ログインIDやパスワードを確認してください。"},
    {CMySMTPS::status_login,
     "SMTP認証(CRAM-MD5やLOGIN)に失敗しました。ログインIDやパスワードを確認してください。"},
    {CMySMTPS::status_rset, "RSETコマンドが受け付けられませんでした。"},
    {CMySMTPS::status_sender,
     "MAIL FROMコマンドが受け付けられませんでした。送信者メールアドレスが正しいか確認してください。"},
    {CMySMTPS::status_recipient,
     "RCPT TOコマンドが受け付けられませんでした。送信先メールアドレスが正しいか確認してください。"},
    {CMySMTPS::status_data,
     "メール本文を送信するときにエラーが発生しました。添付ファイルが大きすぎないか確認してください。"},
    {CMySMTPS::status_quit, "送信サーバから切断ができませんでした。"},
    {CMySMTPS::status_disconnected, "送信サーバから切断しましたが、不明なエラーが発生しました。"},
};

constexpr delivery::ConversationTables tables = {sent, information, Fails, texts, codes, statuses, "", ""};

}  // namespace

CMySMTPS::CMySMTPS() : watch_(std::make_unique<delivery::ConversationWatch>(tables)) {
    m_hHandle = SMTPS_Create(Dispatch, static_cast<SMTPS*>(this));
    Init();
}

CMySMTPS::~CMySMTPS() {
    WriteLog();
    SMTPS_Destroy(m_hHandle);
}

int CMySMTPS::Init() {
    constexpr char const* empty = "";
    watch_->Init();
    SMTPS_Do(m_hHandle, smtps_reset, 0, nullptr, nullptr);
    auto const set = [&](int property, platform::ComponentValue const& value) {
        return SMTPS_Set(m_hHandle, property, 0, value, 0);
    };
    set(smtps_time_limit, time_limit_seconds);
    set(smtps_auth, smtps_auth_any);
    set(smtps_user, empty);
    set(smtps_password, empty);
    set(smtps_security, protocol::security_none);
    platform::ComponentValue const protocols[] = {"SSLEnabledProtocols=255"};
    SMTPS_Do(m_hHandle, smtps_configure, 1, protocols, nullptr);
    set(smtps_server, empty);
    set(smtps_port, smtp_port);
    int result = 0;
    for (int const property : {smtps_text, smtps_headers, smtps_from, smtps_recipients, smtps_keep_connection,
                               smtps_hello_name, smtps_message})
        result = set(property, empty);
    return result;
}

void CMySMTPS::SetLogTitle(CString title) { watch_->Log().SetLogTitle(title); }

void CMySMTPS::WriteLog() { watch_->Log().WriteToFile(); }

int CMySMTPS::GetNowStatus() const { return watch_->Status(); }

CString CMySMTPS::GetErrorMessage() const { return watch_->Message(); }

int CMySMTPS::FireConnectionStatus(SMTPSConnectionStatusEventParams* parameters) {
    watch_->Write("情報", parameters->text);
    return 0;
}

int CMySMTPS::FireError(SMTPSErrorEventParams* parameters) {
    watch_->TakeError(parameters->description);
    return 0;
}

int CMySMTPS::FirePITrail(SMTPSPITrailEventParams* parameters) {
    watch_->TakeLine(parameters->direction, parameters->message);
    return 0;
}

int CMySMTPS::FireSSLStatus(SMTPSSSLStatusEventParams* parameters) {
    watch_->Write("SSL ", parameters->message);
    return 0;
}

CString CMySMTPS::GetLastErrorInJapanese() {
    return watch_->SentenceFor(SMTPS_GetLastError(m_hHandle), SMTPS_GetLastErrorCode(m_hHandle));
}
