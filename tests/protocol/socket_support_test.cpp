#include "tessaly/protocol/socket_support.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/clock.h"
#include "platform/timer.h"
#include "tests/support/reply_limit.h"
#include "tests/support/scripted_server.h"

namespace {

using test::ScriptedServer;

constexpr unsigned short_limit = 60;
constexpr unsigned long_limit = 4000;

class Peer {
  public:
    explicit Peer(std::string_view script) : server(script) {
        EXPECT_TRUE(socket.Create());
        EXPECT_TRUE(socket.ConnectWithin("127.0.0.1", static_cast<unsigned>(server.Port()), long_limit));
        socket.SetTimeOutTime(long_limit);
    }
    ScriptedServer server;
    SocketSupport socket;
};

TEST(SocketSupportLines, CutOffLeavesTheRest) {
    struct Case {
        char const* buffer;
        int take_rest;
        int result;
        char const *line, *rest;
    };
    constexpr Case cases[] = {
        {"a\r\nb\r\n", 0, 1, "a", "b\r\n"},
        {"a\nb", 0, 1, "a", "b"},
        {"a\r\r\nb", 0, 1, "a", "b"},
        {"\r\n\r\n", 0, 0, "", "\r\n"},
        {"a\rb\r\n", 0, 3, "a\rb", ""},
        {"abc", 0, -1, "", "abc"},
        {"a\r", 0, -1, "", "a\r"},
        {"abc\r", 1, 3, "abc", ""},
        {"", 0, -1, "", ""},
        {"", 1, 0, "", ""},
    };
    for (Case const& c : cases) {
        CString buffer(c.buffer), line("before");
        EXPECT_EQ(SocketSupport::CutOffOneLine(buffer, line, c.take_rest), c.result) << c.buffer;
        EXPECT_EQ(line, c.line) << c.buffer;
        EXPECT_EQ(buffer, c.rest) << c.buffer;
    }
    EXPECT_EQ(SocketSupport::FindCRorLF("ab\r\nc\n"), 4);
    EXPECT_EQ(SocketSupport::FindCRorLF("ab\r"), 0);
    EXPECT_EQ(SocketSupport::FindCRorLF(nullptr), 0);
}

TEST(SocketSupportLines, ComeWholeHoweverTheyArrive) {
    std::string const bytes("first\r\nse\0cond\n\r\nfourth\r\r\nrest!", 31);
    for (std::string const& script : {bytes, "#" + bytes}) {
        Peer peer(script);
        CString line("kept ");
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 7);
        EXPECT_EQ(line, "kept first\r\n");
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 9);
        EXPECT_EQ(line, "kept first\r\nse cond\r\n");
        line.Empty();
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 2);
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 8);
        EXPECT_EQ(line, "\r\nfourth\r\n");
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 0) << "the peer closed inside a line";
        EXPECT_EQ(line, "\r\nfourth\r\n");
        EXPECT_EQ(peer.socket.GetLineBuffer(), "rest");
    }
}

TEST(SocketSupportLines, BufferStaysExactOnceItWasHandedOut) {
    Peer peer("a\r\nb\r\nc\r\n!");
    CString line;
    EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 3);
    CString& buffer = peer.socket.GetLineBuffer();
    EXPECT_EQ(buffer, "b\r\nc\r\n");
    EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 3);
    EXPECT_EQ(buffer, "c\r\n");
    buffer = "put\nin";
    EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 5);
    EXPECT_EQ(line, "a\r\nb\r\nput\r\n");
    EXPECT_EQ(buffer, "in");
    peer.socket.ClearLineBuffer();
    EXPECT_TRUE(buffer.IsEmpty());
}

TEST(SocketSupportLines, TooLongLineFailsAndUsesNoMoreMemory) {
    constexpr int limit = 200000;
    for (std::string const& script : {std::string(limit, 'x'), std::string("xxxxxxxxxx*")}) {
        Peer peer(script);
        peer.socket.SetLineLimit(limit);
        CString line;
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), -1);
        EXPECT_EQ(platform::GetLastSocketError(), SocketSupport::line_too_long_error);
        EXPECT_TRUE(line.IsEmpty());
        EXPECT_LE(peer.socket.GetLineBuffer().GetLength(), limit + SocketSupport::receive_block);
        peer.socket.GetLineBuffer() = std::string_view("a\n");
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), 3) << "the object goes on";
        peer.socket.SetLineLimit(limit + 2);
        peer.socket.GetLineBuffer() = CString('x', limit) + "\r\n";
        EXPECT_EQ(peer.socket.GetLine(line, 0, 0), limit + 2);
        peer.socket.Close();
    }
}

TEST(SocketSupportTimeLimit, EndsAWaitWithTimedOut) {
    Peer peer("part~");
    CString line;
    std::int64_t const start = platform::MonotonicMilliseconds();
    EXPECT_EQ(peer.socket.GetLine(line, short_limit, 0), -1);
    std::int64_t const waited = platform::MonotonicMilliseconds() - start;
    EXPECT_EQ(platform::GetLastSocketError(), platform::socket_timed_out);
    EXPECT_GE(waited, short_limit - 5);
    EXPECT_LT(waited, long_limit);
    EXPECT_EQ(peer.socket.GetTimeOut(), static_cast<int>(short_limit)) << "a limit that was given stays";
    EXPECT_EQ(peer.socket.GetLineBuffer(), "part") << "what came before the limit stays";
    CString data("x");
    EXPECT_EQ(peer.socket.Receive(data, 0, 0), -1) << "0 takes the stored limit";
    EXPECT_EQ(platform::GetLastSocketError(), platform::socket_timed_out);
    EXPECT_EQ(data, "x");
    EXPECT_EQ(platform::MillisecondsToNextTimer(), -1) << "no timer is left behind";
    peer.socket.Close();
}

TEST(SocketSupportTimeLimit, IsArmedWhileConnecting) {
    test::BlackHole const hole;
    SocketSupport socket;
    ASSERT_TRUE(socket.Create());
    EXPECT_FALSE(socket.ConnectWithin("127.0.0.1", static_cast<unsigned>(hole.Port()), short_limit));
    EXPECT_EQ(platform::GetLastSocketError(), platform::socket_timed_out);
}

TEST(SocketSupportTimeLimit, TimerFieldsFollowTheCalls) {
    SocketSupport socket;
    EXPECT_EQ(socket.KillTimeOut(), 1);
    EXPECT_EQ(socket.SetTimeOut(0), 1) << "no limit, no timer";
    EXPECT_EQ(platform::MillisecondsToNextTimer(), -1);
    EXPECT_EQ(socket.SetTimeOutTime(5000), 0);
    EXPECT_EQ(socket.SetTimeOutTime(6000), 5000);
    EXPECT_EQ(platform::MillisecondsToNextTimer(), -1) << "storing starts nothing";
    EXPECT_EQ(socket.SetTimeOut(0), 1);
    EXPECT_GT(platform::MillisecondsToNextTimer(), 5000);
    socket.ForceTimeout();
    EXPECT_EQ(socket.GetTimeOut(), 10);
    EXPECT_LE(platform::MillisecondsToNextTimer(), 10);
    EXPECT_EQ(socket.KillTimeOut(), 1);
    EXPECT_EQ(platform::MillisecondsToNextTimer(), -1);
}

TEST(SocketSupportTimeLimit, AWholeReplyTakesTenWaitsAndAMinuteAtLeast) {
    std::pair<unsigned, std::int64_t> const rows[] = {{0, 0},
                                                      {1, 60000},
                                                      {5999, 60000},
                                                      {6000, 60000},
                                                      {6001, 60010},
                                                      {60000, 600000},
                                                      {~0U, 10 * std::int64_t{~0U}}};
    for (auto const& [wait, limit] : rows) EXPECT_EQ(SocketSupport::ReplyLimit(wait), limit) << wait;
}

TEST(SocketSupportTimeLimit, ADrippingPeerEndsWithTheReplyAndNotBefore) {
    ReplyLimit const limit(200);
    Peer peer("%x*");
    CString line;
    std::int64_t const start = platform::MonotonicMilliseconds();
    {
        SocketSupport::WholeReply const whole(peer.socket);
        for (int turn = 0; turn < 2; ++turn) {
            EXPECT_EQ(peer.socket.GetLine(line, 0, 0), -1);
            EXPECT_EQ(platform::GetLastSocketError(), platform::socket_timed_out);
        }
    }
    std::int64_t const waited = platform::MonotonicMilliseconds() - start;
    EXPECT_GE(waited, 195);
    EXPECT_LT(waited, long_limit);
    EXPECT_EQ(peer.socket.GetTimeOut(), static_cast<int>(long_limit));
    CString data;
    EXPECT_GT(peer.socket.Receive(data, 0, 0), 0) << "behind the reply the waits alone are limited";
    peer.socket.Close();
}

// Four parts of a text, each within the limit, but not all together.
TEST(SocketSupportTimeLimit, ALongTextMayTakeItsTime) {
    ReplyLimit const limit(600);
    test::Step part{std::string(SocketSupport::WholeReply::part - 1, 'x') + "\n"};
    part.times = 4;
    part.pause_ms = 250;
    ScriptedServer server(test::Script{part});
    SocketSupport socket;
    ASSERT_TRUE(socket.Create());
    ASSERT_TRUE(socket.ConnectWithin("127.0.0.1", static_cast<unsigned>(server.Port()), long_limit));
    SocketSupport::WholeReply const whole(socket);
    CString line;
    for (int i = 0; i < part.times; ++i) EXPECT_GT(socket.GetLine(line, 0, 0), 0) << i;
    socket.Close();
}

// Another timer of the same thread, whose messages come while the socket waits.
class WatchedSocket : public SocketSupport {
  public:
    int messages = 0;
    bool force_timeout = false;

  protected:
    int OnMessagePending() override {
        ++messages;
        if (force_timeout) {
            force_timeout = false;
            ForceTimeout();
        }
        return SocketSupport::OnMessagePending();
    }
};

TEST(SocketSupportTimeLimit, OtherTimersDoNotCancelAndForceTimeoutDoes) {
    ScriptedServer server("~");
    WatchedSocket socket;
    ASSERT_TRUE(socket.Create());
    ASSERT_TRUE(socket.ConnectWithin("127.0.0.1", static_cast<unsigned>(server.Port()), long_limit));
    std::uint32_t const other = platform::SetTimer(5);
    CString data;
    std::int64_t start = platform::MonotonicMilliseconds();
    EXPECT_EQ(socket.Receive(data, short_limit, 0), -1);
    EXPECT_GE(platform::MonotonicMilliseconds() - start, short_limit - 5);
    EXPECT_GT(socket.messages, 2);

    socket.force_timeout = true;
    start = platform::MonotonicMilliseconds();
    EXPECT_EQ(socket.Receive(data, long_limit, 0), -1);
    EXPECT_LT(platform::MonotonicMilliseconds() - start, long_limit / 2);
    EXPECT_EQ(platform::GetLastSocketError(), platform::socket_timed_out);
    platform::KillTimer(other);
    socket.Close();
}

TEST(SocketSupportSending, BlockGoesOutWholeAndFailureKeepsTheRest) {
    std::string text;
    for (int i = 0; text.size() < 8000000; ++i) text += std::to_string(i) + ' ';
    text += "\r\n";
    {
        Peer peer("ready|ok");
        CString data{std::string_view(text)};
        EXPECT_EQ(peer.socket.SendBlock(data, 0, 0), static_cast<int>(text.size()));
        EXPECT_TRUE(data.IsEmpty());
        EXPECT_EQ(peer.socket.SendBlock(data, 0, 0), 0);
        CString lines;
        EXPECT_EQ(peer.socket.GetLine(lines, 0, 0), 7);
        EXPECT_EQ(peer.socket.GetLine(lines, 0, 0), 4);
        peer.socket.Close();
        EXPECT_EQ(peer.server.Received(), std::vector<std::string>{text});
    }
    Peer peer("ready|!!");
    CString line, data = "x\r\n";
    peer.socket.GetLine(line, 0, 0);
    peer.socket.SendBlock(data, 0, 0);
    peer.server.Received();
    data = CString(std::string_view(text));
    EXPECT_EQ(peer.socket.SendBlock(data, 0, 0), -1);
    EXPECT_GT(data.GetLength(), 0);
    EXPECT_EQ(CString(std::string_view(text)).Right(data.GetLength()), data);
    data = "x";
    EXPECT_EQ(peer.socket.Send(data, 0, 0), -1);
    EXPECT_EQ(data, "x");
}

}  // namespace
