#pragma once

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

// A server on 127.0.0.1 that plays a script from a thread of the test process, for clients of line protocols.
// A script is a list of connections, each a list of steps: but for the first (the greeting), a step reads one
// unit from the client (a line, or behind the reply "354" a mail to its closing dot) and then writes its
// reply. When its steps are over, a connection goes on recording what the client sends until the client
// closes. No wait is longer than deadline_ms.
namespace test {

struct Step {
    enum class Ending { stay, close, reset, stall };
    std::string reply;
    bool in_bytes = false;         // one byte a packet
    int times = 1;                 // how often the reply is written
    Ending ending = Ending::stay;  // stall: send nothing more until the client closes
    int pause_ms = 0;              // behind each packet
};
using Script = std::vector<Step>;

// A script from replies separated by "|". Each gets its CR LF here. A "#" in front: in one-byte pieces; a
// "%": with a pause behind each of them as well. Marks at the end, all without a CR LF: "!" closes, "!!"
// resets, "~" falls silent, "*" repeats the reply until the client closes, or with "%" a hundred times and
// closes.
inline Script Play(std::string_view replies) {
    constexpr int more_than_enough = 200000, drip_ms = 10, long_drip = 100;
    Script script;
    while (!replies.empty()) {
        std::string_view reply = replies.substr(0, replies.find('|'));
        replies.remove_prefix(std::min(replies.size(), reply.size() + 1));
        Step step;
        if (reply.ends_with('*')) step.times = more_than_enough;
        if (reply.ends_with('!')) step.ending = Step::Ending::close;
        if (reply.ends_with("!!")) step.ending = Step::Ending::reset;
        if (reply.ends_with('~')) step.ending = Step::Ending::stall;
        bool const drips = reply.starts_with('%');
        if (drips) step.pause_ms = drip_ms;
        if (drips && step.times > 1) {
            step.times = long_drip;
            step.ending = Step::Ending::close;
        }
        step.in_bytes = drips || reply.starts_with('#');
        if (step.in_bytes) reply.remove_prefix(1);
        step.reply = reply.substr(0, reply.find_last_not_of("!~*") + 1);
        if (step.reply == reply) step.reply += "\r\n";
        script.push_back(step);
    }
    return script;
}

constexpr int deadline_ms = 5000;

class ListeningSocket {
  public:
    explicit ListeningSocket(int backlog = 8)
        : descriptor_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        ::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), size);
        ::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        if (backlog >= 0) ::listen(descriptor_, backlog);
    }
    ~ListeningSocket() { ::close(descriptor_); }
    ListeningSocket(ListeningSocket const&) = delete;
    ListeningSocket& operator=(ListeningSocket const&) = delete;
    int Descriptor() const { return descriptor_; }
    int Port() const { return port_; }

  private:
    int descriptor_;
    int port_ = 0;
};

// A port without a listener, reserved while the object lives.
class RefusingPort : public ListeningSocket {
  public:
    RefusingPort() : ListeningSocket(-1) {}
};

// A port that answers no connection request: its queue is full and never emptied.
class BlackHole : public ListeningSocket {
  public:
    BlackHole() : ListeningSocket(0) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(Port()));
        for (int& filler : fillers_) {
            filler = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            ::connect(filler, reinterpret_cast<sockaddr*>(&address), sizeof address);
        }
    }
    ~BlackHole() {
        for (int const filler : fillers_) ::close(filler);
    }

  private:
    int fillers_[4];
};

class ScriptedServer {
  public:
    explicit ScriptedServer(std::string_view only_connection) : ScriptedServer(test::Play(only_connection)) {}
    explicit ScriptedServer(Script only_connection)
        : ScriptedServer(std::vector<Script>{std::move(only_connection)}) {}
    explicit ScriptedServer(std::vector<Script> connections)
        : connections_(std::move(connections)), thread_([this] { Run(); }) {}
    ~ScriptedServer() {
        Join();
        ::close(end_asked_);
    }
    ScriptedServer(ScriptedServer const&) = delete;
    ScriptedServer& operator=(ScriptedServer const&) = delete;

    int Port() const { return listener_.Port(); }
    // Everything that clients sent, unit by unit with its line ends, connection after connection. To be
    // called when they are done: waits for the end of their connections, and accepts no more.
    std::vector<std::string> const& Received() {
        Join();
        return received_;
    }
    // The number of connections so far.
    int Connections() {
        Join();
        return served_;
    }

  private:
    class Connection {
      public:
        explicit Connection(int descriptor) : descriptor_(descriptor) {
            constexpr int on = 1;
            ::setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            constexpr timeval limit{deadline_ms / 1000, 0};
            ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        }
        ~Connection() { ::close(descriptor_); }
        Connection(Connection const&) = delete;
        Connection& operator=(Connection const&) = delete;

        // Up to and including `end`; the rest when the client closes first. Empty at the end.
        std::string ReadTo(std::string_view end) {
            std::size_t found;
            while ((found = buffer_.find(end)) == std::string::npos) {
                char block[65536];
                ssize_t const size = ::recv(descriptor_, block, sizeof block, 0);
                if (size <= 0) return std::exchange(buffer_, {});
                buffer_.append(block, static_cast<std::size_t>(size));
            }
            std::string unit = buffer_.substr(0, found + end.size());
            buffer_.erase(0, unit.size());
            return unit;
        }
        bool Write(std::string_view text) {
            while (!text.empty()) {
                ssize_t const sent = ::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL);
                if (sent <= 0) return false;
                text.remove_prefix(static_cast<std::size_t>(sent));
            }
            return true;
        }
        void WaitUntilClosed() {
            char block[65536];
            while (::recv(descriptor_, block, sizeof block, 0) > 0) {
            }
        }
        // The closing then sends a reset instead of an end.
        void ResetOnClose() {
            constexpr linger at_once{1, 0};
            ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        }

      private:
        int descriptor_;
        std::string buffer_;
    };

    void Run() {
        for (Script const& script : connections_) {
            // A client that is connected is served, also after the end was requested.
            pollfd waiting[] = {{listener_.Descriptor(), POLLIN, 0}, {end_asked_, POLLIN, 0}};
            ::poll(waiting, 2, deadline_ms);
            if (!(waiting[0].revents & POLLIN)) return;
            int const client = ::accept4(listener_.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) return;
            ++served_;
            Connection connection(client);
            Converse(connection, script);
        }
    }

    void Converse(Connection& connection, Script const& script) {
        std::string_view unit_end;  // empty while the server waits for no unit
        for (Step const& step : script) {
            if (!unit_end.empty()) {
                std::string unit = connection.ReadTo(unit_end);
                if (unit.empty()) return;
                received_.push_back(std::move(unit));
            }
            unit_end = step.reply.starts_with("354") ? "\r\n.\r\n" : "\r\n";
            if (!Write(connection, step)) return;
            if (step.ending == Step::Ending::stall) return connection.WaitUntilClosed();
            if (step.ending == Step::Ending::reset) connection.ResetOnClose();
            if (step.ending != Step::Ending::stay) return;
        }
        for (std::string unit; !(unit = connection.ReadTo("\r\n")).empty();)
            received_.push_back(std::move(unit));
    }

    static bool Write(Connection& connection, Step const& step) {
        for (int turn = 0; turn < step.times; ++turn) {
            std::size_t const piece = step.in_bytes ? 1 : step.reply.size();
            for (std::size_t at = 0; at < step.reply.size(); at += piece) {
                if (!connection.Write(std::string_view(step.reply).substr(at, piece))) return false;
                if (step.pause_ms > 0) ::usleep(static_cast<useconds_t>(step.pause_ms) * 1000);
            }
        }
        return true;
    }

    void Join() {
        if (!thread_.joinable()) return;
        ::eventfd_write(end_asked_, 1);
        thread_.join();
    }

    std::vector<Script> connections_;
    ListeningSocket listener_;
    std::vector<std::string> received_;
    int served_ = 0;
    int end_asked_ = ::eventfd(0, EFD_CLOEXEC);
    std::thread thread_;
};

}  // namespace test
