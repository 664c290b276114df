#include "platform/posix/host_lookup.h"

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/posix/socket_error.h"
#include "tessaly/platform/socket.h"

namespace platform::posix {
namespace {

// A host name without an address is an invalid host address for the clients, whose text sends the sender to
// the settings. So is a name for which no name server answers, since a mistyped name cannot be told from it
// here.
int ErrorOf(int result) {
    switch (result) {
        case EAI_SYSTEM: return SocketErrorOf(errno);
        case EAI_MEMORY: return socket_no_buffers;
        default: return socket_invalid;
    }
}

Found Find(Host const& host, int flags) {
    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    int const result = getaddrinfo(host.name.c_str(), host.port.c_str(), &wanted, &list);
    if (result != 0) return {nullptr, ErrorOf(result)};
    return {Addresses(list), 0};
}

}  // namespace

struct HostLookup::State {
    std::mutex lock;
    std::condition_variable done;
    bool finished = false;
    Found found;

    void Run(Host const& host) {
        Found answer = FindByName(host);
        std::lock_guard guard(lock);
        found = std::move(answer);
        finished = true;
        done.notify_one();
    }
};

Found FindNumeric(Host const& host) { return Find(host, AI_NUMERICHOST); }

Found FindByName(Host const& host) { return Find(host, 0); }

HostLookup::HostLookup(Host const& host) : state_(std::make_shared<State>()) {
    try {
        std::thread([state = state_, host] { state->Run(host); }).detach();
    } catch (std::system_error const&) {
        state_->Run(host);  // no thread can be started: the caller waits
    }
}

bool HostLookup::Wait(int milliseconds) {
    std::unique_lock hold(state_->lock);
    auto const finished = [this] { return state_->finished; };
    if (milliseconds >= 0)
        return state_->done.wait_for(hold, std::chrono::milliseconds(milliseconds), finished);
    state_->done.wait(hold, finished);
    return true;
}

Found HostLookup::Take() {
    std::lock_guard guard(state_->lock);
    return std::move(state_->found);
}

}  // namespace platform::posix
