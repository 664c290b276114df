#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "tessaly/platform/cstring.h"

class LogWriter;

namespace delivery {

// The lines of an SMTP conversation before they reach the transfer log. A conversation has about 25 of them,
// and writing each by itself would cost a tenth of the sending rate; so they are collected, each with its own
// time, and written together at the end of the call, and before a wait for the server that is more than a
// moment. While the client waits for a slow server, the file thus has the command and all lines before it.
class ConversationLog {
  public:
    // `log` must outlive the object.
    explicit ConversationLog(LogWriter& log) : log_(log) {}
    void Note(std::string_view text);
    void Command(std::string_view line);
    // A reply, or the number of a socket error.
    void Reply(std::string_view text);
    void Write();

  private:
    void Add(std::string_view mark, std::string_view text);
    std::string_view TimeStamp();

    LogWriter& log_;
    std::string lines_;
    CString stamp_;
    std::int64_t stamp_second_ = std::numeric_limits<std::int64_t>::min();
};

}  // namespace delivery
