#pragma once

#include <memory>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/protocol/pop_failure.h"
#include "tessaly/storage/err_msg.h"

class SocketSupport;
namespace protocol {
class PopConversation;
enum class PopResult;
}  // namespace protocol

// One message of the mailbox.
struct PopMailInfo {
    long Number = 0;  // the server's message number
    long Size = 0;    // bytes, by LIST
    CString Uidl;     // unique ID, empty if the server gave none
};

// The plain, unencrypted POP3 client (RFC 1939): logs in by USER/PASS or by APOP, lists the mailbox, fetches
// one message at a time, marks messages for deletion, logs out. The application recognises messages that it
// has seen by their unique IDs. The order of use is SetPopHost, SetUserAccount, PopLogin, PopListUidl,
// PopRetr and PopDelete for rows of the list, PopLogout; after that the object can log in again.
//
// An object and its socket belong to the thread that calls them. There is no log.
//
// The limits of a server: a line longer than 64 MiB, a message above 1 GiB, a list of more than 1,000,000
// lines or 64 MiB, a unique ID of more than 70 characters and a reply line above 64 KiB end the operation and
// the connection like a lost one, with a text of their own. A reply that takes too long as a whole is a
// passed time limit (SocketSupport::WholeReply). The number of messages from STAT is not trusted: the rows
// are those of LIST. Numbers and sizes that cannot be read count as 0. A user name or password with a CR or
// LF in it would be a command of its own and is refused by SetUserAccount.
//
// Operations give 1 for success and 0 for failure, which leaves its number and text in GetErrMsg() unless it
// is said otherwise; a success leaves it as it was.
class TESSALY_API MailPop {
  public:
    enum Type : int { type_user_pass = 0, type_apop = 1 };
    static constexpr int default_port = 110;

    // The message of the last PopRetr: line ends CR LF, the closing line "." at its end, doubled dots
    // unchanged. And the mailbox of the last PopListUidl.
    CString m_strMailText;
    CArray<PopMailInfo, PopMailInfo> m_aMailList;

    MailPop();
    virtual ~MailPop();
    MailPop(MailPop const&) = delete;
    MailPop& operator=(MailPop const&) = delete;

    // 16001 while connected; 16004 unless the host is not empty, the port above 0 and the type 0 or 1.
    int SetPopHost(char const* host, int port, int type);
    // 16001 while connected; 16003 unless the user is not empty and the password not null.
    int SetUserAccount(char const* user, char const* password);
    // Null and negative arguments stand for the stored values. 16005 when logged in; failures of the two
    // setters; a socket error; 16006 (the greeting), 16013 (no time stamp for APOP), 16007 (refused). From
    // the greeting on a failure leaves the connection open; PopLogout ends it.
    int PopLogin(char const* user, char const* password, char const* host, int port, int type);
    // 16002 when not connected; else the connection is closed in any case.
    int PopLogout();
    // Fills m_aMailList. 16008, or a socket error; no number when not logged in. A server that refuses UIDL,
    // or is lost while it answers, leaves its error and the result is 1 (see IsUidlComplete).
    int PopListUidl();
    // Whether the last PopListUidl got a unique ID for every row.
    int IsUidlComplete() const { return uidl_complete_; }
    // `index` is a row of m_aMailList. No number when not logged in or for a row that does not exist; 16009,
    // 16010, or a socket error. After that m_strMailText holds the received text. A deleted row stays in the
    // list; the server deletes at the logout.
    int PopRetr(unsigned long index);
    int PopDelete(unsigned long index);
    // Undoes the deletions. 16011.
    int PopReset();

    char const* GetPopHost() const { return host_; }
    int GetPopPort() const { return port_; }
    int GetPopType() const { return type_; }
    char const* GetUserNameA() const { return user_; }
    char const* GetPassword() const { return password_; }
    int GetMailNumber() const { return m_aMailList.GetSize(); }
    CErrMsg& GetErrMsg() { return error_; }
    // The step in which the last operation that speaks to the server failed, and the reply: the same failure
    // as data. Its step is PopPhase::none where no server was contacted, and where the operation succeeded; a
    // list without its unique IDs is a success that sets it.
    protocol::PopFailure const& GetFailure() const { return failure_; }

    // Time limits in milliseconds, 0 for none: of each wait on the connected socket, and of connecting. The
    // setters return the value.
    int SetTimeOutTime(unsigned int ms);
    int GetTimeOutTime() const { return static_cast<int>(timeout_ms_); }
    int SetTimeOutTimeBeforeConnect(unsigned int ms);
    int GetTimeOutTimeBeforeConnect() const { return static_cast<int>(connect_timeout_ms_); }

    // 1 for a reply that begins with "+OK". `fields`, unless null, gets the reply cut at every blank, two
    // blanks giving an empty field; it is emptied for no reply.
    static int GetResponseStatus(char const* reply, CStringArray* fields);
    // Removes every CR and LF.
    static void StripCrLf(CString& text);

  protected:
    void Init();
    // 16001 while connected; failures of SetPopHost; a socket error.
    int Connect(char const* host, int port, int type);
    // Closes at once. 16002 when not connected.
    int Disconnect();

  private:
    class Wire;  // the channel of the conversation

    bool Fail(int code);
    bool SocketFailure(int socket_error);
    bool TooLong(char const* what);
    bool Refused(int code, CString reply);
    bool Done(protocol::PopResult result, protocol::PopConversation const& pop, int refusal);
    int OpenSocket();
    bool KnowsRow(unsigned long index) const;

    std::unique_ptr<SocketSupport> socket_;
    CString host_;
    int port_ = default_port;
    int type_ = type_user_pass;
    CString user_;
    CString password_;
    int uidl_complete_ = 0;
    int connected_ = 0;
    int logged_in_ = 0;
    unsigned int timeout_ms_ = 0;
    unsigned int connect_timeout_ms_ = 0;
    CErrMsg error_;
    protocol::PopFailure failure_;
};
