#include "protocol/smtps.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/base64_codec.h"
#include "platform/base64_decoder.h"
#include "platform/md5.h"
#include "platform/secrets.h"
#include "platform/socket.h"
#include "protocol/mail_address.h"
#include "protocol/mail_conversation.h"
#include "protocol/mail_dots.h"

using namespace platform;
using namespace protocol;

namespace {

constexpr std::size_t longest_line = 998;
constexpr int first_code = 200;
constexpr int shown_of_reply = 200;  // bytes
constexpr int default_port = 25;
constexpr char const* sender_and_recipients_needed = "Sender and recipients are needed.";

std::string Upper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

bool HasTooLongLine(std::string_view text) {
    for (std::size_t at = 0, end; at < text.size(); at = end + 2) {
        end = std::min(text.find("\r\n", at), text.size());
        if (end - at > longest_line) return true;
    }
    return false;
}

std::vector<CString> AddressesIn(CString const& list) {
    std::vector<CString> addresses;
    for (int at = 0; at <= list.GetLength();) {
        int const comma = list.Find(',', at), end = comma < 0 ? list.GetLength() : comma;
        CString address = list.Mid(at, end - at);
        if (!address.Trim().IsEmpty()) addresses.push_back(address);
        at = end + 1;
    }
    return addresses;
}

bool IsAddress(CString const& text) { return !text.IsEmpty() && FitsEnvelope(text.View()); }

}  // namespace

class SmtpsComponent : public MailConversation {
  public:
    SmtpsComponent(ComponentDispatcher dispatcher, void* object)
        : MailConversation({smtps_event_connection_status, smtps_event_error, smtps_event_trail,
                            smtps_event_certificate, smtps_event_ssl_status},
                           dispatcher, object) {
        settings_.port = default_port;
    }

    ComponentFailure Set(int property, ComponentValue const& value);
    ComponentFailure Do(int method, int count, ComponentValue const* arguments);

  private:
    // The kinds of replies that are no refusal, by the first digit of their code.
    enum class Kind { completion = 2, intermediate = 3 };
    struct Reply {
        int code = 0;       // first_code to ComponentFailure::last_refusal; 0 for no reply
        CString last;       // line
        std::string lines;  // all of them, in capitals, each behind a line end

        bool Is(Kind kind) const { return code / 100 == static_cast<int>(kind); }
    };
    enum class Method { cram_md5, login, plain };

    ComponentFailure Connect();
    ComponentFailure Hello();
    ComponentFailure Upgrade();
    ComponentFailure Authenticate();
    ComponentFailure Try(Method method, Reply& reply);
    ComponentFailure Send();
    ComponentFailure Envelope();
    ComponentFailure Begin();
    ComponentFailure Quit();
    ComponentFailure Reset();
    // Sends and reads the reply; a failure only for a lost connection or an unreadable reply.
    ComponentFailure Ask(CString const& line, Reply& reply, char const* shown = nullptr);
    ComponentFailure ReadReply(Reply& reply);
    // The same, and a reply of another kind is a failure.
    ComponentFailure Command(CString const& line, Kind wanted);
    // The failure that a reply is that the conversation cannot go on with.
    ComponentFailure Refused(Reply const& reply);
    ComponentFailure Unreadable(ComponentError error, char const* why, CString const& line);
    bool Offers(char const* extension) const;
    bool OffersMethod(char const* name) const;
    ComponentFailure AnswerSecret(std::string secret, Reply& reply);
    CString Message() const;

    CString from_, recipients_, text_, headers_, message_, hello_name_;
    int auth_ = smtps_auth_any;
    bool keep_ = false;
    std::string extensions_;
};

ComponentFailure SmtpsComponent::Set(int property, ComponentValue const& value) {
    switch (property) {
        case smtps_auth: auth_ = value.Number(); break;
        case smtps_from: from_ = value.Text(); break;
        case smtps_port: settings_.port = value.Number(); break;
        case smtps_server: settings_.server = value.Text(); break;
        case smtps_text: text_ = value.Text(); break;
        case smtps_headers: headers_ = value.Text(); break;
        case smtps_message: message_ = value.Text(); break;
        case smtps_hello_name: hello_name_ = value.Text(); break;
        case smtps_password:
            Wipe(settings_.password);
            settings_.password = CString(value.Bytes());
            break;
        case smtps_recipients: recipients_ = value.Text(); break;
        case smtps_security: return SetSecurity(value);
        case smtps_keep_connection: keep_ = value.Number() != 0 || value.Text() == "1"; break;
        case smtps_time_limit: settings_.seconds = value.Number(); break;
        case smtps_user: settings_.user = value.Text(); break;
        case smtps_ca_file: settings_.ca_file = value.Text(); break;
        case smtps_verify: SetVerify(value); break;
        default: return Fail(component_unknown, "Unknown property.");
    }
    return component_ok;
}

ComponentFailure SmtpsComponent::Do(int method, int count, ComponentValue const* arguments) {
    switch (method) {
        case smtps_configure:
            return count == 1 ? Configure(arguments[0].Text())
                              : Fail(component_unknown, "One argument is needed.");
        case smtps_connect: return Connect();
        case smtps_send: return Send();
        case smtps_disconnect: return Quit();
        case smtps_reset_mail:
            return IsOpen() ? Command("RSET", Kind::completion)
                            : Fail(component_not_connected, "Not connected.");
        case smtps_reset: return Reset();
        case smtps_interrupt: Interrupt(); return component_ok;
        default: return Fail(component_unknown, "Unknown method.");
    }
}

ComponentFailure SmtpsComponent::Reset() {
    socket_.Close();  // the first state, of which nothing is told
    Wipe(settings_.password);
    settings_ = {};
    settings_.port = default_port;
    for (CString* text : {&from_, &recipients_, &text_, &headers_, &message_, &hello_name_}) text->Empty();
    auth_ = smtps_auth_any;
    keep_ = false;
    extensions_.clear();
    ForgetError();
    return component_ok;
}

// --- Replies ---

ComponentFailure SmtpsComponent::ReadReply(Reply& reply) {
    const SocketSupport::WholeReply whole(socket_);
    reply = {};
    for (;;) {
        if (const ComponentFailure failure = ReadLine(reply.last)) return failure;
        reply.lines += "\n" + Upper(reply.last.View());
        const std::string_view line = reply.last.View();
        bool const has_code = line.size() >= 3 && std::all_of(line.begin(), line.begin() + 3,
                                                              [](char c) { return c >= '0' && c <= '9'; });
        if (!has_code || reply.lines.size() > reply_limit)
            return Unreadable(component_protocol, "The server's reply cannot be read: ", reply.last);
        if (line.size() > 3 && line[3] == '-') continue;
        int const code = std::atoi(reply.last);
        if (code < first_code || code > ComponentFailure::last_refusal)
            return Unreadable(component_reply_code, "The server's reply has no code of SMTP: ", reply.last);
        reply.code = code;
        return component_ok;
    }
}

ComponentFailure SmtpsComponent::Unreadable(ComponentError error, char const* why, CString const& line) {
    return FailAndClose(error, why + line.Left(shown_of_reply));
}

ComponentFailure SmtpsComponent::Refused(Reply const& reply) {
    if (reply.code >= ComponentFailure::first_refusal)
        return Fail(ComponentFailure::OfReply(reply.code), reply.last);
    return Unreadable(component_unexpected_reply,
                      "The server's reply does not fit the command: ", reply.last);
}

ComponentFailure SmtpsComponent::Ask(CString const& line, Reply& reply, char const* shown) {
    if (const ComponentFailure failure = SendLine(line, shown)) return failure;
    return ReadReply(reply);
}

ComponentFailure SmtpsComponent::Command(CString const& line, Kind wanted) {
    Reply reply;
    if (const ComponentFailure failure = Ask(line, reply)) return failure;
    return reply.Is(wanted) ? ComponentFailure() : Refused(reply);
}

// --- The connection ---

ComponentFailure SmtpsComponent::Connect() {
    if (hello_name_.FindOneOf("\r\n") >= 0)
        return Fail(component_unknown, "A line end in the name for EHLO.");
    if (const ComponentFailure failure = Open()) return failure;
    Reply reply;
    if (const ComponentFailure failure = ReadReply(reply)) return failure;
    ComponentFailure failure = reply.Is(Kind::completion) ? Hello() : Refused(reply);
    if (!failure && Upgrades()) failure = Upgrade();
    if (!failure && !settings_.user.IsEmpty() && auth_ != smtps_auth_none) failure = Authenticate();
    if (failure && IsOpen()) Quit();
    return failure;
}

// EHLO, and HELO for a server that does not know it.
ComponentFailure SmtpsComponent::Hello() {
    char name[256] = "localhost";
    if (hello_name_.IsEmpty()) platform::GetHostName(name, sizeof name);
    const CString mine = hello_name_.IsEmpty() ? CString(name) : hello_name_;
    Reply reply;
    if (const ComponentFailure failure = Ask("EHLO " + mine, reply)) return failure;
    extensions_ = reply.lines;
    if (reply.Is(Kind::completion)) return component_ok;
    extensions_.clear();
    return reply.code >= ComponentFailure::first_for_good ? Command("HELO " + mine, Kind::completion)
                                                          : Refused(reply);
}

bool SmtpsComponent::Offers(char const* extension) const {
    for (char const* end : {"\n", " "})
        if ((extensions_ + "\n").find(std::string(extension) + end) != std::string::npos) return true;
    return false;
}

// Where the upgrade is required it is asked for even if it is not offered, so that the server's own word is
// on record.
ComponentFailure SmtpsComponent::Upgrade() {
    if (settings_.security == security_upgrade_if_offered && !Offers("STARTTLS")) return component_ok;
    Reply reply;
    if (const ComponentFailure failure = Ask("STARTTLS", reply)) return failure;
    if (!reply.Is(Kind::completion))
        return Fail(component_no_upgrade, "STARTTLS is not available: " + reply.last);
    if (const ComponentFailure failure = Secure()) return failure;
    return Hello();
}

// --- Authentication (RFC 4954) ---

// The list of methods stands behind AUTH, with a blank or, on older servers, a "=".
bool SmtpsComponent::OffersMethod(char const* name) const {
    for (std::size_t at = 0; (at = extensions_.find("AUTH", at)) != std::string::npos; at += 4) {
        if (at < 1 || (extensions_[at - 1] != '-' && extensions_[at - 1] != ' ')) continue;
        std::string list = extensions_.substr(at + 4, extensions_.find('\n', at) - at - 4) + " ";
        std::replace(list.begin(), list.end(), '=', ' ');
        if (list.find(std::string(" ") + name + " ") != std::string::npos) return true;
    }
    return false;
}

ComponentFailure SmtpsComponent::Authenticate() {
    constexpr struct {
        Method method;
        int setting;
        char const* name;
    } methods[] = {{Method::cram_md5, smtps_auth_cram_md5, "CRAM-MD5"},
                   {Method::login, smtps_auth_login, "LOGIN"},
                   {Method::plain, smtps_auth_plain, "PLAIN"}};
    Reply reply;
    for (auto const& known : methods) {
        bool const allowed = auth_ == known.setting ||
                             (auth_ == smtps_auth_any && (known.method != Method::plain || IsSecure()));
        if (!allowed || !OffersMethod(known.name)) continue;
        if (const ComponentFailure failure = Try(known.method, reply)) return failure;
        if (reply.Is(Kind::completion)) return component_ok;
    }
    return reply.code != 0 ? Refused(reply)
                           : Fail(component_authentication,
                                  "Authentication failed: the server offers no method that can be used.");
}

ComponentFailure SmtpsComponent::AnswerSecret(std::string secret, Reply& reply) {
    std::string base64 = Base64Of(secret);
    CString line{std::string_view(base64)};
    Wipe(secret);
    Wipe(base64);
    const ComponentFailure failure = Ask(line, reply, hidden);
    Wipe(line);
    return failure;
}

// A failure only when the conversation cannot go on; what the server says is in `reply`.
ComponentFailure SmtpsComponent::Try(Method method, Reply& reply) {
    const std::string user(settings_.user.View());
    const std::string_view password = settings_.password.View();
    if (method == Method::plain) {
        const std::string nul(1, '\0');
        if (const ComponentFailure failure = Ask("AUTH PLAIN", reply)) return failure;
        return reply.Is(Kind::intermediate) ? AnswerSecret((nul + user + nul).append(password), reply)
                                            : ComponentFailure();
    }
    if (const ComponentFailure failure = Ask(method == Method::login ? "AUTH LOGIN" : "AUTH CRAM-MD5", reply))
        return failure;
    if (!reply.Is(Kind::intermediate)) return component_ok;
    if (method == Method::login) {
        if (const ComponentFailure failure = AnswerSecret(user, reply)) return failure;
        return reply.Is(Kind::intermediate) ? AnswerSecret(std::string(password), reply) : ComponentFailure();
    }
    std::string challenge;
    if (!FromBase64(reply.last.View().substr(std::min<std::size_t>(4, reply.last.View().size())), challenge))
        return Ask("*", reply);  // the end of the attempt (RFC 4954 4)
    return AnswerSecret(user + " " + HmacMd5Hex(password, challenge), reply);
}

// --- Mail ---

CString SmtpsComponent::Message() const { return message_.IsEmpty() ? headers_ + "\r\n" + text_ : message_; }

ComponentFailure SmtpsComponent::Send() {
    const CString message = Message();
    const std::vector<CString> to = AddressesIn(recipients_);
    if (!IsAddress(from_) || to.empty() || !std::all_of(to.begin(), to.end(), IsAddress))
        return Fail(component_missing, sender_and_recipients_needed);
    if (HasTooLongLine(message.View()))
        return Fail(component_line_too_long, "A line of the message is longer than 998 bytes.");
    ComponentFailure failure = Begin();
    if (!failure) failure = Envelope();
    if (!failure) {
        CString wire;
        wire.Reserve(message.GetLength() + message.GetLength() / 64 + 8);
        AppendDotStuffed(wire, message.View());
        wire += message.View().ends_with("\r\n") ? ".\r\n" : "\r\n.\r\n";
        failure = SendText(wire);
    }
    if (!failure) {
        Reply reply;
        failure = ReadReply(reply);
        if (!failure && !reply.Is(Kind::completion)) failure = Refused(reply);
    }
    if (IsOpen() && !keep_) Quit();
    return failure;
}

// A connection that was kept may have been closed by the server meanwhile; then there is a new one.
ComponentFailure SmtpsComponent::Begin() {
    if (IsOpen()) {
        const Quiet quiet(*this);
        Reply reply;
        bool const silent = !socket_.Readable(0);  // else it is the end, or a farewell
        if (silent && !Ask("RSET", reply) && reply.Is(Kind::completion)) return component_ok;
        Close();
    }
    return Connect();
}

ComponentFailure SmtpsComponent::Envelope() {
    if (const ComponentFailure failure = Command("MAIL FROM:<" + from_ + ">", Kind::completion))
        return failure;
    for (CString const& address : AddressesIn(recipients_))
        if (const ComponentFailure failure = Command("RCPT TO:<" + address + ">", Kind::completion))
            return failure;
    return Command("DATA", Kind::intermediate);
}

// A failure behind the last mail changes nothing that was told.
ComponentFailure SmtpsComponent::Quit() {
    if (!IsOpen()) return component_ok;
    const Quiet quiet(*this);
    Reply reply;
    if (!SendLine("QUIT")) ReadReply(reply);
    Close();
    return component_ok;
}

// --- The functions ---

SMTPSHandle SMTPS_Create(ComponentDispatcher dispatcher, void* object) {
    return new SmtpsComponent(dispatcher, object);
}

void SMTPS_Destroy(SMTPSHandle handle) { delete handle; }

int SMTPS_Set(SMTPSHandle handle, int property, int, ComponentValue const& value, int) {
    return handle->Set(property, value).Number();
}

int SMTPS_Do(SMTPSHandle handle, int method, int count, ComponentValue const* arguments, int const*) {
    return handle->Do(method, count, arguments).Number();
}

char const* SMTPS_GetLastError(SMTPSHandle handle) { return handle->LastErrorText(); }

int SMTPS_GetLastErrorCode(SMTPSHandle handle) { return handle->LastFailure().Number(); }

ComponentFailure SMTPS_GetLastFailure(SMTPSHandle handle) { return handle->LastFailure(); }

int SMTPS::Dispatch(void* object, int event, void* parameters) {
    auto* const self = static_cast<SMTPS*>(object);
    switch (event) {
        case 1: return self->FireConnectionStatus(static_cast<SMTPSConnectionStatusEventParams*>(parameters));
        case 2: return self->FireReserved2(parameters);
        case 3: return self->FireError(static_cast<SMTPSErrorEventParams*>(parameters));
        case 4: return self->FireReserved4(parameters);
        case 5: return self->FirePITrail(static_cast<SMTPSPITrailEventParams*>(parameters));
        case 6: return self->FireCertificate(static_cast<SMTPSCertificateEventParams*>(parameters));
        case 7: return self->FireSSLStatus(static_cast<SMTPSSSLStatusEventParams*>(parameters));
        case 8: return self->FireReserved8(parameters);
        case 9: return self->FireReserved9(parameters);
        default: return 0;
    }
}
