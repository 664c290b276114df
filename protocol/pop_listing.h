#pragma once

#include <cstdint>
#include <string_view>

namespace protocol {

// The limits of those answers of a POP3 server that are lists (RFC 1939 5, 7): a list that does not end or
// exceeds them is an error.
class PopListing {
  public:
    static constexpr int longest = 1000000;                    // lines
    static constexpr std::int64_t largest = 64 * 1024 * 1024;  // bytes, with the line ends
    static constexpr std::size_t longest_unique_id = 70;       // RFC 1939 7

    // Counts a line of `bytes` bytes that is not the closing one. false when the limit is passed.
    bool Takes(std::size_t bytes) {
        bytes_ += static_cast<std::int64_t>(bytes);
        return ++lines_ <= longest && bytes_ <= largest;
    }

  private:
    int lines_ = 0;
    std::int64_t bytes_ = 0;
};

}  // namespace protocol
