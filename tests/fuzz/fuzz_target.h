#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

// A fuzz target is one source that defines FuzzOne and says by Check what must hold for any bytes. Linked
// with afl_main.cpp it is a program for afl-fuzz, with replay_main.cpp one that runs the files of its corpus.
void FuzzOne(std::string_view bytes);

namespace fuzz {

inline void Check(bool holds, char const* what) {
    if (holds) return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

// The bytes as a text: up to the first NUL.
inline std::string TextOf(std::string_view bytes) { return std::string(bytes.substr(0, bytes.find('\0'))); }

// The text with its NUL in a block of exactly that size, so that the address sanitizer sees a byte too many.
class ExactText {
  public:
    explicit ExactText(std::string_view text) : block_(std::make_unique<char[]>(text.size() + 1)) {
        text.copy(block_.get(), text.size());
    }
    operator char const*() const { return block_.get(); }

  private:
    std::unique_ptr<char[]> block_;
};

// A block that an operation allocated for its caller.
using Allocated = std::unique_ptr<char[]>;

inline std::string Without(std::string text, std::string_view part) {
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos;) text.erase(at, part.size());
    return text;
}

// Takes the next line off `rest`, without its LF.
inline std::string_view TakeLine(std::string_view& rest) {
    std::size_t const end = std::min(rest.find('\n'), rest.size());
    std::string_view const line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return line;
}

}  // namespace fuzz
