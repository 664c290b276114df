#pragma once

#include "tessaly/protocol/socket_support.h"

// The time limit of all whole replies while it lives, in milliseconds.
class ReplyLimit {
  public:
    explicit ReplyLimit(unsigned ms) { SocketSupport::SetReplyLimit(ms); }
    ~ReplyLimit() { SocketSupport::SetReplyLimit(0); }
    ReplyLimit(ReplyLimit const&) = delete;
    ReplyLimit& operator=(ReplyLimit const&) = delete;
};
