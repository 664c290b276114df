#include "postbox/postbox_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <random>

#include "postbox/error.h"
#include "postbox/pop_session.h"

namespace postbox {
namespace {

constexpr int workers = 32;  // connections that are served at a time; more wait
constexpr int backlog = 128;
constexpr int glance_milliseconds = 100;
constexpr auto patience = std::chrono::minutes(5);  // for the client's next line (RFC 5321 4.5.3.2)
constexpr int reply_patience_seconds = 10;          // for a client that does not read its replies
constexpr std::size_t longest_text_line = 1 << 20;

// One accepted connection: lines in, replies out.
class Connection {
  public:
    Connection(int descriptor, std::atomic<bool> const& stop, TlsServer const* tls)
        : descriptor_(descriptor), stop_(stop) {
        int const on = 1;
        setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        timeval const reading{reply_patience_seconds, 0};
        setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &reading, sizeof reading);
        if (!tls) return;
        setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &reading, sizeof reading);
        secured_ = tls->Accept(descriptor);
        broken_ = !secured_;
    }
    ~Connection() {
        secured_.reset();
        close(descriptor_);
    }
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    enum class Got { line, too_long, nothing };
    // A line without its CR LF; a lone LF ends none, so no text can smuggle a second mail in. A line of more
    // than `limit` bytes is read to its end and dropped.
    Got ReadLine(std::string& line, std::size_t limit) {
        line.clear();
        bool dropped = false;
        for (;;) {
            std::size_t const end = buffer_.find("\r\n", at_);
            if (end != std::string::npos) {
                line.assign(buffer_, at_, end - at_);
                at_ = end + 2;
                return dropped || line.size() > limit ? Got::too_long : Got::line;
            }
            buffer_.erase(0, at_);
            at_ = 0;
            if (buffer_.size() > limit) {
                dropped = true;
                buffer_.erase(0, buffer_.size() - 1);  // the CR of a CR LF may be the last byte
            }
            if (!Fill()) return Got::nothing;
        }
    }

    bool Write(std::string_view text) {
        while (!text.empty()) {
            long const sent = secured_  ? secured_->Write(text.data(), text.size())
                              : broken_ ? -1
                                        : send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

  private:
    bool Fill() {
        auto const limit = std::chrono::steady_clock::now() + patience;
        pollfd waiting{descriptor_, POLLIN, 0};
        while (!stop_ && std::chrono::steady_clock::now() < limit) {
            bool const there = secured_ && secured_->HasReceived();
            if (!there && poll(&waiting, 1, glance_milliseconds) <= 0) continue;
            char block[65536];
            long const got =
                secured_ ? secured_->Read(block, sizeof block) : recv(descriptor_, block, sizeof block, 0);
            if (got <= 0) return false;
            buffer_.append(block, static_cast<std::size_t>(got));
            return true;
        }
        return false;
    }

    int descriptor_;
    std::atomic<bool> const& stop_;
    std::unique_ptr<TlsStream> secured_;
    bool broken_ = false;  // no handshake came about
    std::string buffer_;
    std::size_t at_ = 0;
};

std::string NewChallenge(unsigned long connection) {
    static std::atomic<unsigned> seed = std::random_device{}();
    return "<" + std::to_string(seed++) + "." + std::to_string(connection) + "." +
           std::to_string(std::time(nullptr)) + "@localhost>";
}

}  // namespace

PostboxServer::PostboxServer(MailFolder& folder, PostboxRules const& rules, int port, Protocol protocol,
                             TlsServer const* tls)
    : folder_(folder), rules_(rules), protocol_(protocol), tls_(tls) {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    int const on = 1;
    setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener_, backlog) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        std::string const why = std::strerror(errno);
        if (listener_ >= 0) close(listener_);
        throw Error("ポート " + std::to_string(port) + " で待てません: " + why);
    }
    port_ = ntohs(address.sin_port);
    for (int i = 0; i < workers; ++i) workers_.emplace_back([this] { Work(); });
}

PostboxServer::~PostboxServer() {
    Stop();
    close(listener_);
}

void PostboxServer::Stop() {
    stop_ = true;
    for (std::thread& worker : workers_) worker.join();
    workers_.clear();
}

void PostboxServer::Work() {
    pollfd waiting{listener_, POLLIN, 0};
    while (!stop_) {
        if (poll(&waiting, 1, glance_milliseconds) <= 0) continue;
        int const connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) continue;
        if (protocol_ == Protocol::smtp)
            ConverseSmtp(connection);
        else
            ConversePop(connection);
    }
}

void PostboxServer::ConversePop(int descriptor) {
    Connection connection(descriptor, stop_, tls_);
    PopSession session(rules_, folder_.Path(), NewChallenge(++connections_));
    if (!connection.Write(session.Greeting())) return;
    std::string line;
    while (!session.Ended()) {
        auto const got = connection.ReadLine(line, PopSession::longest_line);
        if (got == Connection::Got::nothing) return;
        if (!connection.Write(got == Connection::Got::too_long ? "-ERR line too long\r\n"
                                                               : session.Line(line)))
            return;
    }
}

void PostboxServer::ConverseSmtp(int descriptor) {
    Connection connection(descriptor, stop_, tls_);
    SmtpSession session(
        rules_,
        [this](std::string_view mail) {
            bool const done = folder_.Store(mail);
            stored_ += done;
            return done;
        },
        NewChallenge(++connections_));
    if (!connection.Write(session.Greeting())) return;
    std::string line;
    while (!session.Ended()) {
        bool const text = session.TakesText();
        auto const got = connection.ReadLine(line, text ? longest_text_line : SmtpSession::longest_line);
        if (got == Connection::Got::nothing || (text && got == Connection::Got::too_long)) return;
        std::string const reply =
            got == Connection::Got::too_long ? session.LineTooLong() : session.Line(line);
        if (!reply.empty() && !connection.Write(reply)) return;
    }
}

}  // namespace postbox
