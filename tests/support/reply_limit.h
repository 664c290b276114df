#pragma once

#include "tessaly/protocol/socket_support.h"

// Sets the time limit of all whole replies as long as the object lives, in milliseconds.
class ReplyLimit {
  public:
    explicit ReplyLimit(unsigned ms) { SocketSupport::SetReplyLimit(ms); }
    ~ReplyLimit() { SocketSupport::SetReplyLimit(0); }
    ReplyLimit(ReplyLimit const&) = delete;
    ReplyLimit& operator=(ReplyLimit const&) = delete;
};
