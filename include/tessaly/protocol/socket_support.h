#pragma once

#include <cstdint>
#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/socket.h"

// The socket of the mail clients: a CSocket with a time limit on each blocking call, a line reader over a
// buffer that outlives the call, and sending out of a string that shrinks as it is sent. Made when a client
// connects and deleted when it disconnects, so that the line buffer lives as long as one connection.
//
// A failure is a result of -1 and a number in platform::GetLastSocketError(). A passed time limit is -1 with
// platform::socket_timed_out; the caller never sees the interruption behind it. socket_interrupted is that of
// an interruption of the thread (platform/interruption.h).
//
// The timer belongs to the thread that makes the call: one object serves one thread. Nothing is locked.
//
// In every operation with `ms`, 0 means the stored time-out time, and any other value becomes the stored one;
// with both 0 there is no limit and a call can wait for ever. The limit applies to each platform call, that
// is to progress; WholeReply limits a peer that sends a byte now and then.
class TESSALY_API SocketSupport : public CSocket {
  public:
    static constexpr int receive_block = 102399;       // most bytes taken by one Receive
    static constexpr unsigned forced_timeout_ms = 10;  // the limit that ForceTimeout sets
    // A longer line ends GetLine with -1 and line_too_long_error, so that a peer that never ends its line
    // cannot use up the memory. The received bytes stay in the line buffer.
    static constexpr int default_line_limit = 64 * 1024 * 1024;
    static constexpr int line_too_long_error = 10040;

    // As long as an object lives, everything that the socket receives counts as one reply, for which there is
    // a limit as well: a receive ends with -1 and socket_timed_out if it begins when ReplyLimit has passed
    // since the object was made, or since the last `part` bytes were complete, so that a long text may take
    // its time. One object at a time for a socket.
    class TESSALY_API WholeReply {
      public:
        static constexpr int part = 64 * 1024;
        explicit WholeReply(SocketSupport& socket);
        ~WholeReply() { socket_.reply_limit_ms_ = 0; }
        WholeReply(WholeReply const&) = delete;
        WholeReply& operator=(WholeReply const&) = delete;

      private:
        SocketSupport& socket_;
    };
    // Milliseconds for a whole reply where each wait of it may take `wait_ms`: ten times as many, but a
    // minute at least; 0, for none, where the waits have no limit.
    static std::int64_t ReplyLimit(unsigned int wait_ms) noexcept;
    // Test seam: so many milliseconds instead; 0 ends this.
    static void SetReplyLimit(unsigned int ms) noexcept;

    SocketSupport() = default;
    ~SocketSupport() override;

    // Stores the time-out time in milliseconds, 0 for none, and returns the previous one. Starts no timer.
    int SetTimeOutTime(unsigned int ms);
    int GetTimeOut() const { return static_cast<int>(timeout_ms_); }
    // Arms the timer for one blocking call. 1, or 0 when the timer could not be started (the call then runs
    // without a limit). With no limit to set the result is 1.
    int SetTimeOut(unsigned int ms);
    // 1 with no timer running, else the result of platform::KillTimer.
    int KillTimeOut();
    // A blocking call of this thread, running or about to run, ends within about 10 ms. To be called on that
    // thread, such as from OnMessagePending. The stored time-out time stays 10 ms until another one is set.
    void ForceTimeout();

    // CSocket::Connect with a time limit. Non-zero for success.
    int ConnectWithin(char const* host, unsigned port, unsigned int ms);
    // One send. Result: the bytes sent, which are removed from the front of `data`, or -1 with `data`
    // untouched.
    int Send(CString& data, unsigned int ms, int flags);
    // Sends until `data` is empty. Result: the bytes sent in all, 0 for empty `data`; or -1 at the first
    // failure, when `data` holds what was not sent.
    int SendBlock(CString& data, unsigned int ms, int flags);
    // One receive of at most receive_block bytes, appended to `data`; a NUL arrives as a blank. Result: the
    // number of bytes, 0 when the peer closed, or -1; `data` is touched only in the first case.
    int Receive(CString& data, unsigned int ms, int flags);
    // Appends one line to `line`, always ended by CR LF whatever ended it on the wire. Result: the line's
    // length with that ending, at least 2; 0 when the peer closed before the line ended; or -1. On 0 and -1
    // `line` is untouched and the bytes received so far stay in the line buffer.
    int GetLine(CString& line, unsigned int ms, int flags);

    // Longest line, in bytes with its ending, that GetLine reads.
    void SetLineLimit(int bytes) { line_limit_ = bytes; }
    // The line buffer itself: bytes received and not yet returned as a line.
    CString& GetLineBuffer();
    void ClearLineBuffer();

    // Moves the first line of `buffer` to `line`, without the CR and LF bytes at its end. Without an LF in
    // `buffer` the result is -1 and `line` is empty, or with `takeRest` the whole of `buffer` counts as the
    // line. Else the result is the length of `line`.
    static int CutOffOneLine(CString& buffer, CString& line, int takeRest);
    // Number of bytes up to and including the first LF, 0 without one. A lone CR ends no line. Null counts as
    // empty.
    static int FindCRorLF(char const* text);

  protected:
    // Ends the waiting call when this object's timer is due; every other message is passed on to CSocket.
    int OnMessagePending() override;

  private:
    bool ReplyTakesTooLong() const;
    void CountForReply(int received);
    int SendSome(std::string_view bytes, unsigned int ms, int flags);
    int TakeLine(CString& line, std::string_view taken);
    void DropConsumed();
    void TranslateInterruption() const;

    CString line_buffer_;
    std::uint32_t timeout_ms_ = 0;
    std::uint32_t timer_id_ = 0;
    int line_limit_ = default_line_limit;
    std::int64_t reply_limit_ms_ = 0;  // 0: none
    std::int64_t reply_end_ = 0;       // by the steady clock, with a limit
    int reply_bytes_ = 0;              // of the current part
    // Returned lines are only marked as consumed and removed together, and bytes once searched for an LF are
    // not searched again, so that reading stays linear. A caller that has a reference to the buffer sees it
    // exact after every call.
    int consumed_ = 0;
    int searched_ = 0;
    bool buffer_shared_ = false;
};
