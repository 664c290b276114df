#include "tessaly/reception/mail_pop.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "delivery/socket_error_codes.h"
#include "protocol/pop_listing.h"
#include "reception/pop_replies.h"
#include "tessaly/platform/md5.h"
#include "tessaly/protocol/mail_dots.h"
#include "tessaly/protocol/socket_support.h"

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view positive = "+OK";
// What is reserved for a message at most before any of it is there.
constexpr long largest_reservation = 16 * 1024 * 1024;

constexpr int peer_closed = 0;  // no socket error

bool HoldsLineEnd(std::string_view text) { return text.find_first_of(line_end) != text.npos; }

}  // namespace

MailPop::MailPop() = default;

MailPop::~MailPop() {
    if (connected_) Disconnect();
}

void MailPop::Init() {
    if (connected_) Disconnect();
    for (CString* text : {&m_strMailText, &host_, &user_, &password_}) text->Empty();
    m_aMailList.RemoveAll();
    port_ = default_port;
    type_ = type_user_pass;
    uidl_complete_ = 0;
    timeout_ms_ = connect_timeout_ms_ = 0;
    error_.Clear();
}

bool MailPop::Fail(int code) {
    error_.SetErr(code);
    return false;
}

// A failed send counts as a failed receive too: the user reads the same.
bool MailPop::SocketFailure(int socket_error) {
    delivery::SetSocketError(error_, socket_error, delivery::SocketCall::receive);
    return false;
}

bool MailPop::TooLong(char const* what) {
    // What is left of it would be taken for the reply to the next command.
    socket_->Close();
    error_.SetErrS(error_unknown_code, "サーバーの応答が長すぎます: %s", what);
    return false;
}

int MailPop::SetTimeOutTime(unsigned int ms) {
    timeout_ms_ = ms;
    return static_cast<int>(ms);
}

int MailPop::SetTimeOutTimeBeforeConnect(unsigned int ms) {
    connect_timeout_ms_ = ms;
    return static_cast<int>(ms);
}

int MailPop::SetPopHost(char const* host, int port, int type) {
    if (connected_) return Fail(pop_already_connected);
    bool const good = host && *host && port > 0 && (type == type_user_pass || type == type_apop);
    if (!good) return Fail(pop_bad_host_or_port);
    host_ = host;
    port_ = port;
    type_ = type;
    return 1;
}

int MailPop::SetUserAccount(char const* user, char const* password) {
    if (connected_) return Fail(pop_already_connected);
    if (!user || !*user || !password || HoldsLineEnd(user) || HoldsLineEnd(password))
        return Fail(pop_bad_id_or_password);
    user_ = user;
    password_ = password;
    return 1;
}

// --- The connection ---

int MailPop::OpenSocket() {
    socket_ = std::make_unique<SocketSupport>();
    bool opened = socket_->Create();
    if (opened) {
        socket_->SetTimeOutTime(connect_timeout_ms_);
        opened = socket_->ConnectWithin(host_, static_cast<unsigned>(port_), 0);
    }
    if (opened) return 1;
    delivery::SetSocketError(error_, platform::GetLastSocketError(), delivery::SocketCall::connect);
    return 0;
}

int MailPop::Connect(char const* host, int port, int type) {
    if (connected_) return Fail(pop_already_connected);
    socket_.reset();
    if (host || port < 0 || type < 0) {
        const CString wanted = host ? CString(host) : host_;
        if (!SetPopHost(wanted, port < 0 ? port_ : port, type < 0 ? type_ : type)) return 0;
    }
    if (!OpenSocket()) return 0;
    connected_ = 1;
    socket_->SetTimeOutTime(timeout_ms_);
    m_strMailText.Empty();
    m_aMailList.RemoveAll();
    uidl_complete_ = 0;
    return 1;
}

int MailPop::Disconnect() {
    if (!connected_) return Fail(pop_already_disconnected);
    socket_->Close();
    socket_.reset();
    connected_ = 0;
    return 1;
}

bool MailPop::ReadLine(CString& line) {
    line.Empty();
    int const length = socket_->GetLine(line, 0, 0);
    if (length > 0) return true;
    return LineFailure(length == 0 ? peer_closed : platform::GetLastSocketError());
}

bool MailPop::LineFailure(int error) {
    return error == SocketSupport::line_too_long_error ? TooLong("1行") : SocketFailure(error);
}

bool MailPop::ReadReply(CString& reply) {
    const SocketSupport::WholeReply whole(*socket_);
    return ReadReplyLine(reply);
}

bool MailPop::ReadReplyLine(CString& line) {
    socket_->SetLineLimit(reply_limit);
    bool const read = ReadLine(line);
    socket_->SetLineLimit(SocketSupport::default_line_limit);
    return read;
}

MailPop::Answer MailPop::Ask(CString const& command, CString& reply) {
    CString wire = command + "\r\n";
    if (socket_->SendBlock(wire, 0, 0) < 0) {
        SocketFailure(platform::GetLastSocketError());
        return Answer::lost;
    }
    if (!ReadReply(reply)) return Answer::lost;
    return GetResponseStatus(reply, nullptr) ? Answer::positive : Answer::negative;
}

int MailPop::Command(CString const& command, int refusal) {
    CString reply;
    Answer const answer = Ask(command, reply);
    if (answer == Answer::negative) {
        StripCrLf(reply);
        error_.SetErr(refusal, static_cast<char const*>(reply));
    }
    return answer == Answer::positive ? 1 : 0;
}

int MailPop::GetResponseStatus(char const* reply, CStringArray* fields) {
    const std::string_view text = reply ? reply : "";
    if (fields) fields->RemoveAll();
    if (text.empty()) return 0;
    for (std::size_t at = 0; fields;) {
        const std::size_t blank = text.find(' ', at);
        fields->Add(CString(text.substr(at, blank - at)));
        if (blank == text.npos) break;
        at = blank + 1;
    }
    return text.starts_with(positive) ? 1 : 0;
}

void MailPop::StripCrLf(CString& text) {
    std::string kept(text.View());
    std::erase_if(kept, [](char c) { return c == '\r' || c == '\n'; });
    text = CString(std::string_view(kept));
}

// --- Login and logout ---

int MailPop::PopLogin(char const* user, char const* password, char const* host, int port, int type) {
    if (logged_in_) return Fail(pop_already_logged_in);
    if (user || password) {
        const CString wanted_user = user ? CString(user) : user_;
        const CString wanted_password = password ? CString(password) : password_;
        if (!SetUserAccount(wanted_user, wanted_password)) return 0;
    }
    if (!connected_ && !Connect(host, port, type)) return 0;
    CString greeting;
    if (!ReadReply(greeting)) return 0;
    if (!GetResponseStatus(greeting, nullptr)) return Fail(pop_server_not_ready);
    if (!Authenticate(greeting)) return 0;
    logged_in_ = 1;
    return 1;
}

int MailPop::Authenticate(CString const& greeting) {
    if (type_ == type_apop) return Apop(greeting);
    return Command("USER " + user_, pop_login_failed) && Command("PASS " + password_, pop_login_failed);
}

int MailPop::Apop(CString const& greeting) {
    const CString stamp = reception::TimeStampOf(greeting.View());
    CString shown = greeting;
    StripCrLf(shown);
    if (stamp.IsEmpty()) {
        error_.SetErr(pop_apop_not_supported, static_cast<char const*>(shown));
        return 0;
    }
    char digest[md5_hex_digits + 1];
    if (!XCMD5Encoder(stamp + password_, digest)) {
        error_.SetErr(pop_login_failed, static_cast<char const*>(shown));
        return 0;
    }
    return Command("APOP " + user_ + " " + digest, pop_login_failed);
}

int MailPop::PopLogout() {
    if (!connected_) return Fail(pop_already_disconnected);
    if (logged_in_) {
        CString wire = "QUIT\r\n", reply;
        const SocketSupport::WholeReply whole(*socket_);
        if (socket_->SendBlock(wire, 0, 0) >= 0) socket_->GetLine(reply, 0, 0);
        logged_in_ = 0;
    }
    return Disconnect();
}

// --- The mailbox ---

int MailPop::PopListUidl() {
    if (!logged_in_) return 0;
    uidl_complete_ = 0;
    CString reply;
    Answer answer = Ask("STAT", reply);
    if (answer == Answer::positive) {
        m_aMailList.RemoveAll();
        CStringArray fields;
        GetResponseStatus(reply, &fields);
        if (std::atoi(fields.GetAt(1)) == 0) return 1;
        answer = Ask("LIST", reply);
    }
    if (answer == Answer::positive && !ReadSizes()) return 0;
    if (answer != Answer::positive) {
        StripCrLf(reply);
        if (answer == Answer::negative) error_.SetErr(pop_list_failed, static_cast<char const*>(reply));
        return 0;
    }
    answer = Ask("UIDL", reply);
    if (answer == Answer::lost) return 0;
    if (answer == Answer::negative) {
        StripCrLf(reply);
        error_.SetErr(pop_list_failed, static_cast<char const*>(reply));
        return 1;
    }
    uidl_complete_ = ReadUniqueIds();
    return 1;
}

template <class Take>
bool MailPop::ReadList(char const* name, Take const& take) {
    const SocketSupport::WholeReply whole(*socket_);
    protocol::PopListing listing;
    for (CString line; ReadReplyLine(line);) {
        if (line.View() != reception::closing_line && !listing.Takes(line.View().size())) {
            const CString what = CString(name) + " (上限 1000000 行、64 MiB)";
            return TooLong(what);
        }
        switch (take(line)) {
            case reception::ListStep::more: break;
            case reception::ListStep::end: return true;
            case reception::ListStep::bad_unique_id: return TooLong("UIDL の一意な ID (上限 70 文字)");
        }
    }
    return false;
}

bool MailPop::ReadSizes() {
    return ReadList("LIST", [&](CString const& line) { return reception::TakeSizeLine(line, m_aMailList); });
}

bool MailPop::ReadUniqueIds() {
    reception::UniqueIdReader reader(m_aMailList);
    return ReadList("UIDL", [&](CString const& line) { return reader.Take(line); });
}

bool MailPop::KnowsRow(unsigned long index) const {
    return logged_in_ && index < static_cast<unsigned long>(m_aMailList.GetSize());
}

static CString NumberOf(PopMailInfo const& mail) {
    CString text;
    text.Format("%ld", mail.Number);
    return text;
}

int MailPop::PopRetr(unsigned long index) {
    if (!KnowsRow(index)) return 0;
    PopMailInfo const& mail = m_aMailList[static_cast<int>(index)];
    if (!Command("RETR " + NumberOf(mail), pop_body_failed)) return 0;
    m_strMailText.Empty();
    if (mail.Size > 0) m_strMailText.Reserve(static_cast<int>(std::min(mail.Size, largest_reservation)));
    switch (protocol::ReadDotText(*socket_, message_limit, m_strMailText)) {
        case protocol::DotText::complete: return 1;
        case protocol::DotText::too_long: return TooLong("RETR");
        case protocol::DotText::lost: break;
    }
    return LineFailure(platform::GetLastSocketError());
}

int MailPop::PopDelete(unsigned long index) {
    if (!KnowsRow(index)) return 0;
    return Command("DELE " + NumberOf(m_aMailList[static_cast<int>(index)]), pop_delete_failed);
}

int MailPop::PopReset() { return logged_in_ ? Command("RSET", pop_reset_failed) : 0; }
