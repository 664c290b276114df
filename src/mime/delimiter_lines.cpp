#include "mime/delimiter_lines.h"

#include <algorithm>

namespace mime {

namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view dashes = "--";

}  // namespace

DelimiterLines::DelimiterLines(std::string_view text) : text_(text) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find(line_end, at), text.size());
        std::string_view const line = text.substr(at, end - at);
        if (line.starts_with(dashes)) lines_.push_back(line);
        at = end + line_end.size();
    }
    std::sort(lines_.begin(), lines_.end());
}

// The first of the sorted lines that is not below `prefix`: the lines that begin with it follow from there.
std::size_t DelimiterLines::FirstFrom(std::string_view prefix) const {
    return static_cast<std::size_t>(std::lower_bound(lines_.begin(), lines_.end(), prefix) - lines_.begin());
}

DelimiterLines::Delimiters const& DelimiterLines::Of(std::string_view boundary) {
    std::string const open = std::string(dashes) + std::string(boundary), close = open + std::string(dashes);
    auto const [place, is_new] = known_.try_emplace(open);
    Delimiters& found = place->second;
    if (!is_new) return found;
    auto const start_of = [&](std::string_view line) {
        return static_cast<std::size_t>(line.data() - text_.data());
    };
    for (std::size_t i = FirstFrom(open); i < lines_.size() && lines_[i] == open; ++i)
        if (start_of(lines_[i]) + open.size() < text_.size()) found.open.push_back(start_of(lines_[i]));
    for (std::size_t i = FirstFrom(close); i < lines_.size() && lines_[i].starts_with(close); ++i)
        found.close.push_back(start_of(lines_[i]));
    std::sort(found.open.begin(), found.open.end());
    std::sort(found.close.begin(), found.close.end());
    return found;
}

// The line end in front of a delimiter belongs to it, so a line directly behind a delimiter is none: its line
// end is used.
bool DivideParts(DelimiterLines::Delimiters const& delimiters, std::string_view text, std::string_view body,
                 std::size_t boundary_size, std::vector<std::string_view>& parts) {
    std::size_t const begin = static_cast<std::size_t>(body.data() - text.data()), end = begin + body.size();
    std::size_t const open_size = dashes.size() + boundary_size, close_size = open_size + dashes.size();
    auto const next = [&](std::vector<std::size_t> const& lines, std::size_t from, std::size_t size) {
        auto const found = std::lower_bound(lines.begin(), lines.end(), from);
        return found != lines.end() && *found + size <= end ? *found : std::string_view::npos;
    };
    auto const open_from = [&](std::size_t from) {
        return next(delimiters.open, from, open_size + line_end.size());
    };
    auto const close_from = [&](std::size_t from) { return next(delimiters.close, from, close_size); };

    std::size_t const first_close = close_from(begin);
    std::size_t open = open_from(begin);
    if (first_close == std::string_view::npos || open == std::string_view::npos) return false;
    for (;;) {
        std::size_t const start = open + open_size + line_end.size();
        std::size_t const another = open_from(start + line_end.size());
        bool const more = another != std::string_view::npos && another <= first_close;
        std::size_t const stop = more ? another : close_from(start + line_end.size());
        if (stop == std::string_view::npos) return false;
        parts.push_back(text.substr(start, stop - line_end.size() - start));
        if (!more) return true;
        open = another;
    }
}

}  // namespace mime
