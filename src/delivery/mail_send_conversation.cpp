#include <memory>
#include <string>
#include <string_view>

#include "delivery/conversation_log.h"
#include "delivery/socket_error_codes.h"
#include "protocol/mail_address.h"
#include "protocol/mail_limits.h"
#include "protocol/smtp_conversation.h"
#include "tessaly/delivery/mail_send.h"
#include "tessaly/delivery/wire_text.h"
#include "tessaly/platform/socket.h"
#include "tessaly/protocol/socket_support.h"
#include "tessaly/storage/error_codes.h"
#include "tessaly/text/strings.h"

using enum storage::ErrorCode;

// The conversation of MailSend: connecting, the log, and the result of each failure. The commands and their
// order are in protocol/smtp_conversation.

namespace {

constexpr int report = 1, silently = 0;
constexpr int no_socket_error = 0;

// The log lines of a conversation are written together at its end; but before a longer wait than this they
// are written at once, so that the file shows the command that the client waits for.
constexpr int quick_reply_ms = 10;

constexpr int host_name_size = 255;
// Bytes of a reply in the log that was refused as too long.
constexpr std::size_t logged_part_of_long_reply = 512;

constexpr char const* reply_too_long_text =
    "送信サーバーの応答が長すぎるため、通信を打ち切りました.\r\n(上限 %d バイト)";
constexpr char const* recipient_line_end_text = "送信先メールアドレスに改行が含まれています.";
constexpr char const* sender_line_end_text = "送信元メールアドレスに改行が含まれています.";
constexpr char const* recipient_bad_byte_text = "送信先メールアドレスに使えない文字が含まれています.";
constexpr char const* sender_bad_byte_text = "送信元メールアドレスに使えない文字が含まれています.";
constexpr char const* message_id_line_end_text = "Message-IDに改行が含まれています.";
constexpr char const* credentials_too_long_text =
    "ユーザIDまたはパスワードが長すぎます.\r\n[システム設定]に入力した内容を確認してください";
constexpr char const* challenge_too_long_text =
    "サーバーから届いた認証用の文字列が長すぎます.\r\n(%d バイト、上限 %d バイト)";
constexpr char const* login_not_supported_text = "サーバがLOGINに対応していない可能性があります。";

bool HasLineEnd(CString const& text) { return text.View().find_first_of("\r\n") != std::string_view::npos; }

// Why an address cannot stand in a command; null if it can.
char const* FaultOf(CString const& address, char const* line_end_text, char const* bad_byte_text) {
    if (HasLineEnd(address)) return line_end_text;
    return protocol::FitsEnvelope(address.View()) ? nullptr : bad_byte_text;
}

CString AuthNote(protocol::AuthMethod method) {
    CString note("auth ");
    note += protocol::MethodName(method);
    note.Replace('-', '_');
    return note;
}

}  // namespace

int MailSend::Connect(char const* host, int port) {
    int const connected = StartConnection(host, port);
    conversation_log_->Write();
    return connected;
}

int MailSend::StartConnection(char const* host, int port) {
    CString note;
    note.Format("[Connect] ProcStart paramhost:%s paramport:%d bIsConnected is %sTRUE",
                host ? host : "(null)", port, bIsConnected == 1 ? "" : "Not ");
    conversation_log_->Note(note.View());
    if (bIsConnected == 1) {
        last_error_.SetErr(smtp_already_connected);
        return 1;
    }
    Disconnect();
    conversation_log_->Note("[Connect] CheckParam Start");
    if (host || port < 0) {
        CString const wanted_host = host ? CString(host) : host_;
        int const wanted_port = port < 0 ? port_ : port;
        if (!SetSmtpHost(wanted_host, wanted_port)) {
            note.Format("[Connect] SetSmtpHost Error tmphostname:%s port:%d",
                        static_cast<char const*>(wanted_host), wanted_port);
            conversation_log_->Note(note.View());
            return 0;
        }
    }
    if (!OpenSocket()) return 0;
    continue_count_ = 0;
    bIsConnected = 1;
    socket_->SetTimeOutTime(timeout_ms_);
    return 1;
}

bool MailSend::OpenSocket() {
    conversation_log_->Note("[Connect] Create Start");
    socket_ = std::make_unique<SocketSupport>();
    if (!socket_->Create()) {
        SetSocketError(platform::GetLastSocketError(), FunctionConnect);
        conversation_log_->Note("[Connect] Create Error");
        return false;
    }
    socket_->SetTimeOutTime(connect_timeout_ms_);
    CString note;
    note.Format("[Connect] Connect Start Host:%s Port:%d", static_cast<char const*>(host_), port_);
    conversation_log_->Note(note.View());
    conversation_log_->Write();
    if (!socket_->ConnectWithin(host_, static_cast<unsigned>(port_), 0)) {
        SetSocketError(platform::GetLastSocketError(), FunctionConnect);
        conversation_log_->Note("[Connect] Connect Error");
        return false;
    }
    return true;
}

int MailSend::Disconnect() {
    if (socket_) socket_->Close();
    socket_.reset();
    bIsConnected = 0;
    stage_ = Stage::no_greeting;
    return 1;
}

void MailSend::SetSocketError(int socket_error, FunctionType kind) {
    delivery::SetSocketError(last_error_, socket_error, static_cast<delivery::SocketCall>(kind));
}

int MailSend::SendCommand(CString command, int reportFailure) {
    command += "\r\n";
    conversation_log_->Command(command.View());
    int error = platform::socket_not_connected;
    if (socket_) {
        if (socket_->SendBlock(command, 0, 0) >= 0) return 1;
        error = platform::GetLastSocketError();
    }
    if (reportFailure) SetSocketError(error, FunctionSend);
    conversation_log_->Reply(std::to_string(error));
    conversation_log_->Write();
    return 0;
}

bool MailSend::ReadAnswer(protocol::SmtpReply& reply, int report_failure) {
    if (socket_->GetLineBuffer().IsEmpty() && !socket_->Readable(quick_reply_ms)) conversation_log_->Write();
    protocol::ReplyOutcome const outcome = protocol::ReadReply(*socket_, reply);
    if (outcome == protocol::ReplyOutcome::complete) {
        conversation_log_->Reply(reply.text.View());
        return true;
    }
    bool const too_long = outcome == protocol::ReplyOutcome::too_long;
    int const error =
        outcome == protocol::ReplyOutcome::closed ? no_socket_error : platform::GetLastSocketError();
    if (report_failure) {
        if (too_long)
            last_error_.SetErrS(error_unknown_code, reply_too_long_text, protocol::reply_limit);
        else
            SetSocketError(error, FunctionReceive);
    }
    conversation_log_->Reply(
        reply.text.View().substr(0, too_long ? logged_part_of_long_reply : std::string_view::npos));
    conversation_log_->Reply(std::to_string(error));
    return false;
}

// Writes the notes of the log at the start of each step.
class MailSend::Wire : public protocol::SmtpConversation::Channel {
  public:
    Wire(MailSend& client, char const* caller, int report_failure = report)
        : client_(client), caller_(caller), report_failure_(report_failure) {}
    void Begins(protocol::SmtpPhase phase) override {
        if (phase == protocol::SmtpPhase::greeting) Note("greeting wait");
        if (phase == protocol::SmtpPhase::hello)
            Note(client_.m_bSmtpAuth ? "m_bSmtpAuth is TRUE" : "m_bSmtpAuth is Not TRUE");
        if (phase == protocol::SmtpPhase::sender) Note("mail start");
    }
    void Begins(protocol::AuthMethod method) override { Note(AuthNote(method)); }
    bool SendLine(CString const& line, bool) override { return client_.SendCommand(line, report_failure_); }
    bool SendText(CString& text) override {
        if (client_.socket_->SendBlock(text, 0, 0) >= 0) return true;
        client_.SetSocketError(platform::GetLastSocketError(), FunctionSend);
        return false;
    }
    bool Read(protocol::SmtpReply& reply) override { return client_.ReadAnswer(reply, report_failure_); }

  private:
    void Note(char const* text) { client_.conversation_log_->Note((CString(caller_) + text).View()); }

    MailSend& client_;
    char const* const caller_;
    int const report_failure_;
};

int MailSend::Refused(int error_code, CString const& reply) {
    last_error_.SetErr(error_code, static_cast<char const*>(reply));
    return SendServerRefused;
}

int MailSend::NoAuthentication(int error_code, char const* reason) {
    last_error_.SetErr(error_code, reason);
    return SendNoAuthentication;
}

int MailSend::RefuseRecipient(CString const& reason) {
    CString format, message;
    CErrMsg::GetErrMsgFromDefined(smtp_refused_by_server, format);
    message.Format(format, static_cast<char const*>(reason));
    MailSendErr refusal(recipient_, smtp_refused_by_server, message);
    error_list_.Add(refusal);
    last_error_.SetErr(smtp_refused_by_server, static_cast<char const*>(reason));
    return SendNotDelivered;
}

int MailSend::Send() {
    int const result = RunSend();
    OnResult(result);
    CloseConversation(result);
    conversation_log_->Write();
    recipient_.Empty();
    message_id_.Empty();
    body_.Empty();
    return result;
}

int MailSend::RunSend() {
    failure_ = {};
    conversation_log_->Note(("[Send] ProcStart " + m_strMailerName).View());
    for (CString const* field : {&header_, &body_, &recipient_, &host_, &sender_})
        if (field->IsEmpty()) return MissingField();
    if (port_ == 0) return MissingField();
    error_list_.RemoveAll();
    int const usable = CheckValues();
    if (usable != SendAccepted) return usable;

    CString wire_text = MakeMail();
    conversation_log_->Note("[Send] Connect");
    if (!HasConnection()) return SendNotDelivered;
    return RunConversation("[Send] ", CheckOnly::no, &wire_text);
}

bool MailSend::HasConnection() {
    if (bIsConnected == 1 || Connect(nullptr, -1) == 1) return true;
    failure_ = {};
    failure_.phase = protocol::SmtpPhase::connect;
    return false;
}

int MailSend::MissingField() {
    last_error_.SetErr(smtp_missing_data);
    return SendMissingField;
}

// Checks the caller's values that must not reach a server.
int MailSend::CheckValues() {
    char const* fault = FaultOf(sender_, sender_line_end_text, sender_bad_byte_text);
    if (!fault && HasLineEnd(message_id_)) fault = message_id_line_end_text;
    if (fault) {
        last_error_.SetErrS(smtp_missing_data, "%s", fault);
        return SendMissingField;
    }
    fault = FaultOf(recipient_, recipient_line_end_text, recipient_bad_byte_text);
    return fault ? RefuseRecipient(fault) : CheckCredentials();
}

int MailSend::CheckCredentials() {
    bool const needed = m_bSmtpAuth && stage_ != Stage::ready;
    if (!needed || protocol::CredentialsUsable(AllowedMethods(), user_.View(), password_.View()))
        return SendAccepted;
    return NoAuthentication(smtp_auth_failed, credentials_too_long_text);
}

protocol::AllowedMethods MailSend::AllowedMethods() const {
    return {allow_cram_md5_ != 0, allow_login_ != 0, allow_plain_ != 0};
}

CString MailSend::MakeMail() {
    if (!attachments_.IsEmpty()) MakeBoundary();
    delivery::WireParts parts;
    parts.header = header_;
    parts.message_id = message_id_;
    parts.mailer_name = m_strMailerName;
    parts.content_type = content_type_;
    parts.body = body_;
    parts.boundary = boundary_;
    parts.attachments = &attachments_;
    return delivery::MakeWireText(parts);
}

int MailSend::CheckSMTP() { return RunCheck(CheckOnly::yes); }

int MailSend::CheckConversation() { return RunCheck(CheckOnly::no); }

int MailSend::RunCheck(CheckOnly check_only) {
    failure_ = {};
    error_list_.RemoveAll();
    conversation_log_->Note("[CheckSMTP] ProcStart");
    int result = CheckCredentials();
    if (result == SendAccepted) {
        if (!HasConnection()) return CheckNotConnected;
        result = RunConversation("[CheckSMTP] ", check_only, nullptr);
    }
    CloseConversation(result);
    conversation_log_->Write();
    return result == SendAccepted ? CheckPassed : result;
}

CString MailSend::LocalName(char const* caller) {
    char host_name[host_name_size] = {};
    platform::GetHostName(host_name, host_name_size);
    CString local_name = ViolationRemoveForDomain(host_name);
    if (local_name.IsEmpty()) local_name = "LocalHost";
    CString note;
    note.Format("%slocalHostTemp:%s localHost:%s", caller, host_name, static_cast<char const*>(local_name));
    conversation_log_->Note(note.View());
    return local_name;
}

protocol::SmtpOptions MailSend::Options(CString const& local_name) const {
    protocol::SmtpOptions options;
    options.extended = options.authenticate = m_bSmtpAuth != 0;
    options.one_method = true;
    options.allowed = AllowedMethods();
    options.host_name = local_name;
    options.user = user_;
    options.password = password_;
    return options;
}

int MailSend::RunConversation(char const* caller, CheckOnly check_only, CString* wire_text) {
    Wire wire(*this, caller);
    protocol::SmtpConversation smtp(wire, Options(stage_ == Stage::ready ? CString() : LocalName(caller)));
    protocol::SmtpResult result = OpenConversation(smtp, check_only);
    if (result == protocol::SmtpResult::done && wire_text)
        result = smtp.Mail(sender_, {recipient_}, *wire_text);
    if (result == protocol::SmtpResult::done) return SendAccepted;
    failure_ = smtp.Failure();
    return ResultOf(result, smtp);
}

protocol::SmtpResult MailSend::OpenConversation(protocol::SmtpConversation& smtp, CheckOnly check_only) {
    if (stage_ == Stage::ready) return smtp.Reset();
    if (stage_ == Stage::no_greeting) {
        protocol::SmtpResult const greeted = smtp.Greet();
        if (greeted != protocol::SmtpResult::done) return greeted;
        stage_ = Stage::greeted;
    }
    if (!m_bSmtpAuth && check_only == CheckOnly::yes) return protocol::SmtpResult::done;
    protocol::SmtpResult const introduced = smtp.Introduce();
    if (introduced == protocol::SmtpResult::done) stage_ = Stage::ready;
    return introduced;
}

// The result of a failed step, with its error for the user.
int MailSend::ResultOf(protocol::SmtpResult result, protocol::SmtpConversation const& smtp) {
    using protocol::SmtpResult;
    CString const& reply = smtp.Reply().text;
    CString reason;
    switch (result) {
        case SmtpResult::done: return SendAccepted;
        case SmtpResult::lost: return SendSocketFailure;
        case SmtpResult::not_offered: return NoAuthentication(smtp_auth_not_supported, "");
        case SmtpResult::no_method: return NoAuthentication(smtp_auth_method_not_supported, "");
        case SmtpResult::credentials_too_long:
            return NoAuthentication(smtp_auth_failed, credentials_too_long_text);
        case SmtpResult::method_refused: return Refused(smtp_auth_method_not_supported, reply);
        case SmtpResult::bad_challenge: return NoAuthentication(smtp_auth_failed, reply);
        case SmtpResult::long_challenge:
            reason.Format(challenge_too_long_text, static_cast<int>(smtp.ChallengeSize()),
                          static_cast<int>(protocol::longest_challenge));
            return NoAuthentication(smtp_auth_failed, reason);
        case SmtpResult::no_prompt: return NoAuthentication(smtp_auth_failed, login_not_supported_text);
        case SmtpResult::login_refused: return Refused(smtp_auth_bad_user_or_password, reply);
        case SmtpResult::no_upgrade:
        case SmtpResult::refused: break;
    }
    return RefusedBy(smtp.Reply());
}

int MailSend::RefusedBy(protocol::SmtpReply const& reply) {
    if (!failure_.IsInMail()) return Refused(smtp_server_not_ready, reply.text);
    CString const line = protocol::WithoutLineEnd(reply.text);
    return failure_.phase == protocol::SmtpPhase::recipient ? RefuseRecipient(line)
                                                            : Refused(smtp_refused_by_server, line);
}

void MailSend::CloseConversation(int result) {
    ++continue_count_;
    if (continue_count_ < continue_max_ && result >= 0) return;
    if (bIsConnected == 1) {
        Wire wire(*this, "", silently);
        protocol::SmtpConversation(wire, {}).Quit();
    }
    Disconnect();
}
