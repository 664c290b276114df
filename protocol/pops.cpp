#include "tessaly/protocol/pops.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <unordered_map>

#include "platform/secrets.h"
#include "protocol/mail_conversation.h"
#include "protocol/pop_listing.h"
#include "tessaly/platform/md5.h"
#include "tessaly/protocol/mail_dots.h"

using namespace platform;
using namespace protocol;

namespace {

constexpr int default_port = 110;
constexpr int no_auth_number = -1;
constexpr std::string_view line_end = "\r\n";
constexpr int largest_message = 1024 * 1024 * 1024;  // bytes

// The time stamp of a greeting, angle brackets and all (RFC 1939 7); empty for none.
std::string_view TimeStampIn(std::string_view greeting) {
    const std::size_t open = greeting.find('<'), close = greeting.find('>', std::min(open, greeting.size()));
    if (close == greeting.npos) return {};
    const std::string_view stamp = greeting.substr(open, close - open + 1);
    return stamp.find('@') == stamp.npos ? std::string_view() : stamp;
}

// "NUMBER REST" of a line, the blanks between them gone.
void Divide(CString const& line, int& number, CString& rest) {
    number = std::atoi(line);
    int const blank = line.Find(' ');
    rest = blank < 0 ? CString() : line.Mid(blank + 1).TrimLeft();
}

}  // namespace

class PopsComponent : public MailConversation {
  public:
    PopsComponent(ComponentDispatcher dispatcher, void* object)
        : MailConversation({pops_event_connection_status, pops_event_error, pops_event_trail,
                            pops_event_certificate, pops_event_ssl_status},
                           dispatcher, object),
          dispatcher_(dispatcher),
          object_(object) {
        settings_.port = default_port;
    }

    ComponentFailure Set(int property, ComponentValue const& value);
    POPSValue Get(int property, int index) const;
    ComponentFailure Do(int method, int count, ComponentValue const* arguments);

  private:
    ComponentFailure Connect();
    ComponentFailure LogIn(CString const& greeting);
    ComponentFailure Upgrade();
    ComponentFailure Stat();
    ComponentFailure List();
    ComponentFailure ListSizes();
    template <class Take>
    ComponentFailure ForEachLine(Take take);
    ComponentFailure CheckUniqueId(CString const& unique_id);
    ComponentFailure Fetch(CString const& command);
    ComponentFailure Choose(int number);
    ComponentFailure Quit();
    ComponentFailure Reset();
    // Sends, and reads the reply; "-ERR" is a failure. `shown` stands in the trail in the command's place.
    ComponentFailure Command(CString const& line, CString& reply, char const* shown = nullptr);
    // A reply of one line, whatever it says.
    ComponentFailure ReadWholeLine(CString& line);
    ComponentFailure ReadReply(CString& reply);
    ComponentFailure Command(CString const& line) {
        CString reply;
        return Command(line, reply);
    }

    const ComponentDispatcher dispatcher_;
    void* const object_;
    int auth_ = pops_auth_user;
    int count_ = 0;
    std::unordered_map<int, int> sizes_;  // by message number
    CString unique_id_, text_;
};

ComponentFailure PopsComponent::Set(int property, ComponentValue const& value) {
    switch (property) {
        case pops_auth: auth_ = value.IsNumber() ? value.Number() : no_auth_number; break;
        case pops_port: settings_.port = value.Number(); break;
        case pops_server: settings_.server = value.Text(); break;
        case pops_message: return Choose(value.Number());
        case pops_password:
            Wipe(settings_.password);
            settings_.password = CString(value.Bytes());
            break;
        case pops_security: return SetSecurity(value);
        case pops_time_limit: settings_.seconds = value.Number(); break;
        case pops_user: settings_.user = value.Text(); break;
        case pops_ca_file: settings_.ca_file = value.Text(); break;
        case pops_verify: SetVerify(value); break;
        default: return Fail(component_unknown, "Unknown property.");
    }
    return component_ok;
}

POPSValue PopsComponent::Get(int property, int index) const {
    switch (property) {
        case pops_count: return count_;
        case pops_size: {
            auto const size = sizes_.find(index);
            return size == sizes_.end() ? 0 : size->second;
        }
        case pops_text: return text_;
        case pops_unique_id: return unique_id_;
        default: return 0;
    }
}

ComponentFailure PopsComponent::Do(int method, int count, ComponentValue const* arguments) {
    auto const number = [&](int index) { return CString(std::to_string(arguments[index].Number()).c_str()); };
    int const wanted = method == pops_top                                                             ? 2
                       : method == pops_configure || method == pops_retrieve || method == pops_delete ? 1
                                                                                                      : 0;
    if (count != wanted) return Fail(component_unknown, "Wrong number of arguments.");
    switch (method) {
        case pops_configure: return Configure(arguments[0].Text());
        case pops_connect: return Connect();
        case pops_disconnect: return Quit();
        case pops_reset: return Reset();
        case pops_interrupt: Interrupt(); return component_ok;
        default: break;
    }
    if (!IsOpen()) return Fail(component_not_connected, "Not connected.");
    switch (method) {
        case pops_list: return List();
        case pops_list_sizes: return ListSizes();
        case pops_retrieve: return Fetch("RETR " + number(0));
        case pops_top: return Fetch("TOP " + number(0) + " " + number(1));
        case pops_delete: return Command("DELE " + number(0));
        case pops_noop: return Command("NOOP");
        default: return Fail(component_unknown, "Unknown method.");
    }
}

ComponentFailure PopsComponent::Reset() {
    socket_.Close();  // the first state, of which nothing is told
    Wipe(settings_.password);
    settings_ = {};
    settings_.port = default_port;
    auth_ = pops_auth_user;
    count_ = 0;
    sizes_.clear();
    unique_id_.Empty();
    text_.Empty();
    ForgetError();
    return component_ok;
}

// --- The conversation ---

ComponentFailure PopsComponent::ReadWholeLine(CString& line) {
    const SocketSupport::WholeReply whole(socket_);
    return ReadLine(line);
}

ComponentFailure PopsComponent::ReadReply(CString& reply) {
    if (const ComponentFailure failure = ReadWholeLine(reply)) return failure;
    return reply.Left(3) == "+OK" ? ComponentFailure() : Fail(component_refused, reply);
}

ComponentFailure PopsComponent::Command(CString const& line, CString& reply, char const* shown) {
    if (const ComponentFailure failure = SendLine(line, shown)) return failure;
    return ReadReply(reply);
}

ComponentFailure PopsComponent::Connect() {
    count_ = 0;
    sizes_.clear();
    if (const ComponentFailure failure = Open()) return failure;
    CString greeting;
    ComponentFailure failure = ReadReply(greeting);
    if (!failure && Upgrades()) failure = Upgrade();
    if (!failure) failure = LogIn(greeting);
    if (!failure) failure = Stat();
    if (failure && IsOpen()) {
        const Quiet quiet(*this);
        Quit();
    }
    return failure;
}

// What a server offers it tells since RFC 2449; one that does not tell offers nothing.
ComponentFailure PopsComponent::Upgrade() {
    if (settings_.security == security_upgrade_if_offered) {
        bool offered = false;
        const Quiet quiet(*this);
        const ComponentFailure told = Command("CAPA");
        if (!told)
            if (const ComponentFailure failure = ForEachLine([&](CString const& line) {
                    offered |= line == "STLS";
                    return ComponentFailure();
                }))
                return failure;
        if (!IsOpen() || !offered) return IsOpen() ? ComponentFailure() : told;
    }
    CString reply;
    if (const ComponentFailure failure = SendLine("STLS")) return failure;
    if (const ComponentFailure failure = ReadWholeLine(reply)) return failure;
    if (reply.Left(3) != "+OK") return Fail(component_no_upgrade, "STLS is not available: " + reply);
    return Secure();
}

// The lines of a reply up to the closing one, or to the first that `take` finds a failure in.
template <class Take>
ComponentFailure PopsComponent::ForEachLine(Take take) {
    const SocketSupport::WholeReply whole(socket_);
    PopListing listing;
    for (CString line;;) {
        if (const ComponentFailure failure = ReadLine(line)) return failure;
        if (line == ".") return component_ok;
        if (!listing.Takes(line.View().size() + line_end.size()))
            return FailAndClose(component_protocol,
                                "The server's list is longer than 1000000 lines or 64 MiB.");
        if (const ComponentFailure failure = take(line)) return failure;
    }
}

ComponentFailure PopsComponent::CheckUniqueId(CString const& unique_id) {
    if (unique_id.View().size() <= PopListing::longest_unique_id) return component_ok;
    return FailAndClose(component_protocol, "A unique ID of the server is longer than 70 characters.");
}

// User names and passwords with a line end in them would be commands of their own.
ComponentFailure PopsComponent::LogIn(CString const& greeting) {
    if (settings_.user.FindOneOf("\r\n") >= 0 || settings_.password.FindOneOf("\r\n") >= 0)
        return Fail(component_authentication, "Authentication failed: a line end in user or password.");
    CString reply;
    if (auth_ != pops_auth_user && auth_ != pops_auth_apop)
        return Fail(component_unknown, "Unknown way to log in.");
    if (auth_ == pops_auth_apop) {
        const std::string stamp(TimeStampIn(greeting.View()));
        if (stamp.empty()) return Fail(component_authentication, "APOP timestamp not found.");
        std::string secret = stamp + std::string(settings_.password.View());
        const std::string digest = Md5Hex(secret);
        Wipe(secret);
        const CString head = "APOP " + settings_.user + " ";
        return Command(head + digest.c_str(), reply, head + hidden);
    }
    if (const ComponentFailure failure = Command("USER " + settings_.user)) return failure;
    CString line = "PASS " + settings_.password;
    const ComponentFailure failure = Command(line, reply, CString("PASS ") + hidden);
    Wipe(line);
    return failure;
}

ComponentFailure PopsComponent::Stat() {
    CString reply;
    if (const ComponentFailure failure = Command("STAT", reply)) return failure;
    count_ = std::clamp(std::atoi(reply.Mid(4)), 0, PopListing::longest);
    return component_ok;
}

ComponentFailure PopsComponent::Choose(int number) {
    if (!IsOpen()) return Fail(component_not_connected, "Not connected.");
    unique_id_.Empty();
    const CString text = std::to_string(number).c_str();
    CString reply, unique_id;
    int told = 0;
    if (const ComponentFailure failure = Command("UIDL " + text, reply)) return failure;
    Divide(reply.Mid(4), told, unique_id);
    if (const ComponentFailure failure = CheckUniqueId(unique_id)) return failure;
    unique_id_ = unique_id;
    return component_ok;
}

ComponentFailure PopsComponent::List() {
    if (const ComponentFailure failure = Command("UIDL")) return failure;
    return ForEachLine([&](CString const& line) {
        int number = 0;
        CString unique_id;
        Divide(line, number, unique_id);
        if (const ComponentFailure failure = CheckUniqueId(unique_id)) return failure;
        POPSMessageListEventParams listed{number, unique_id};
        dispatcher_(object_, pops_event_message_list, &listed);
        return ComponentFailure();
    });
}

ComponentFailure PopsComponent::ListSizes() {
    sizes_.clear();
    if (const ComponentFailure failure = Command("LIST")) return failure;
    return ForEachLine([&](CString const& line) {
        int number = 0;
        CString size;
        Divide(line, number, size);
        sizes_[number] = std::atoi(size);
        return ComponentFailure();
    });
}

ComponentFailure PopsComponent::Fetch(CString const& command) {
    text_.Empty();
    if (const ComponentFailure failure = Command(command)) return failure;
    CString wire;
    if (const ComponentFailure failure = ReadText(wire, largest_message)) return failure;
    text_ = DotUnstuffed(wire.View());
    return component_ok;
}

// The server deletes now, so a farewell that fails is a failure.
ComponentFailure PopsComponent::Quit() {
    if (!IsOpen()) return component_ok;
    CString reply;
    const ComponentFailure failure = Command("QUIT", reply);
    Close();
    return failure;
}

// --- The functions ---

POPSHandle POPS_Create(ComponentDispatcher dispatcher, void* object) {
    return new PopsComponent(dispatcher, object);
}

void POPS_Destroy(POPSHandle handle) { delete handle; }

int POPS_Set(POPSHandle handle, int property, int, ComponentValue const& value, int) {
    return handle->Set(property, value).Number();
}

POPSValue POPS_Get(POPSHandle handle, int property, int index, int* length) {
    const POPSValue value = handle->Get(property, index);
    if (length) *length = value.Text().GetLength();
    return value;
}

int POPS_Do(POPSHandle handle, int method, int count, ComponentValue const* arguments, int const*) {
    return handle->Do(method, count, arguments).Number();
}

char const* POPS_GetLastError(POPSHandle handle) { return handle->LastErrorText(); }

int POPS_GetLastErrorCode(POPSHandle handle) { return handle->LastFailure().Number(); }

int POPS::Dispatch(void* object, int event, void* parameters) {
    auto* const self = static_cast<POPS*>(object);
    switch (event) {
        case 1: return self->FireConnectionStatus(static_cast<POPSConnectionStatusEventParams*>(parameters));
        case 2: return self->FireReserved2(parameters);
        case 3: return self->FireError(static_cast<POPSErrorEventParams*>(parameters));
        case 4: return self->FireReserved4(parameters);
        case 5: return self->FireMessageList(static_cast<POPSMessageListEventParams*>(parameters));
        case 6: return self->FirePITrail(static_cast<POPSPITrailEventParams*>(parameters));
        case 7: return self->FireCertificate(static_cast<POPSCertificateEventParams*>(parameters));
        case 8: return self->FireSSLStatus(static_cast<POPSSSLStatusEventParams*>(parameters));
        case 9: return self->FireReserved9(parameters);
        case 10: return self->FireReserved10(parameters);
        default: return 0;
    }
}
