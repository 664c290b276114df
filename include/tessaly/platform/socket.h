#pragma once

#include "tessaly/platform/export.h"

struct addrinfo;

// Error numbers that socket calls leave for the thread, in the form that the mail clients translate.
namespace platform {

enum SocketError : int {
    socket_interrupted = 10004,
    socket_access = 10013,
    socket_fault = 10014,
    socket_invalid = 10022,
    socket_too_many_open = 10024,
    socket_would_block = 10035,
    socket_in_progress = 10036,
    socket_already = 10037,
    socket_not_socket = 10038,
    socket_destination_required = 10039,
    socket_address_family = 10047,
    socket_address_in_use = 10048,
    socket_address_not_available = 10049,
    socket_network_down = 10050,
    socket_network_unreachable = 10051,
    socket_network_reset = 10052,
    socket_aborted = 10053,
    socket_reset = 10054,
    socket_no_buffers = 10055,
    socket_is_connected = 10056,
    socket_not_connected = 10057,
    socket_shut_down = 10058,
    socket_timed_out = 10060,
    socket_refused = 10061,
    socket_not_initialised = 10093,
    socket_system_failure = 10107,  // any other failure
};

TESSALY_API int GetLastSocketError() noexcept;
TESSALY_API void SetLastSocketError(int error) noexcept;
// The host's own name, at most `size` - 1 bytes and a NUL. 0, or -1 with the last socket error set.
TESSALY_API int GetHostName(char* name, int size);

}  // namespace platform

// A blocking stream socket. While a call waits it calls OnMessagePending whenever a message of the thread
// waits (platform/timer.h), and ends with socket_interrupted when CancelBlockingCall was called from there,
// or by an interruption of the thread (platform/interruption.h). A failed call leaves its number in
// GetLastSocketError(), any other call 0. No call raises a signal. A socket belongs to one thread.
class TESSALY_API CSocket {
  public:
    CSocket() = default;
    virtual ~CSocket();
    CSocket(CSocket const&) = delete;
    CSocket& operator=(CSocket const&) = delete;

    // Makes the object ready. Only a stream socket on any port is supported, so the arguments have no other
    // values than these, except `events`, which is ignored. Non-zero for success. The socket of the right
    // address family follows in Connect.
    int Create(unsigned port = 0, int type = 1, long events = 63, char const* address = nullptr);
    // `host`: a name or an IPv4 or IPv6 address; all its addresses are tried in turn. Non-zero for success.
    // After a failure it can be called again. A host name without an address gives socket_invalid (the
    // clients' "host address is not valid"), a port outside 1 to 65535 socket_address_not_available, and a
    // host to which this machine has no route socket_network_unreachable.
    int Connect(char const* host, unsigned port);
    // Bytes sent (at least 1 unless `size` is 0), or -1. Small packets are not held back.
    int Send(void const* data, int size, int flags = 0);
    // Bytes received, 0 when the peer closed, or -1.
    int Receive(void* data, int size, int flags = 0);
    // Whether there is something to receive, the end included, within so many milliseconds. Messages are not
    // looked at.
    bool Readable(int milliseconds) const;
    virtual void Close();
    // Ends the waiting call, from OnMessagePending.
    void CancelBlockingCall() noexcept { cancelled_ = true; }
    bool IsOpen() const noexcept { return descriptor_ >= 0; }

  protected:
    // Called while a call waits and a message is there. The base removes one message and returns 1 if there
    // was one.
    virtual int OnMessagePending();

    // The condition under which a call can be repeated.
    enum class Wait { to_receive, to_send };
    // One try to move bytes, without waiting, for a derived class that encodes the bytes. Result: their
    // number, 0 when the peer closed, or -1 with errno; for EAGAIN `wait` becomes the condition for the next
    // try.
    virtual long TrySend(void const* data, int size, int flags, Wait& wait);
    virtual long TryReceive(void* data, int size, int flags, Wait& wait);
    // Whether there are received bytes that were not read.
    virtual bool HasReceived() const { return false; }
    // A descriptor that ends every wait as long as it is readable; -1 for none.
    virtual int InterruptDescriptor() const { return -1; }
    // 0 when the socket is ready, else the error.
    int WaitFor(Wait wait);
    int Handle() const noexcept { return descriptor_; }

  private:
    int ConnectToHost(char const* name, unsigned port);
    int ConnectTo(addrinfo const& address);
    int WaitOn(int descriptor, Wait wait);
    bool IsInterrupted() const;
    bool PumpMessages();
    template <class Call>
    int Transfer(Wait wait, bool wait_first, Call const& call);

    int descriptor_ = -1;
    bool created_ = false;
    bool cancelled_ = false;
};
