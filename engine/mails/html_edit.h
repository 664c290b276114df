#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "engine/mails/html_tokens.h"

namespace engine {

// A page written again, with places in it replaced, which are given in their order.
class HtmlEdit {
  public:
    explicit HtmlEdit(std::string_view page) : page_(page) {}

    void Replace(HtmlPlace place, std::string_view text) {
        result_.append(page_.substr(done_, place.begin - done_)).append(text);
        done_ = place.end;
    }
    // The value of an attribute; one that stands without quotes gets them.
    void ReplaceValue(HtmlPlace value, std::string_view text) {
        char const before = value.begin > 0 ? page_[value.begin - 1] : '"';
        bool const quoted = before == '"' || before == '\'';
        Replace(value, quoted ? std::string(text) : '"' + std::string(text) + '"');
    }
    // Its line ends stay, so that what follows keeps its line. What stands before and behind it never makes a
    // tag together.
    void Remove(HtmlPlace place) {
        std::string_view const removed = page_.substr(place.begin, place.end - place.begin);
        Replace(place, "");
        if (result_.ends_with('<')) result_ += ' ';
        result_.append(static_cast<std::size_t>(std::count(removed.begin(), removed.end(), '\n')), '\n');
    }
    // The rest of the page behind the last place. Nothing can be replaced behind that.
    std::string Whole() {
        Replace({page_.size(), page_.size()}, "");
        return std::move(result_);
    }

  private:
    std::string_view page_;
    std::string result_;
    std::size_t done_ = 0;
};

}  // namespace engine
