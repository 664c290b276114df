#include "import/line_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace customers {
namespace {

constexpr std::size_t block_size = 256 << 10;
constexpr int stop_byte = 0xFF;

platform::Stream OpenForReading(char const* path) {
    if (!path || platform::IsDirectory(path)) return nullptr;
    return platform::Stream(platform::OpenStream(path, "rb"));
}

std::string_view WithoutLineEnd(std::string_view text) {
    void const* nul = text.empty() ? nullptr : std::memchr(text.data(), 0, text.size());
    if (nul) text = text.substr(0, static_cast<std::size_t>(static_cast<char const*>(nul) - text.data()));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
    return text;
}

}  // namespace

bool LineReader::Open(char const* path) {
    *this = LineReader(longest_line_);
    stream_ = OpenForReading(path);
    if (stream_) buffer_.resize(block_size);
    return stream_ != nullptr;
}

LineReader::Status LineReader::Next(std::string_view& text) {
    text = {};
    std::size_t end = filled_;
    for (;;) {
        std::size_t const unseen = filled_ - scanned_;
        void const* feed = unseen == 0 ? nullptr : std::memchr(buffer_.data() + scanned_, '\n', unseen);
        if (feed) {
            end = static_cast<std::size_t>(static_cast<char const*>(feed) - buffer_.data()) + 1;
            break;
        }
        scanned_ = filled_;
        if (Fill()) continue;
        if (failed_) return Status::failed;
        if (begin_ == filled_) return Status::end;
        end = filled_;
        break;
    }
    text = WithoutLineEnd({buffer_.data() + begin_, end - begin_});
    begin_ = scanned_ = end;
    return Status::line;
}

// Moves the unfinished line to the front of the buffer and reads on behind it.
bool LineReader::Fill() {
    if (!stream_ || ended_) return false;
    if (begin_ > 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, filled_ - begin_);
        filled_ -= begin_;
        scanned_ -= begin_;
        begin_ = 0;
    }
    failed_ = filled_ > longest_line_;
    if (failed_) return false;
    if (filled_ == buffer_.size()) buffer_.resize(2 * buffer_.size());
    std::size_t const got = std::fread(buffer_.data() + filled_, 1, buffer_.size() - filled_, stream_.get());
    filled_ += got;
    ended_ = got == 0;
    failed_ = std::ferror(stream_.get()) != 0;
    return got > 0;
}

bool CountLineFeeds(char const* path, int& count) {
    platform::Stream const stream = OpenForReading(path);
    if (!stream) return false;
    std::vector<char> block(block_size);
    std::int64_t feeds = 0;
    for (bool stopped = false; !stopped;) {
        std::size_t const got = std::fread(block.data(), 1, block.size(), stream.get());
        void const* stop = got == 0 ? nullptr : std::memchr(block.data(), stop_byte, got);
        stopped = got == 0 || stop;
        auto const size =
            stop ? static_cast<char const*>(stop) - block.data() : static_cast<std::ptrdiff_t>(got);
        feeds += std::count(block.data(), block.data() + size, '\n');
    }
    count = static_cast<int>(std::min<std::int64_t>(feeds, std::numeric_limits<int>::max()));
    return std::ferror(stream.get()) == 0;
}

}  // namespace customers
