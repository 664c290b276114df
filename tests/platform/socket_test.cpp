#include "tessaly/platform/socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "platform/clock.h"
#include "platform/timer.h"
#include "tessaly/platform/interruption.h"
#include "tessaly/platform/process.h"

namespace {

using namespace platform;

// The peer: one listening socket of IPv4 or IPv6 on loopback and one connection.
class Peer {
  public:
    explicit Peer(bool six = false, int backlog = 5)
        : listener_(::socket(six ? AF_INET6 : AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in6 address6{};
        address6.sin6_family = AF_INET6;
        address6.sin6_addr = in6addr_loopback;
        sockaddr_in address4{};
        address4.sin_family = AF_INET;
        address4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const address =
            six ? reinterpret_cast<sockaddr*>(&address6) : reinterpret_cast<sockaddr*>(&address4);
        socklen_t size = six ? sizeof address6 : sizeof address4;
        bound_ = bind(listener_, address, size) == 0 && listen(listener_, backlog) == 0;
        getsockname(listener_, address, &size);
        port_ = ntohs(six ? address6.sin6_port : address4.sin_port);
    }
    ~Peer() {
        Close();
        ::close(listener_);
    }
    bool IsBound() const { return bound_; }
    unsigned Port() const { return port_; }
    void Accept() { connection_ = accept(listener_, nullptr, nullptr); }
    void Say(std::string const& text) const {
        EXPECT_EQ(static_cast<ssize_t>(text.size()),
                  ::send(connection_, text.data(), text.size(), MSG_NOSIGNAL));
    }
    std::string Hear(std::size_t size) const {
        std::string heard(size, '\0');
        ssize_t const count = recv(connection_, heard.data(), size, MSG_WAITALL);
        heard.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return heard;
    }
    void Close() {
        if (connection_ >= 0) ::close(connection_);
        connection_ = -1;
    }
    void Reset() {
        linger const now{1, 0};
        setsockopt(connection_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        Close();
    }

  private:
    int listener_;
    int connection_ = -1;
    bool bound_ = false;
    unsigned port_ = 0;
};

// Runs `on_message` while it waits, for each message of the thread.
class Client : public CSocket {
  public:
    Client() { Create(); }
    std::string Hear(int size = 100) {
        std::string heard(static_cast<std::size_t>(size), '\0');
        int const count = Receive(heard.data(), size);
        heard.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return count < 0 ? "error " + std::to_string(GetLastSocketError()) : heard;
    }
    std::function<void()> on_message;
    int messages = 0;

  protected:
    int OnMessagePending() override {
        ++messages;
        int const taken = CSocket::OnMessagePending();
        EXPECT_EQ(1, taken);
        if (on_message) on_message();
        return taken;
    }
};

class Timeout {
  public:
    explicit Timeout(std::uint32_t milliseconds) : id_(SetTimer(milliseconds)) {}
    ~Timeout() { KillTimer(id_); }

  private:
    std::uint32_t id_;
};

class Socket : public testing::Test {
  protected:
    void Connect() {
        ASSERT_TRUE(client.Connect("127.0.0.1", peer.Port())) << GetLastSocketError();
        peer.Accept();
    }
    Peer peer;
    Client client;
};

TEST_F(Socket, ConnectsByNumberAndByName) {
    Peer six(true);
    struct {
        char const* host;
        Peer& to;
        bool timer;
    } const rows[] = {{"127.0.0.1", peer, false},
                      {"localhost", peer, false},
                      {"localhost", peer, true},
                      {"::1", six, false}};
    for (auto const& row : rows) {
        if (!row.to.IsBound()) continue;  // a machine without IPv6
        SCOPED_TRACE(row.host);
        std::uint32_t const timer = row.timer ? SetTimer(60000) : 0;
        Client one;
        ASSERT_TRUE(one.Connect(row.host, row.to.Port())) << GetLastSocketError();
        EXPECT_EQ(row.timer ? 1 : 0, KillTimer(timer));
        EXPECT_EQ(0, GetLastSocketError());
        row.to.Accept();
        row.to.Say("220 ready\r\n");
        EXPECT_EQ("220 ready\r\n", one.Hear());
        EXPECT_EQ(6, one.Send("QUIT\r\n", 6));
        EXPECT_EQ("QUIT\r\n", row.to.Hear(6));
        EXPECT_EQ(0, one.Send("", 0));
        row.to.Close();
    }
}

TEST_F(Socket, RefusesWhatCannotBe) {
    unsigned closed_port;
    { closed_port = Peer().Port(); }
    std::string const long_label(64, 'n');  // no name server is asked for such a name
    struct {
        char const* host;
        unsigned port;
        int error;
    } const rows[] = {
        {"127.0.0.1", closed_port, socket_refused},
        {"localhost", closed_port, socket_refused},
        {"127.0.0.1", 0, socket_address_not_available},
        {"127.0.0.1", 65536, socket_address_not_available},
        {"no..host", 25, socket_invalid},
        {long_label.c_str(), 25, socket_invalid},
        {"", 25, socket_invalid},
        {nullptr, 25, socket_invalid},
    };
    for (auto const& row : rows) {
        for (bool const with_timer : {false, true}) {
            SCOPED_TRACE(std::string(row.host ? row.host : "null") + (with_timer ? " with a timer" : ""));
            std::uint32_t const timer = with_timer ? SetTimer(60000) : 0;
            EXPECT_EQ(0, client.Connect(row.host, row.port));
            if (timer) KillTimer(timer);
            EXPECT_EQ(row.error, GetLastSocketError());
            EXPECT_FALSE(client.IsOpen());
        }
    }
    EXPECT_EQ("error 10057", client.Hear());
    EXPECT_EQ(-1, client.Send("x", 1));
    Connect();
    EXPECT_EQ(0, client.Connect("127.0.0.1", peer.Port()));
    EXPECT_EQ(socket_is_connected, GetLastSocketError());
    EXPECT_FALSE(client.Create());
    client.Close();
    client.Close();
    EXPECT_EQ("error 10038", client.Hear());
    EXPECT_EQ(0, client.Connect("127.0.0.1", peer.Port()));
    EXPECT_EQ(socket_not_socket, GetLastSocketError());
    EXPECT_FALSE(client.Create(25));
    EXPECT_EQ(socket_address_family, GetLastSocketError());
    EXPECT_FALSE(client.Create(0, 2));
    EXPECT_TRUE(client.Create(0, 1, 63, nullptr));
    Connect();
    EXPECT_EQ(-1, client.Send(nullptr, 1));
    EXPECT_EQ(socket_fault, GetLastSocketError());
}

TEST_F(Socket, ManyBytesBothWays) {
    Connect();
    std::string content(3000000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 251);
    std::thread other([&] {
        std::string const heard = peer.Hear(content.size());
        EXPECT_TRUE(heard == content);
        peer.Say(heard);
        peer.Close();
    });
    for (std::size_t sent = 0; sent < content.size();) {
        int const count = client.Send(content.data() + sent, static_cast<int>(content.size() - sent));
        ASSERT_GT(count, 0) << GetLastSocketError();
        sent += static_cast<std::size_t>(count);
    }
    std::string back;
    for (std::string piece; !(piece = client.Hear(102399)).empty() && back.size() <= content.size();)
        back += piece;
    EXPECT_TRUE(back == content);
    EXPECT_EQ(0, GetLastSocketError());
    other.join();
}

TEST_F(Socket, PeerThatGoesAway) {
    Connect();
    peer.Say("bye");
    peer.Close();
    EXPECT_EQ("bye", client.Hear());
    SetLastSocketError(socket_fault);
    EXPECT_EQ("", client.Hear());
    EXPECT_EQ(0, GetLastSocketError());
    int sent = 1;
    for (int i = 0; i < 100 && sent > 0; ++i) {
        sent = client.Send("x", 1);
        SleepMilliseconds(1);
    }
    EXPECT_EQ(-1, sent);  // the process must not be ended by a signal
    EXPECT_TRUE(GetLastSocketError() == socket_aborted || GetLastSocketError() == socket_reset);

    client.Close();
    client.Create();
    Connect();
    std::thread other([&] {
        SleepMilliseconds(5);
        peer.Reset();
    });
    EXPECT_EQ("error 10054", client.Hear());
    other.join();
}

TEST_F(Socket, MessagesWhileItWaitsAndCancel) {
    Connect();
    client.CancelBlockingCall();  // nothing waits yet
    client.on_message = [&] {
        if (client.messages == 3) client.CancelBlockingCall();
    };
    {
        Timeout const timeout(5);
        std::int64_t const start = MonotonicMilliseconds();
        EXPECT_EQ("error 10004", client.Hear());
        EXPECT_EQ(3, client.messages);
        EXPECT_GE(MonotonicMilliseconds() - start, 14);

        // A ready socket counts more than a waiting message.
        peer.Say("in time");
        SleepMilliseconds(6);
        EXPECT_EQ("in time", client.Hear());
        EXPECT_EQ(3, client.messages);

        client.messages = 0;
        std::string const much(1000000, 'x');
        int sent = 1;
        while (sent > 0) sent = client.Send(much.data(), static_cast<int>(much.size()));
        EXPECT_EQ(socket_interrupted, GetLastSocketError());
        EXPECT_EQ(3, client.messages);
    }
    client.messages = 0;
    Timeout const other(5);
    client.on_message = [&] {
        if (client.messages == 2) peer.Say("later");
    };
    EXPECT_EQ("later", client.Hear());
    EXPECT_EQ(2, client.messages);
    client.on_message = [&] { client.Close(); };
    EXPECT_EQ("error 10038", client.Hear());
}

TEST(SocketConnect, CancelWhileNobodyAnswers) {
    // With its queue full, the system drops further calls without an answer.
    Peer const busy(false, 0);
    Client waiting[4];
    int connected = 0;
    for (Client& client : waiting) {
        Timeout const timeout(10);
        client.on_message = [&] {
            if (client.messages == 2) client.CancelBlockingCall();
        };
        if (client.Connect("127.0.0.1", busy.Port())) {
            ++connected;
            continue;
        }
        EXPECT_EQ(socket_interrupted, GetLastSocketError());
        EXPECT_EQ(2, client.messages);
        EXPECT_FALSE(client.IsOpen());
    }
    EXPECT_LT(connected, 4);
}

TEST_F(Socket, AnInterruptionEndsTheWaitsOfTheThreadAfterItsGrace) {
    Connect();
    Peer const busy(false, 0);
    Client one, two;  // which fill its queue
    one.Connect("127.0.0.1", busy.Port());
    two.on_message = [&] { two.CancelBlockingCall(); };
    {
        Timeout const timeout(50);
        two.Connect("127.0.0.1", busy.Port());
    }
    Interruption interruption;
    auto const hear = [&] { return client.Hear(); };
    auto const connect = [&] {
        Client three;
        return three.Connect("127.0.0.1", busy.Port()) ? std::string("connected")
                                                       : "error " + std::to_string(GetLastSocketError());
    };
    auto const look_up = [&] {
        Client three;
        return three.Connect("no-such-host.invalid", busy.Port()) ? "connected" : "failed";
    };
    struct {
        std::function<std::string()> call;
        bool patient;
        int reply_after;  // milliseconds; 0: none comes
        char const* result;
        std::int64_t least, most;
    } const rows[] = {{hear, false, 0, "error 10004", 250, 900},
                      {hear, true, 500, "in time", 450, 900},
                      {hear, true, 0, "error 10004", 950, 1600},
                      {connect, false, 0, "error 10004", 250, 900},
                      {look_up, false, 0, "failed", 0, 900}};
    for (auto const& row : rows) {
        InterruptibleWaits const waits(interruption);
        std::int64_t const start = MonotonicMilliseconds();
        std::thread other([&] {
            interruption.Raise();
            SleepMilliseconds(static_cast<unsigned>(row.reply_after));
            if (row.reply_after) peer.Say("in time");
        });
        {
            std::optional<PatientWaits> patient;
            if (row.patient) patient.emplace();
            EXPECT_EQ(row.result, row.call());
        }
        EXPECT_GE(MonotonicMilliseconds() - start, row.least);
        EXPECT_LE(MonotonicMilliseconds() - start, row.most);
        other.join();
        interruption.Clear();
    }
    interruption.Raise();  // no longer that of this thread
    peer.Say("on");
    EXPECT_EQ("on", client.Hear());
}

TEST_F(Socket, SignalDoesNotEndACall) {
    Connect();
    struct sigaction action {
    }, before{};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, &before);
    pthread_t const self = pthread_self();
    std::thread other([&] {
        for (int i = 0; i < 5; ++i) {
            SleepMilliseconds(2);
            pthread_kill(self, SIGUSR1);
        }
        SleepMilliseconds(2);
        peer.Say("after");
    });
    EXPECT_EQ("after", client.Hear());
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(SocketHost, OwnName) {
    char whole[256] = {}, name[256];
    ASSERT_EQ(0, gethostname(whole, sizeof whole - 1));
    ASSERT_EQ(0, GetHostName(name, sizeof name));
    EXPECT_STREQ(whole, name);
    char cut[] = "---";
    ASSERT_EQ(0, GetHostName(cut, 2));
    EXPECT_EQ(std::string(whole, 1), cut);
    EXPECT_EQ('-', cut[2]);
    EXPECT_EQ(-1, GetHostName(nullptr, 10));
    EXPECT_EQ(socket_fault, GetLastSocketError());
    EXPECT_EQ(-1, GetHostName(cut, 0));
}

}  // namespace
