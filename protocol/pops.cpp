#include "tessaly/protocol/pops.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <unordered_map>

#include "platform/secrets.h"
#include "protocol/mail_conversation.h"
#include "protocol/pop_conversation.h"
#include "protocol/pop_listing.h"
#include "tessaly/protocol/mail_dots.h"

using namespace platform;
using namespace protocol;

namespace {

constexpr int default_port = 110;
constexpr int no_auth_number = -1;
constexpr int behind_status = 4;  // of a reply

// The component's failure for a failed step, except for failures of the channel and refusals.
constexpr struct {
    PopResult result;
    ComponentError error;
    char const* text;
} failures[] = {
    {PopResult::line_end_in_credentials, component_authentication,
     "Authentication failed: a line end in user or password."},
    {PopResult::unknown_login, component_unknown, "Unknown way to log in."},
    {PopResult::no_time_stamp, component_authentication, "APOP timestamp not found."},
    {PopResult::secret_too_long, component_authentication,
     "Authentication failed: the password is too long."},
    {PopResult::list_too_long, component_protocol,
     "The server's list is longer than 1000000 lines or 64 MiB."},
    {PopResult::unique_id_too_long, component_protocol,
     "A unique ID of the server is longer than 70 characters."},
    {PopResult::message_too_long, component_protocol, "The server's text is too long."},
};

// "NUMBER REST", without the blanks between them.
struct NumberedText {
    explicit NumberedText(CString const& line) : number(std::atoi(line)) {
        int const blank = line.Find(' ');
        if (blank >= 0) rest = line.Mid(blank + 1).TrimLeft();
    }
    int number;
    CString rest;
};

PopResult CheckUniqueId(CString const& unique_id) {
    return unique_id.View().size() <= PopListing::longest_unique_id ? PopResult::done
                                                                    : PopResult::unique_id_too_long;
}

}  // namespace

class PopsComponent : public MailConversation, private PopConversation::Channel {
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
    PopFailure const& LastStep() const { return step_; }

  private:
    ComponentFailure Connect();
    ComponentFailure Speak(int method, ComponentValue const* arguments);
    ComponentFailure List(PopConversation& pop);
    ComponentFailure ListSizes(PopConversation& pop);
    ComponentFailure Choose(int number);
    ComponentFailure Quit();
    ComponentFailure Reset();
    PopOptions Options() const;
    // The failure of a step, by its result and the phase of the conversation.
    ComponentFailure FailureOf(PopResult result, PopConversation const& pop);
    ComponentFailure Told(PopResult result, CString const& reply);

    SocketSupport& Socket() override { return socket_; }
    // A failed channel has recorded its failure, fired its event, and keeps it in lost_.
    bool SendLine(CString const& line, char const* shown) override {
        return !(lost_ = MailConversation::SendLine(line, shown));
    }
    void Received(std::string_view line) override { ShowReceived(CString(line)); }
    void Lost() override { lost_ = FailBySocket(); }
    bool Secure() override { return !(lost_ = MailConversation::Secure()); }

    ComponentDispatcher const dispatcher_;
    void* const object_;
    int auth_ = pops_auth_user;
    int count_ = 0;
    std::unordered_map<int, int> sizes_;  // by message number
    CString unique_id_, text_;
    ComponentFailure lost_;
    PopFailure step_;
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
    step_ = {};
    return IsOpen() ? Speak(method, arguments) : Fail(component_not_connected, "Not connected.");
}

ComponentFailure PopsComponent::Speak(int method, ComponentValue const* arguments) {
    PopConversation pop(*this);
    CString wire;
    PopResult result = PopResult::done;
    switch (method) {
        case pops_list: return List(pop);
        case pops_list_sizes: return ListSizes(pop);
        case pops_delete: return FailureOf(pop.Delete(arguments[0].Number()), pop);
        case pops_noop: return FailureOf(pop.Idle(), pop);
        case pops_retrieve:
        case pops_top: break;
        default: return Fail(component_unknown, "Unknown method.");
    }
    text_.Empty();
    if (method == pops_retrieve)
        result = pop.Retrieve(arguments[0].Number(), wire);
    else
        result = pop.Top(arguments[0].Number(), arguments[1].Number(), wire);
    if (result == PopResult::done) text_ = DotUnstuffed(wire.View());
    return FailureOf(result, pop);
}

ComponentFailure PopsComponent::Reset() {
    socket_.Close();  // no event tells of the first state
    Wipe(settings_.password);
    settings_ = {};
    settings_.port = default_port;
    auth_ = pops_auth_user;
    count_ = 0;
    sizes_.clear();
    unique_id_.Empty();
    text_.Empty();
    step_ = {};
    ForgetError();
    return component_ok;
}

// --- The conversation ---

ComponentFailure PopsComponent::FailureOf(PopResult result, PopConversation const& pop) {
    step_ = result == PopResult::done ? PopFailure() : pop.Failure();
    return Told(result, pop.Reply());
}

ComponentFailure PopsComponent::Told(PopResult result, CString const& reply) {
    switch (result) {
        case PopResult::done: return component_ok;
        case PopResult::lost: return lost_;
        case PopResult::refused: return Fail(component_refused, reply);
        case PopResult::no_upgrade: return Fail(component_no_upgrade, "STLS is not available: " + reply);
        default: break;
    }
    auto const row = std::find_if(std::begin(failures), std::end(failures),
                                  [=](auto const& known) { return known.result == result; });
    return row->error == component_protocol ? FailAndClose(row->error, row->text)
                                            : Fail(row->error, row->text);
}

PopOptions PopsComponent::Options() const {
    PopOptions options;
    options.upgrade = Upgrades();
    options.upgrade_if_offered = settings_.security == security_upgrade_if_offered;
    options.login = auth_ == pops_auth_user   ? PopLogin::password
                    : auth_ == pops_auth_apop ? PopLogin::apop
                                              : PopLogin::unknown;
    options.user = settings_.user;
    options.password = settings_.password;
    return options;
}

ComponentFailure PopsComponent::Connect() {
    count_ = 0;
    sizes_.clear();
    (step_ = {}).phase = PopPhase::connect;
    if (ComponentFailure const failure = Open()) return failure;
    PopConversation pop(*this, Options());
    PopResult result = pop.Greet();
    if (result == PopResult::done) result = pop.LogIn();
    if (result == PopResult::done) result = pop.Stat();
    ComponentFailure const failure = FailureOf(result, pop);
    if (!failure) {
        count_ = std::clamp(std::atoi(pop.Reply().Mid(behind_status)), 0, PopListing::longest);
    } else if (IsOpen()) {
        Quiet const quiet(*this);
        pop.Quit();
        Close();
    }
    return failure;
}

ComponentFailure PopsComponent::Choose(int number) {
    step_ = {};
    if (!IsOpen()) return Fail(component_not_connected, "Not connected.");
    unique_id_.Empty();
    PopConversation pop(*this);
    PopResult result = pop.UniqueId(number);
    NumberedText const told(pop.Reply().Mid(behind_status));
    if (result == PopResult::done) result = CheckUniqueId(told.rest);
    if (result == PopResult::done) unique_id_ = told.rest;
    return FailureOf(result, pop);
}

ComponentFailure PopsComponent::List(PopConversation& pop) {
    PopResult const result = pop.UniqueIds([this](std::string_view line) {
        NumberedText const told{CString(line)};
        PopResult const checked = CheckUniqueId(told.rest);
        if (checked != PopResult::done) return checked;
        POPSMessageListEventParams listed{told.number, told.rest};
        dispatcher_(object_, pops_event_message_list, &listed);
        return PopResult::done;
    });
    return FailureOf(result, pop);
}

ComponentFailure PopsComponent::ListSizes(PopConversation& pop) {
    sizes_.clear();
    PopResult const result = pop.List([this](std::string_view line) {
        NumberedText const told{CString(line)};
        sizes_[told.number] = std::atoi(told.rest);
        return PopResult::done;
    });
    return FailureOf(result, pop);
}

// The server deletes at this point, so a failed QUIT is a failure.
ComponentFailure PopsComponent::Quit() {
    step_ = {};
    if (!IsOpen()) return component_ok;
    PopConversation pop(*this);
    ComponentFailure const failure = FailureOf(pop.Quit(), pop);
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
    POPSValue value = handle->Get(property, index);
    if (length) *length = value.Text().GetLength();
    return value;
}

int POPS_Do(POPSHandle handle, int method, int count, ComponentValue const* arguments, int const*) {
    return handle->Do(method, count, arguments).Number();
}

char const* POPS_GetLastError(POPSHandle handle) { return handle->LastErrorText(); }

int POPS_GetLastErrorCode(POPSHandle handle) { return handle->LastFailure().Number(); }

PopFailure const& POPS_GetPopFailure(POPSHandle handle) { return handle->LastStep(); }

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
