#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace engine {

// The lines of a mail, whose ends may be CR LF, LF, CR or CR CR LF, each as it comes. Walking through them is
// linear.
class MailLines {
  public:
    struct Line {
        std::size_t begin, end;  // without its line end
        std::size_t next;        // where the next one begins
    };

    explicit MailLines(std::string_view text) : text_(text) {}

    std::string_view Text() const { return text_; }
    bool AtEnd() const { return at_ >= text_.size(); }
    std::size_t At() const { return at_; }
    void MoveTo(std::size_t at) {
        if (at < at_) lf_ = cr_ = not_looked_for;
        at_ = at;
    }

    // The line at At().
    Line Peek() {
        Look(lf_, '\n');
        Look(cr_, '\r');
        std::size_t const end = std::min(lf_, cr_);
        std::size_t next = std::min(end + 1, text_.size());
        if (end < text_.size() && text_[end] == '\r') {
            std::string_view const more = text_.substr(next, 2);
            next += more.starts_with('\n') ? 1 : more == "\r\n" ? 2 : 0;
        }
        return {at_, end, next};
    }
    std::string_view TextOf(Line const& line) const {
        return text_.substr(line.begin, line.end - line.begin);
    }

  private:
    static constexpr std::size_t not_looked_for = 0;

    void Look(std::size_t& found, char sign) const {
        if (found < at_ || found == not_looked_for) found = std::min(text_.find(sign, at_), text_.size());
    }

    std::string_view text_;
    std::size_t at_ = 0, lf_ = not_looked_for, cr_ = not_looked_for;
};

}  // namespace engine
