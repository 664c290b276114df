#include "tessaly/platform/socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <string>
#include <utility>

#include "platform/posix/descriptor.h"
#include "platform/posix/host_lookup.h"
#include "platform/posix/socket_error.h"
#include "platform/timer.h"
#include "tessaly/platform/interruption.h"

using platform::InterruptibleWaits;
using platform::SetLastSocketError;
using platform::posix::SocketErrorOf;

namespace {

constexpr int stream_type = 1;
constexpr unsigned last_port = 65535;
// Interval at which the wait for a name look-up, which nothing can end, is checked for an interruption.
constexpr int interrupt_step_ms = 20;

// The error is not about the host, only about this machine's route to one of its addresses.
bool IsAboutTheWay(int error) {
    return error == platform::socket_network_unreachable || error == platform::socket_address_family ||
           error == platform::socket_address_not_available;
}

}  // namespace

CSocket::~CSocket() { CSocket::Close(); }

int CSocket::Create(unsigned port, int type, long, char const* address) {
    bool const offered = port == 0 && type == stream_type && !address;
    int const error = IsOpen()  ? platform::socket_is_connected
                      : offered ? 0
                                : platform::socket_address_family;
    SetLastSocketError(error);
    if (error != 0) return 0;
    created_ = true;
    return 1;
}

int CSocket::Connect(char const* host, unsigned port) {
    cancelled_ = false;
    int error = 0;
    if (!created_)
        error = platform::socket_not_socket;
    else if (IsOpen())
        error = platform::socket_is_connected;
    else if (port == 0 || port > last_port)
        error = platform::socket_address_not_available;
    else
        error = ConnectToHost(host ? host : "", port);
    SetLastSocketError(error);
    return error == 0;
}

int CSocket::ConnectToHost(char const* name, unsigned port) {
    platform::posix::Host const host{name, std::to_string(port)};
    platform::posix::Found found = platform::posix::FindNumeric(host);
    if (!found.addresses && *name) {
        bool const interruptible = InterruptDescriptor() >= 0 || InterruptibleWaits::Descriptor() >= 0;
        // Without a timer nothing else can end the wait.
        if (platform::MillisecondsToNextTimer() < 0 && !interruptible) {
            found = platform::posix::FindByName(host);
        } else {
            platform::posix::HostLookup lookup(host);
            while (!lookup.Wait(interruptible ? interrupt_step_ms : platform::MillisecondsToNextTimer()))
                if (!PumpMessages() || IsInterrupted()) return platform::socket_interrupted;
            found = lookup.Take();
        }
    }
    int error = found.error;
    for (addrinfo const* address = found.addresses.get(); address; address = address->ai_next) {
        int const latest = ConnectTo(*address);
        if (latest == 0 || latest == platform::socket_interrupted) return latest;
        if (error == 0 || IsAboutTheWay(error)) error = latest;
    }
    return error;
}

int CSocket::ConnectTo(addrinfo const& address) {
    platform::posix::Descriptor socket(
        ::socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!socket) return SocketErrorOf(errno);
    int const on = 1;
    setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(socket.Get(), address.ai_addr, address.ai_addrlen) != 0) {
        if (errno != EINPROGRESS) return SocketErrorOf(errno);
        if (int const error = WaitOn(socket.Get(), Wait::to_send)) return error;
        int result = 0;
        socklen_t size = sizeof result;
        getsockopt(socket.Get(), SOL_SOCKET, SO_ERROR, &result, &size);
        if (result != 0) return SocketErrorOf(result);
    }
    descriptor_ = socket.Release();
    return 0;
}

// Result: 0 when the descriptor is ready, else the error. A ready descriptor counts more than a waiting
// message.
int CSocket::WaitOn(int descriptor, Wait wait) {
    for (;;) {
        int const grace = InterruptibleWaits::MillisecondsLeft();
        if (grace == 0) return platform::socket_interrupted;
        int limit = platform::MillisecondsToNextTimer();
        if (grace > 0 && (limit < 0 || grace < limit)) limit = grace;
        int const raises = grace > 0 ? -1 : InterruptibleWaits::Descriptor();
        pollfd wanted[] = {{descriptor, wait == Wait::to_send ? short{POLLOUT} : short{POLLIN}, 0},
                           {InterruptDescriptor(), POLLIN, 0},
                           {raises, POLLIN, 0}};
        int const ready = ::poll(wanted, std::size(wanted), limit);
        if (ready < 0 && errno != EINTR) return SocketErrorOf(errno);
        if (ready > 0 && wanted[1].revents != 0) return platform::socket_interrupted;
        if (ready > 0 && wanted[0].revents != 0) return 0;
        if (!PumpMessages()) return platform::socket_interrupted;
    }
}

int CSocket::WaitFor(Wait wait) { return WaitOn(descriptor_, wait); }

bool CSocket::IsInterrupted() const {
    if (InterruptibleWaits::MillisecondsLeft() == 0) return true;
    pollfd wanted{InterruptDescriptor(), POLLIN, 0};
    return ::poll(&wanted, 1, 0) > 0;
}

bool CSocket::PumpMessages() {
    if (platform::MillisecondsToNextTimer() == 0) OnMessagePending();
    return !cancelled_;
}

int CSocket::OnMessagePending() {
    platform::Message message;
    return platform::PeekMessage(&message, 0, ~0U, true) ? 1 : 0;
}

// OnMessagePending may close the socket.
template <class Call>
int CSocket::Transfer(Wait wait, bool wait_first, Call const& call) {
    cancelled_ = false;
    int error = wait_first && IsOpen() ? WaitOn(descriptor_, wait) : 0;
    while (error == 0) {
        if (!IsOpen()) {
            error = created_ ? platform::socket_not_connected : platform::socket_not_socket;
            break;
        }
        long const count = call(wait);
        if (count >= 0) {
            SetLastSocketError(0);
            return static_cast<int>(count);
        }
        error = errno == EAGAIN ? WaitOn(descriptor_, wait) : SocketErrorOf(errno);
    }
    SetLastSocketError(error);
    return -1;
}

long CSocket::TrySend(void const* data, int size, int flags, Wait&) {
    return ::send(descriptor_, data, static_cast<std::size_t>(size), flags | MSG_NOSIGNAL);
}

long CSocket::TryReceive(void* data, int size, int flags, Wait&) {
    return ::recv(descriptor_, data, static_cast<std::size_t>(size), flags);
}

// Sending rarely has to wait and is tried first; received bytes are rarely there already, so receiving waits
// first.
int CSocket::Send(void const* data, int size, int flags) {
    if (size < 0) size = 0;
    return Transfer(Wait::to_send, false, [&](Wait& wait) { return TrySend(data, size, flags, wait); });
}

int CSocket::Receive(void* data, int size, int flags) {
    if (size < 0) size = 0;
    return Transfer(Wait::to_receive, !HasReceived(),
                    [&](Wait& wait) { return TryReceive(data, size, flags, wait); });
}

bool CSocket::Readable(int milliseconds) const {
    pollfd wanted{descriptor_, POLLIN, 0};
    return IsOpen() && ::poll(&wanted, 1, milliseconds) > 0;
}

void CSocket::Close() {
    platform::posix::Descriptor(std::exchange(descriptor_, -1)).Close();
    created_ = false;
}
