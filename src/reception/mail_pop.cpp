#include "tessaly/reception/mail_pop.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "delivery/socket_error_codes.h"
#include "platform/view_of.h"
#include "protocol/pop_conversation.h"
#include "reception/pop_replies.h"
#include "tessaly/platform/socket.h"
#include "tessaly/protocol/socket_support.h"

using enum storage::ErrorCode;

using protocol::PopConversation;
using protocol::PopPhase;
using protocol::PopResult;

namespace {

constexpr std::string_view positive = "+OK";

bool HoldsLineEnd(std::string_view text) { return text.find_first_of("\r\n") != text.npos; }

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

// A failed send counts as a failed receive too: the text for the user is the same.
bool MailPop::SocketFailure(int socket_error) {
    delivery::SetSocketError(error_, socket_error, delivery::SocketCall::receive);
    return false;
}

bool MailPop::TooLong(char const* what) {
    // The rest of the text would be taken for the reply to the next command.
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
        CString const wanted = host ? CString(host) : host_;
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

// --- The conversation ---

class MailPop::Wire : public PopConversation::Channel {
  public:
    explicit Wire(MailPop& client, bool reports = true) : client_(client), reports_(reports) {}
    SocketSupport& Socket() override { return *client_.socket_; }
    bool SendLine(CString const& line, char const*) override {
        CString wire = line + "\r\n";
        if (Socket().SendBlock(wire, 0, 0) >= 0) return true;
        if (reports_) client_.SocketFailure(platform::GetLastSocketError());
        return false;
    }
    void Lost() override {
        int const error = platform::GetLastSocketError();
        if (!reports_) return;
        if (error == SocketSupport::line_too_long_error)
            client_.TooLong("1行");
        else
            client_.SocketFailure(error);
    }

  private:
    MailPop& client_;
    bool const reports_;
};

// Whether the step succeeded; else its number and text are kept, `refusal` for a reply that refuses.
bool MailPop::Done(PopResult result, PopConversation const& pop, int refusal) {
    if (result == PopResult::done) return true;
    failure_ = pop.Failure();
    switch (result) {
        case PopResult::lost: return false;
        case PopResult::no_time_stamp: return Refused(pop_apop_not_supported, pop.Greeting());
        case PopResult::secret_too_long: return Refused(pop_login_failed, pop.Greeting());
        case PopResult::list_too_long:
            return TooLong(failure_.phase == PopPhase::sizes ? "LIST (上限 1000000 行、64 MiB)"
                                                             : "UIDL (上限 1000000 行、64 MiB)");
        case PopResult::unique_id_too_long: return TooLong("UIDL の一意な ID (上限 70 文字)");
        case PopResult::message_too_long: return TooLong("RETR");
        default: return Refused(refusal, pop.Reply());
    }
}

bool MailPop::Refused(int code, CString reply) {
    StripCrLf(reply);
    error_.SetErr(code, static_cast<char const*>(reply));
    return false;
}

int MailPop::GetResponseStatus(char const* reply, CStringArray* fields) {
    std::string_view const text = platform::ViewOf(reply);
    if (fields) fields->RemoveAll();
    if (text.empty()) return 0;
    for (std::size_t at = 0; fields;) {
        std::size_t const blank = text.find(' ', at);
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
    failure_ = {};
    if (logged_in_) return Fail(pop_already_logged_in);
    if (user || password) {
        CString const wanted_user = user ? CString(user) : user_;
        CString const wanted_password = password ? CString(password) : password_;
        if (!SetUserAccount(wanted_user, wanted_password)) return 0;
    }
    if (!connected_ && !Connect(host, port, type)) {
        failure_.phase = PopPhase::connect;
        return 0;
    }
    protocol::PopOptions options;
    options.login = type_ == type_apop ? protocol::PopLogin::apop : protocol::PopLogin::password;
    options.one_at_sign = true;
    options.user = user_;
    options.password = password_;
    Wire wire(*this);
    PopConversation pop(wire, std::move(options));
    if (!Done(pop.Greet(), pop, pop_server_not_ready) || !Done(pop.LogIn(), pop, pop_login_failed)) return 0;
    logged_in_ = 1;
    return 1;
}

int MailPop::PopLogout() {
    if (!connected_) return Fail(pop_already_disconnected);
    if (logged_in_) {
        Wire silent(*this, false);
        PopConversation(silent).Quit();
        logged_in_ = 0;
    }
    return Disconnect();
}

// --- The mailbox ---

int MailPop::PopListUidl() {
    failure_ = {};
    if (!logged_in_) return 0;
    uidl_complete_ = 0;
    Wire wire(*this);
    PopConversation pop(wire);
    if (!Done(pop.Stat(), pop, pop_list_failed)) return 0;
    m_aMailList.RemoveAll();
    CStringArray fields;
    GetResponseStatus(pop.Reply(), &fields);
    if (std::atoi(fields.GetAt(1)) == 0) return 1;
    PopResult const listed = pop.List([this](std::string_view line) {
        reception::TakeSizeLine(line, m_aMailList);
        return PopResult::done;
    });
    if (!Done(listed, pop, pop_list_failed)) return 0;
    reception::UniqueIdReader reader(m_aMailList);
    PopResult const identified = pop.UniqueIds([&](std::string_view line) {
        return reader.Take(line) ? PopResult::done : PopResult::unique_id_too_long;
    });
    uidl_complete_ = Done(identified, pop, pop_list_failed);
    bool const answered = identified != PopResult::lost || !pop.Reply().IsEmpty();
    return answered;
}

bool MailPop::KnowsRow(unsigned long index) const {
    return logged_in_ && index < static_cast<unsigned long>(m_aMailList.GetSize());
}

int MailPop::PopRetr(unsigned long index) {
    failure_ = {};
    if (!KnowsRow(index)) return 0;
    PopMailInfo const& mail = m_aMailList[static_cast<int>(index)];
    Wire wire(*this);
    PopConversation pop(wire);
    return Done(pop.Retrieve(mail.Number, m_strMailText, mail.Size), pop, pop_body_failed);
}

int MailPop::PopDelete(unsigned long index) {
    failure_ = {};
    if (!KnowsRow(index)) return 0;
    Wire wire(*this);
    PopConversation pop(wire);
    return Done(pop.Delete(m_aMailList[static_cast<int>(index)].Number), pop, pop_delete_failed);
}

int MailPop::PopReset() {
    failure_ = {};
    if (!logged_in_) return 0;
    Wire wire(*this);
    PopConversation pop(wire);
    return Done(pop.Reset(), pop, pop_reset_failed);
}
