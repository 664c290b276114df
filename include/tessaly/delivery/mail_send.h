#pragma once

#include <memory>

#include "tessaly/delivery/mail_send_err.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/protocol/smtp_failure.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/log_writer.h"

class SocketSupport;
namespace delivery {
class ConversationLog;
}
namespace protocol {
struct AllowedMethods;
struct SmtpOptions;
struct SmtpReply;
class SmtpConversation;
enum class SmtpResult;
}  // namespace protocol

// The plain, unencrypted SMTP client (RFC 5321). One call of Send sends one mail to one recipient in one SMTP
// conversation; a mailing is the application's loop around it. The object is configured once and used for
// mail after mail: Send ends by emptying recipient, Message-ID and body, while header, content type,
// attachments and boundary stay. All texts are Shift-JIS; a null text counts as empty.
//
// An object and its socket belong to the thread that calls them. SetXMailer is for the start of the program;
// MakeMessageID may be called from any thread.
//
// The limits of servers and callers:
//
// A recipient or sender address with a CR or LF in it would be a second command, and one with another control
// character, a blank or an angle bracket more than an address; neither is sent to a server
// (protocol/mail_address.h). Send refuses it before it connects: the recipient as if the server had (0,
// smtp_refused_by_server, an entry in the error list), the sender with -1 and smtp_missing_data, each with a
// text of its own. A Message-ID with a CR or LF, which would be a second header line, is refused like such a
// sender.
//
// A user name or password whose answer exceeds the 512-byte buffers (protocol/smtp_authentication.h) is
// refused with -4, smtp_auth_failed and a text of its own: before connecting when it fits none of the allowed
// methods, before AUTH when it does not fit the one chosen. A challenge that does not fit ends the same way,
// with only QUIT sent after it. A LOGIN server gets at most eight answers (protocol/mail_limits.h).
//
// A reply over the limit of protocol/mail_limits.h is a socket failure (-2) with error_unknown_code. That
// code comes with a text about the cause, here and for a lost connection and for a socket error without a
// number of its own.
//
// Header lines are not checked; but AddHeader with a name turns a line end that does not fold the value (CR
// LF with a blank or tab behind it) into a blank, so that no value can add a header line. The body is
// dot-stuffed behind CR LF only; a caller that merges values into it makes its line ends CR LF first.
//
// With a continue count maximum above 1 a connection is kept for several mails: the next Send or CheckSMTP on
// it begins with RSET in place of greeting, HELO or EHLO and authentication (settings changed meanwhile apply
// from the next connection on), and QUIT is sent when the connection ends, also by the destructor, which does
// not wait for the reply.
class TESSALY_API MailSend {
  public:
    enum FunctionType {
        FunctionConnect = 1,  // creating and connecting
        FunctionSend = 2,
        FunctionReceive = 3,
        FunctionShutdown = 4,
    };
    // Results of Send.
    enum SendResult {
        SendAccepted = 1,  // the server accepted the mail; the last error is unchanged
        // no connection (see Connect), or the recipient was refused (2105, and an entry in the error list)
        SendNotDelivered = 0,
        SendMissingField = -1,      // header, body, recipient, host, sender or port is missing (2005)
        SendSocketFailure = -2,     // during the conversation (GetWSAErrMsg)
        SendServerRefused = -3,     // the server refused a step (2104, 2105, 2107 or 2108)
        SendNoAuthentication = -4,  // none is possible with this server (2106, 2107 or 2109)
    };
    // Results of CheckSMTP, beside -2 to -4 of Send.
    enum CheckResult { CheckPassed = 0, CheckNotConnected = -1 };
    static constexpr int default_port = 25;

    MailSend();
    virtual ~MailSend();
    MailSend(MailSend const&) = delete;
    MailSend& operator=(MailSend const&) = delete;

    // The mail. SetRecipient, SetSenderAddr and SetBody return 1, SetMessageID 0.
    int SetRecipient(char const* address);
    void ClearRecipient() { recipient_.Empty(); }
    CString& GetRecipient() { return recipient_; }
    int SetSenderAddr(char const* address);
    char const* GetSenderAddr() const { return sender_; }
    // Without angle brackets.
    int SetMessageID(char const* id);
    char const* GetMessageID() const { return message_id_; }
    int SetBody(char const* text);
    // Shares the text.
    int SetBody(CString const& text);
    char const* GetBody() const { return body_; }

    // The header becomes `line` and CR LF. Returns 1.
    int SetHeader(char const* line);
    // Appends `line` and CR LF. Returns 1.
    int AddHeader(char const* line);
    // Empties the header, then as AddHeader with the same arguments.
    int SetHeader(char const* name, char const* value, char const* address);
    // Appends "name: text". The text is `value`, or with an `address` the quoted value and the address in
    // angle brackets, or the address alone when `value` is empty or null. A value with bytes above 127
    // becomes encoded words (RFC 2047) in ISO-2022-JP; half-width kana, which that code lacks, become
    // full-width. 1, or 0 without a name.
    int AddHeader(char const* name, char const* value, char const* address);
    char const* GetHeader() const { return header_; }
    // Empty header and body, the header, the body. Each returns 1.
    int ClearMail();
    int ClearMailHeader();
    int ClearMailBody();
    // "type/subtype" with `parameters` behind it, unless null, as they are. Returns 1. Empty, as at first,
    // means plain text in ISO-2022-JP.
    int SetContentType(char const* type, char const* subtype, char const* parameters);
    CString GetContentType() const { return content_type_; }
    void ClearAttachFile() { attachments_.RemoveAll(); }
    // Appends one finished MIME part, header and body, as text; no file is read. Returns 1.
    int AddAttachFile(char const* part);
    // Shares the part.
    int AddAttachFile(CString const& part);
    // Makes the boundary of the mail's parts; Send does so too for a mail with attachments.
    void MakeBoundary();
    // A file name as header text: ASCII unchanged, else encoded words.
    static CString EncodeFileName(char const* name);

    // 1; or 0 with smtp_already_connected on an open connection, or with smtp_bad_host_or_port unless the
    // host is not empty and the port is above 0. `host`: a name or an IPv4 or IPv6 address.
    int SetSmtpHost(char const* host, int port);
    char const* GetSmtpHost() const { return host_; }
    int GetSmtpPort() const { return port_; }
    // Whether to authenticate, and by which methods.
    void SetSmtpAuth(int useAuth, int cramMd5, int login, int plain);
    void SetSmtpUserPass(CString user, CString password);
    // How many conversations one connection serves. Returns 1.
    int SetContCountMax(int count);
    int GetContCountMax() const { return continue_max_; }
    // Time limits in milliseconds, 0 for none: of each wait on the connected socket, and of connecting, all
    // addresses of the host together. The setters return the value.
    int SetTimeOutTime(unsigned int ms);
    int GetTimeOutTime() const { return static_cast<int>(timeout_ms_); }
    int SetTimeOutTimeBeforeConnect(unsigned int ms);
    int GetTimeOutTimeBeforeConnect() const { return static_cast<int>(connect_timeout_ms_); }

    // Sends the mail. Result: SendResult, the reason in GetErrMsg().
    int Send();
    // The same conversation up to authentication, to test the settings; sends no mail and leaves the mail
    // unchanged. Without authentication it ends after the greeting. Result: 0, CheckNotConnected, or -2 to -4
    // of SendResult.
    int CheckSMTP();
    // The steps of Send before the mail: as CheckSMTP, but without authentication it goes on to HELO.
    int CheckConversation();
    // The recipients refused by the last Send, replacing the contents of `list`. Returns 1.
    int GetErrList(CArray<MailSendErr, MailSendErr&>& list) const;
    CErrMsg& GetErrMsg() { return last_error_; }
    // The step in which the last Send or CheckSMTP failed, and the reply: the same failure as data. The phase
    // is none where no server was contacted.
    protocol::SmtpFailure const& GetFailure() const { return failure_; }

    // The X-Mailer value of all objects; empty for no such line. A line end that does not fold it becomes a
    // blank. Returns 1.
    static int SetXMailer(char const* name);
    static char const* GetXMailer() { return m_strMailerName; }
    // A Message-ID without angle brackets; see delivery/mail_stamps.h.
    static CString MakeMessageID(char const* text, int number);
    // The present local time for a Date header; `zone` such as 900 or -500, null or empty for the system's.
    static CString MakeSmtpDateNow(char const* zone);
    // The version of the library's own file, empty if it has none.
    static CString GetDllVersion();
    // The code of a reply by its last line, 0 if that cannot be read. `final`, unless null, receives the same
    // with a sign: below 0 on a continuation line.
    static int GetResponseStatus(char const* reply, int* final);
    // The error number whose text explains a socket error to the user; 1 when there is none.
    static int GetWSAErrMsg(int socketError, FunctionType kind);

    // Returns 1.
    int InitLog();
    void WriteLogToFile();
    // Environment, mail and customer, written above a conversation in the log.
    void WriteLogHeader(CString envName, int mailID, int customerID, CString address);
    // One log entry with its time. `kind`: "｜L｜" a note, "｜S｜" a command, "｜R｜" a reply or a socket
    // error; for "｜C｜", free text, kind and time are left out.
    void WriteLogLine(CString kind, CString text);

  protected:
    // Puts every field back to its start value; the connection, if any, is closed.
    void Init();
    // With a `host`, or a `port` below 0, host and port go through SetSmtpHost, a null host or a negative
    // port standing for the stored one. 1; also, with smtp_already_connected set, when there is a connection.
    // 0 with the reason in GetErrMsg(): smtp_bad_host_or_port, or the socket error.
    int Connect(char const* host, int port);
    // Closes at once, without QUIT. Returns 1.
    int Disconnect();
    // Sends `command` and CR LF. 1; or 0 with the socket error in GetErrMsg() if `reportFailure`.
    int SendCommand(CString command, int reportFailure);
    // Called by Send as soon as its result is known, before it ends the conversation: GetErrMsg and
    // GetFailure tell about it already. Must not use the connection.
    virtual void OnResult(int) {}
    // The bytes that Send sends after DATA for the present mail: its text with dots and closing line.
    CString MakeMail();

    int m_bSmtpAuth = 0;
    int bIsConnected = 0;
    static CString m_strMailerName;

  private:
    // The state of the open connection's conversation.
    enum class Stage { no_greeting, greeted, ready };
    enum class CheckOnly { no, yes };

    // The channel of the conversation.
    class Wire;

    // The results of the steps are those of Send.
    int StartConnection(char const* host, int port);
    bool OpenSocket();
    int RunSend();
    int RunCheck(CheckOnly check_only);
    bool HasConnection();
    int MissingField();
    int CheckValues();
    int CheckCredentials();
    protocol::AllowedMethods AllowedMethods() const;
    protocol::SmtpOptions Options(CString const& local_name) const;
    CString LocalName(char const* caller);
    int RunConversation(char const* caller, CheckOnly check_only, CString* wire_text);
    protocol::SmtpResult OpenConversation(protocol::SmtpConversation& smtp, CheckOnly check_only);
    void CloseConversation(int result);
    bool ReadAnswer(protocol::SmtpReply& reply, int report_failure);
    int ResultOf(protocol::SmtpResult result, protocol::SmtpConversation const& smtp);
    int RefusedBy(protocol::SmtpReply const& reply);
    int Refused(int error_code, CString const& reply);
    int RefuseRecipient(CString const& reason);
    int NoAuthentication(int error_code, char const* reason);
    void SetSocketError(int socket_error, FunctionType kind);

    CString header_;
    CString body_;
    CErrMsg last_error_;
    CString message_id_;
    CString recipient_;
    CString sender_;
    CString content_type_;
    CStringArray attachments_;
    CString boundary_;
    int allow_cram_md5_ = 0;
    int allow_login_ = 0;
    int allow_plain_ = 0;
    CString user_;
    CString password_;
    std::unique_ptr<SocketSupport> socket_;
    CString host_;
    int port_ = default_port;
    int continue_max_ = 1;
    int continue_count_ = 0;
    unsigned int timeout_ms_ = 0;
    unsigned int connect_timeout_ms_ = 0;
    Stage stage_ = Stage::no_greeting;
    protocol::SmtpFailure failure_;
    CArray<MailSendErr, MailSendErr&> error_list_;
    LogWriter log_;
    std::unique_ptr<delivery::ConversationLog> conversation_log_;
};
