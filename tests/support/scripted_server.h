#pragma once

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

// A server on 127.0.0.1 that plays a script from a thread of the test process, for clients of line protocols.
// A script is a list of connections, each a list of steps: a step that awaits reads one unit from the client
// first (a line, or behind a DATA step the text to its closing dot), then gives its answer. When its steps
// are over, a connection goes on recording what the client sends until the client closes. No wait is longer
// than deadline_ms.
namespace test {

struct Step {
    enum class Ending { stay, close, reset, stall };
    std::string answer;
    bool awaits = true;            // read one unit from the client before the answer
    bool takes_data = false;       // the next unit read is a mail text
    bool in_bytes = false;         // one byte a packet
    int times = 1;                 // how often the answer is written
    Ending ending = Ending::stay;  // stall: say nothing more until the client closes
};

inline Step Greeting(std::string text) {
    Step step{std::move(text)};
    step.awaits = false;
    return step;
}
inline Step Answer(std::string text) { return {std::move(text)}; }
inline Step StartData(std::string text) {
    Step step{std::move(text)};
    step.takes_data = true;
    return step;
}
inline Step InBytes(Step step) {
    step.in_bytes = true;
    return step;
}
inline Step Ends(Step step, Step::Ending ending) {
    step.ending = ending;
    return step;
}
// The answer over and over, until the client has had enough.
inline Step Repeated(Step step, int times) {
    step.times = times;
    return step;
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

// A port on which nobody listens, kept from others while the object lives.
class RefusingPort : public ListeningSocket {
  public:
    RefusingPort() : ListeningSocket(-1) {}
};

// A port that answers no connecting at all: its queue is full and nobody takes from it.
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
    using Script = std::vector<Step>;

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
    // Everything that clients sent, unit by unit with its line ends, connection after connection. To be asked
    // when they are done: waits for what they left behind, and no more of them are served.
    std::vector<std::string> const& Received() {
        Join();
        return received_;
    }
    // How many clients came.
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
                const ssize_t size = ::recv(descriptor_, block, sizeof block, 0);
                if (size <= 0) return std::exchange(buffer_, {});
                buffer_.append(block, static_cast<std::size_t>(size));
            }
            std::string unit = buffer_.substr(0, found + end.size());
            buffer_.erase(0, unit.size());
            return unit;
        }
        bool Write(std::string_view text) {
            while (!text.empty()) {
                const ssize_t sent = ::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL);
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
            // Whoever has connected is served, also after the end was asked for.
            pollfd waiting[] = {{listener_.Descriptor(), POLLIN, 0}, {end_asked_, POLLIN, 0}};
            ::poll(waiting, 2, deadline_ms);
            if (!(waiting[0].revents & POLLIN)) return;
            int const client = ::accept4(listener_.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) return;
            ++served_;
            Connection connection(client);
            Play(connection, script);
        }
    }

    void Play(Connection& connection, Script const& script) {
        std::string_view unit_end = "\r\n";
        for (Step const& step : script) {
            if (step.awaits) {
                std::string unit = connection.ReadTo(unit_end);
                if (unit.empty()) return;
                received_.push_back(std::move(unit));
            }
            unit_end = step.takes_data ? "\r\n.\r\n" : "\r\n";
            if (!WriteAnswer(connection, step)) return;
            if (step.ending == Step::Ending::stall) return connection.WaitUntilClosed();
            if (step.ending == Step::Ending::reset) connection.ResetOnClose();
            if (step.ending != Step::Ending::stay) return;
        }
        for (std::string unit; !(unit = connection.ReadTo("\r\n")).empty();)
            received_.push_back(std::move(unit));
    }

    static bool WriteAnswer(Connection& connection, Step const& step) {
        for (int turn = 0; turn < step.times; ++turn) {
            const std::size_t piece = step.in_bytes ? 1 : step.answer.size();
            for (std::size_t at = 0; at < step.answer.size(); at += piece)
                if (!connection.Write(std::string_view(step.answer).substr(at, piece))) return false;
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
