#include "tessaly/delivery/mail_send.h"

#include <string>

#include "delivery/conversation_log.h"
#include "delivery/socket_error_codes.h"
#include "protocol/smtp_reply.h"
#include "tessaly/delivery/mail_stamps.h"
#include "tessaly/mime/encoded_words.h"
#include "tessaly/platform/process.h"
#include "tessaly/protocol/socket_support.h"
#include "tessaly/storage/error_codes.h"
#include "tessaly/storage/file_version.h"
#include "tessaly/text/kcodec.h"
#include "tessaly/text/strings.h"

using enum storage::ErrorCode;

// Mail, settings and log; the conversation is in mail_send_conversation.cpp.

namespace {

// The kind of log lines that are free text.
constexpr char const* free_text_mark = "｜C｜";

constexpr unsigned long version_buffer_size = 1000;

// The text on one header line: a line end stays only where it folds the value (RFC 5322 2.2.3). Byte by byte,
// since a CR or LF behind half of a double-byte character still ends the line for readers of the header.
CString OnOneHeaderLine(char const* text) {
    std::string line(text ? text : "");
    for (std::size_t at = line.find_first_of("\r\n"); at != std::string::npos;
         at = line.find_first_of("\r\n", at)) {
        bool const folds = line.compare(at, 3, "\r\n ") == 0 || line.compare(at, 3, "\r\n\t") == 0;
        if (!folds) line[at] = ' ';
        at += folds ? 2 : 1;
    }
    return CString(line);
}

CString EncodedHeaderValue(CString const& value) {
    if (IsStrAscii(value)) return value;
    // ISO-2022-JP has no half-width kana (RFC 1468).
    constexpr int to_full_width = 1;
    KCodeC codec;
    char* encoded = nullptr;
    MIMEBase64EncodeForJIS(&encoded, codec.sjtojis7(value, to_full_width));
    CString words(encoded);
    delete[] encoded;
    return words;
}

}  // namespace

CString MailSend::m_strMailerName;

MailSend::MailSend() : conversation_log_(std::make_unique<delivery::ConversationLog>(log_)) {}

MailSend::~MailSend() {
    constexpr int silently = 0;
    if (bIsConnected && stage_ != Stage::no_greeting) SendCommand("QUIT", silently);
    Disconnect();
}

void MailSend::Init() {
    Disconnect();
    ClearMail();
    last_error_.Clear();
    failure_ = {};
    for (CString* text :
         {&message_id_, &recipient_, &sender_, &content_type_, &boundary_, &user_, &password_, &host_})
        text->Empty();
    attachments_.RemoveAll();
    m_bSmtpAuth = allow_cram_md5_ = allow_login_ = allow_plain_ = 0;
    port_ = default_port;
    continue_max_ = 1;
    continue_count_ = 0;
    timeout_ms_ = connect_timeout_ms_ = 0;
    error_list_.RemoveAll();
    log_.Init();
}

int MailSend::SetRecipient(char const* address) {
    recipient_ = address;
    return 1;
}

int MailSend::SetSenderAddr(char const* address) {
    sender_ = address;
    return 1;
}

int MailSend::SetMessageID(char const* id) {
    message_id_ = id;
    return 0;
}

int MailSend::SetBody(char const* text) {
    body_ = text;
    return 1;
}

int MailSend::SetBody(CString const& text) {
    body_ = text;
    return 1;
}

int MailSend::SetHeader(char const* line) {
    header_ = line;
    header_ += "\r\n";
    return 1;
}

int MailSend::AddHeader(char const* line) {
    header_ += line;
    header_ += "\r\n";
    return 1;
}

int MailSend::SetHeader(char const* name, char const* value, char const* address) {
    header_.Empty();
    return AddHeader(name, value, address);
}

int MailSend::AddHeader(char const* name, char const* value, char const* address) {
    if (!name) return 0;
    CString const encoded = EncodedHeaderValue(OnOneHeaderLine(value));
    CString text = encoded;
    if (address) {
        CString const one_line_address = OnOneHeaderLine(address);
        text = encoded.IsEmpty() ? one_line_address : "\"" + encoded + "\" <" + one_line_address + ">";
    }
    header_ += OnOneHeaderLine(name);
    header_ += ": ";
    header_ += text;
    header_ += "\r\n";
    return 1;
}

int MailSend::ClearMail() {
    ClearMailHeader();
    return ClearMailBody();
}

int MailSend::ClearMailHeader() {
    header_.Empty();
    return 1;
}

int MailSend::ClearMailBody() {
    body_.Empty();
    return 1;
}

int MailSend::SetContentType(char const* type, char const* subtype, char const* parameters) {
    content_type_ = CString(type) + "/" + CString(subtype) + CString(parameters);
    return 1;
}

int MailSend::AddAttachFile(char const* part) { return AddAttachFile(CString(part)); }

int MailSend::AddAttachFile(CString const& part) {
    attachments_.Add(part);
    return 1;
}

void MailSend::MakeBoundary() { boundary_ = delivery::NewBoundary(); }

CString MailSend::EncodeFileName(char const* name) { return ::EncodeFileName(name); }

int MailSend::SetSmtpHost(char const* host, int port) {
    if (bIsConnected == 1) {
        last_error_.SetErr(smtp_already_connected);
        return 0;
    }
    if (!host || !*host || port <= 0) {
        last_error_.SetErr(smtp_bad_host_or_port);
        return 0;
    }
    host_ = host;
    port_ = port;
    return 1;
}

void MailSend::SetSmtpAuth(int useAuth, int cramMd5, int login, int plain) {
    m_bSmtpAuth = useAuth;
    allow_cram_md5_ = cramMd5;
    allow_login_ = login;
    allow_plain_ = plain;
}

void MailSend::SetSmtpUserPass(CString user, CString password) {
    user_ = user;
    password_ = password;
}

int MailSend::SetContCountMax(int count) {
    continue_max_ = count;
    return 1;
}

int MailSend::SetTimeOutTime(unsigned int ms) {
    timeout_ms_ = ms;
    return static_cast<int>(ms);
}

int MailSend::SetTimeOutTimeBeforeConnect(unsigned int ms) {
    connect_timeout_ms_ = ms;
    return static_cast<int>(ms);
}

int MailSend::GetErrList(CArray<MailSendErr, MailSendErr&>& list) const {
    list.Copy(error_list_);
    return 1;
}

int MailSend::SetXMailer(char const* name) {
    m_strMailerName = OnOneHeaderLine(name);
    return 1;
}

CString MailSend::MakeMessageID(char const* text, int number) {
    return delivery::NextMessageId(text, number);
}

CString MailSend::MakeSmtpDateNow(char const* zone) { return delivery::SmtpDateNow(zone); }

CString MailSend::GetDllVersion() {
    char version[version_buffer_size] = {};
    GetFileVerInfo(platform::ModulePath(nullptr), "FileVersion", version, sizeof version);
    return version;
}

int MailSend::GetResponseStatus(char const* reply, int* final) {
    int const code = protocol::ReplyCode(reply ? reply : "");
    if (final) *final = code;
    return code < 0 ? -code : code;
}

int MailSend::GetWSAErrMsg(int socketError, FunctionType kind) {
    return delivery::SocketErrorCode(socketError, static_cast<delivery::SocketCall>(kind));
}

int MailSend::InitLog() {
    log_.Init();
    return 1;
}

void MailSend::WriteLogToFile() { log_.WriteToFile(); }

void MailSend::WriteLogHeader(CString envName, int mailID, int customerID, CString address) {
    CString mail, customer;
    mail.Format("MailID:%d", mailID);
    customer.Format("CustID:%d %s", customerID, static_cast<char const*>(address));
    constexpr int without_time = 0, without_rule = 0, with_rule = 1;
    log_.SetLogData("EnvName:" + envName, without_time, without_rule);
    log_.SetLogData(mail, without_time, without_rule);
    log_.SetLogData(customer, without_time, with_rule);
}

void MailSend::WriteLogLine(CString kind, CString text) {
    constexpr int without_rule = 0;
    if (kind == free_text_mark)
        log_.SetLogData(text, 0, without_rule);
    else
        log_.SetLogData(kind + text, 1, without_rule);
}
