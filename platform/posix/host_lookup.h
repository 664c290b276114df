#pragma once

#include <netdb.h>

#include <memory>
#include <string>

// The addresses of a host, IPv4 and IPv6, for a stream to a port.
namespace platform::posix {

struct FreeAddresses {
    void operator()(addrinfo* list) const { freeaddrinfo(list); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

struct Host {
    std::string name;
    std::string port;
};

struct Found {
    Addresses addresses;
    int error = 0;  // a SocketError where there are none
};

// An address that is written as a number. Reads no file and no name server.
Found FindNumeric(Host const& host);
// May wait long for name servers.
Found FindByName(Host const& host);

// FindByName on a thread of its own, for a caller that has other work meanwhile. An object that is destroyed
// before the answer comes leaves the thread to end by itself.
class HostLookup {
  public:
    explicit HostLookup(Host const& host);
    // true when the answer has come; waits for it for at most `milliseconds` (-1: without limit).
    bool Wait(int milliseconds);
    // To be called once, after Wait has given true.
    Found Take();

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace platform::posix
