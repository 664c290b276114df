#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The tags of an HTML page, as browsers divide them (HTML, 13.2.5): quoted values may hold ">", comments and
// scripts hold no tags.
namespace engine {

struct HtmlPlace {
    std::size_t begin, end;
};

struct HtmlAttribute {
    std::string name;        // lower case
    std::size_t begin, end;  // of the value, without its quotes
    HtmlPlace whole;         // from the first sign of its name to its closing quote
};

struct HtmlTag {
    // Comments and declarations come as tags too: a comment has the name html_comment, everything else that
    // browsers skip as one ("<!DOCTYPE html>", "<?xml ?>", "</ x>") html_declaration.
    std::size_t begin = 0, end = 0;  // with its brackets
    bool is_end = false;
    std::string name;  // lower case
    std::vector<HtmlAttribute> attributes;
    std::size_t content_end = 0;  // of a script, a style and the like: what follows up to here is no markup

    HtmlAttribute const* Find(std::string_view attribute) const;
};
inline constexpr std::string_view html_comment = "!--", html_declaration = "!";

// Goes through a page in Shift-JIS or UTF-8; in neither can a byte of a tag's grammar be part of another
// character. Time is linear in the page, whatever it holds.
class HtmlTokens {
  public:
    explicit HtmlTokens(std::string_view page) : page_(page) {}
    // false at the end. A tag that the page ends in is none; a comment ends with the page.
    bool Next(HtmlTag& tag);
    // Behind the last tag: where one begins that the page ends in; the size of the page for none.
    std::size_t Unclosed() const { return unclosed_; }

  private:
    bool ReadComment(HtmlTag& tag);
    bool ReadTag(HtmlTag& tag);
    bool ReadAttribute(HtmlTag& tag);
    void SkipContent(HtmlTag& tag);
    void SkipBlanks();
    char Here() const { return at_ < page_.size() ? page_[at_] : '\0'; }

    std::string_view page_;
    std::size_t at_ = 0, unclosed_ = page_.size();
};

bool IsHtmlBlank(char c);
// Where a word in lower case stands in a text in any case, from `from` on; npos for nowhere.
std::size_t FindLowered(std::string_view text, std::string_view word, std::size_t from);

}  // namespace engine
