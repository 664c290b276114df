#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The tags of an HTML page, as browsers divide them: quoted values may hold ">", comments and scripts hold no
// tags.
namespace engine {

struct HtmlAttribute {
    std::string name;        // lower case
    std::size_t begin, end;  // of the value, without its quotes
};

struct HtmlTag {
    std::size_t begin = 0, end = 0;  // with its brackets
    bool is_end = false;
    std::string name;  // lower case
    std::vector<HtmlAttribute> attributes;
    std::size_t content_end =
        0;  // of a script, style, title or textarea: what follows up to here is no markup

    HtmlAttribute const* Find(std::string_view attribute) const;
};

// Goes through a page in Shift-JIS or UTF-8; in neither can a byte of a tag's grammar be part of another
// character. Time is linear in the page, whatever it holds.
class HtmlTokens {
  public:
    explicit HtmlTokens(std::string_view page) : page_(page) {}
    // false at the end. A tag that the page ends in is none.
    bool Next(HtmlTag& tag);

  private:
    bool SkipComment();
    bool ReadTag(HtmlTag& tag);
    bool ReadAttribute(HtmlTag& tag);
    bool SkipContent(HtmlTag& tag);
    void SkipBlanks();
    char Here() const { return at_ < page_.size() ? page_[at_] : '\0'; }

    std::string_view page_;
    std::size_t at_ = 0;
};

// Places of the addresses in "url(...)" of a style, without quotes, in their order.
struct HtmlPlace {
    std::size_t begin, end;
};
std::vector<HtmlPlace> UrlsIn(std::string_view page, HtmlPlace style);

}  // namespace engine
