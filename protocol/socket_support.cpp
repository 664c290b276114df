#include "tessaly/protocol/socket_support.h"

#include <algorithm>
#include <atomic>

#include "platform/clock.h"
#include "platform/timer.h"
#include "tessaly/platform/interruption.h"

namespace {

constexpr int waits_of_reply = 10;
constexpr std::int64_t least_reply_ms = 60 * 1000;
std::atomic<unsigned> reply_ms_of_tests = 0;

std::size_t FirstLineSize(std::string_view text, std::size_t from = 0) noexcept {
    std::size_t const line_feed = text.find('\n', from);
    return line_feed == std::string_view::npos ? 0 : line_feed + 1;
}

std::string_view WithoutLineEnds(std::string_view line) noexcept {
    std::size_t const last = line.find_last_not_of("\r\n");
    return line.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace

SocketSupport::~SocketSupport() { KillTimeOut(); }

int SocketSupport::SetTimeOutTime(unsigned int ms) {
    auto const previous = static_cast<int>(timeout_ms_);
    timeout_ms_ = ms;
    return previous;
}

int SocketSupport::SetTimeOut(unsigned int ms) {
    KillTimeOut();
    if (ms != 0) timeout_ms_ = ms;
    if (timeout_ms_ == 0) return 1;
    timer_id_ = platform::SetTimer(timeout_ms_);
    return timer_id_ != 0 ? 1 : 0;
}

int SocketSupport::KillTimeOut() {
    if (timer_id_ == 0) return 1;
    int const killed = platform::KillTimer(timer_id_);
    timer_id_ = 0;
    return killed;
}

void SocketSupport::ForceTimeout() {
    KillTimeOut();
    SetTimeOut(forced_timeout_ms);
}

int SocketSupport::OnMessagePending() {
    platform::Message message{};
    bool const waiting = platform::PeekMessage(&message, platform::wm_timer, platform::wm_timer, false);
    if (!waiting || message.wParam != timer_id_) return CSocket::OnMessagePending();
    platform::PeekMessage(&message, platform::wm_timer, platform::wm_timer, true);
    CancelBlockingCall();
    return 0;
}

// A time limit that has passed cancels the call; the caller gets the error of the limit, not of the
// cancelling.
void SocketSupport::TranslateInterruption() const {
    bool const limited = timeout_ms_ != 0 && platform::InterruptibleWaits::MillisecondsLeft() != 0;
    if (limited && platform::GetLastSocketError() == platform::socket_interrupted)
        platform::SetLastSocketError(platform::socket_timed_out);
}

SocketSupport::WholeReply::WholeReply(SocketSupport& socket) : socket_(socket) {
    socket.reply_limit_ms_ = ReplyLimit(socket.timeout_ms_);
    socket.reply_end_ = platform::MonotonicMilliseconds() + socket.reply_limit_ms_;
    socket.reply_bytes_ = 0;
}

std::int64_t SocketSupport::ReplyLimit(unsigned int wait_ms) noexcept {
    if (wait_ms == 0) return 0;
    if (unsigned const ms = reply_ms_of_tests) return ms;
    return std::max(std::int64_t{wait_ms} * waits_of_reply, least_reply_ms);
}

void SocketSupport::SetReplyLimit(unsigned int ms) noexcept { reply_ms_of_tests = ms; }

bool SocketSupport::ReplyTakesTooLong() const {
    return reply_limit_ms_ != 0 && platform::MonotonicMilliseconds() >= reply_end_;
}

void SocketSupport::CountForReply(int received) {
    if (reply_limit_ms_ == 0) return;
    reply_bytes_ += received;
    if (reply_bytes_ < WholeReply::part) return;
    reply_bytes_ = 0;
    reply_end_ = platform::MonotonicMilliseconds() + reply_limit_ms_;
}

int SocketSupport::ConnectWithin(char const* host, unsigned port, unsigned int ms) {
    SetTimeOut(ms);
    int const connected = CSocket::Connect(host, port);
    KillTimeOut();
    if (!connected) TranslateInterruption();
    return connected;
}

int SocketSupport::SendSome(std::string_view bytes, unsigned int ms, int flags) {
    SetTimeOut(ms);
    int const sent = CSocket::Send(bytes.data(), static_cast<int>(bytes.size()), flags);
    KillTimeOut();
    if (sent < 0) TranslateInterruption();
    return sent;
}

int SocketSupport::Send(CString& data, unsigned int ms, int flags) {
    int const sent = SendSome(data.View(), ms, flags);
    if (sent > 0) data.Delete(0, sent);
    return sent;
}

int SocketSupport::SendBlock(CString& data, unsigned int ms, int flags) {
    int total = 0;
    while (total < data.GetLength()) {
        int const sent = SendSome(data.View().substr(static_cast<std::size_t>(total)), ms, flags);
        if (sent < 1) {
            data.Delete(0, total);
            return sent;
        }
        total += sent;
    }
    data.Empty();
    return total;
}

int SocketSupport::Receive(CString& data, unsigned int ms, int flags) {
    char block[receive_block + 1];
    SetTimeOut(ms);
    bool const too_late = ReplyTakesTooLong();
    int const received = too_late ? -1 : CSocket::Receive(block, receive_block, flags);
    if (too_late) platform::SetLastSocketError(platform::socket_timed_out);
    KillTimeOut();
    if (received > 0) {
        CountForReply(received);
        std::replace(block, block + received, '\0', ' ');
        data.Append({block, static_cast<std::size_t>(received)});
    } else if (received < 0) {
        TranslateInterruption();
    }
    return received;
}

int SocketSupport::GetLine(CString& line, unsigned int ms, int flags) {
    if (buffer_shared_) searched_ = 0;
    for (;;) {
        std::string_view const buffered = line_buffer_.View().substr(static_cast<std::size_t>(consumed_));
        std::size_t const size = FirstLineSize(buffered, static_cast<std::size_t>(searched_));
        std::size_t const needed = size > 0 ? size : buffered.size() + 1;
        if (needed > static_cast<std::size_t>(std::max(line_limit_, 0))) {
            DropConsumed();
            platform::SetLastSocketError(line_too_long_error);
            return -1;
        }
        if (size > 0) return TakeLine(line, buffered.substr(0, size));
        searched_ = static_cast<int>(buffered.size());
        DropConsumed();
        int const received = Receive(line_buffer_, ms, flags);
        if (received < 1) return received;
    }
}

int SocketSupport::TakeLine(CString& line, std::string_view taken) {
    std::string_view const content = WithoutLineEnds(taken);
    line.Append(content);
    line.Append("\r\n");
    auto const length = static_cast<int>(content.size()) + 2;
    consumed_ += static_cast<int>(taken.size());
    searched_ = 0;
    if (buffer_shared_ || consumed_ == line_buffer_.GetLength()) DropConsumed();
    return length;
}

void SocketSupport::DropConsumed() {
    if (consumed_ == line_buffer_.GetLength())
        line_buffer_.Empty();
    else
        line_buffer_.Delete(0, consumed_);
    consumed_ = 0;
}

CString& SocketSupport::GetLineBuffer() {
    DropConsumed();
    buffer_shared_ = true;
    return line_buffer_;
}

void SocketSupport::ClearLineBuffer() {
    line_buffer_.Empty();
    consumed_ = 0;
    searched_ = 0;
}

int SocketSupport::CutOffOneLine(CString& buffer, CString& line, int takeRest) {
    std::size_t size = FirstLineSize(buffer.View());
    if (size == 0 && !takeRest) {
        line.Empty();
        return -1;
    }
    if (size == 0) size = buffer.View().size();
    CString const first(WithoutLineEnds(buffer.View().substr(0, size)));
    buffer.Delete(0, static_cast<int>(size));
    line = first;
    return line.GetLength();
}

int SocketSupport::FindCRorLF(char const* text) { return text ? static_cast<int>(FirstLineSize(text)) : 0; }
