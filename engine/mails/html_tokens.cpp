#include "engine/mails/html_tokens.h"

#include <algorithm>
#include <array>

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view blanks = " \t\r\n\f";
constexpr std::array<std::string_view, 4> without_markup = {"script", "style", "title", "textarea"};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lower);
    return lowered;
}

std::size_t FindLowered(std::string_view text, std::string_view word, std::size_t from) {
    auto const found = std::search(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), word.begin(),
                                   word.end(), [](char a, char b) { return Lower(a) == b; });
    return found == text.end() ? npos : static_cast<std::size_t>(found - text.begin());
}

}  // namespace

HtmlAttribute const* HtmlTag::Find(std::string_view attribute) const {
    for (HtmlAttribute const& own : attributes)
        if (own.name == attribute) return &own;
    return nullptr;
}

bool HtmlTokens::Next(HtmlTag& tag) {
    while ((at_ = std::min(page_.find('<', at_), page_.size())) < page_.size()) {
        std::size_t const begin = at_++;
        if (Here() == '!' || Here() == '?') {
            if (!SkipComment()) return false;
            continue;
        }
        tag = HtmlTag();
        tag.begin = begin;
        if (Here() == '/') {
            tag.is_end = true;
            ++at_;
        }
        if (IsLetter(Here())) return ReadTag(tag) && SkipContent(tag);
    }
    return false;
}

bool HtmlTokens::SkipComment() {
    bool const is_comment = page_.substr(at_, 3) == "!--";
    std::size_t const end = page_.find(is_comment ? "-->" : ">", at_);
    at_ = std::min(end, page_.size());
    return end != npos;
}

bool HtmlTokens::ReadTag(HtmlTag& tag) {
    std::size_t const name = at_;
    at_ = std::min(page_.find_first_of(" \t\r\n\f/>", at_), page_.size());
    tag.name = Lowered(page_.substr(name, at_ - name));
    for (;;) {
        while (blanks.find(Here()) != npos || Here() == '/') {
            if (at_ >= page_.size()) return false;
            ++at_;
        }
        if (at_ >= page_.size()) return false;
        if (Here() == '>') break;
        if (!ReadAttribute(tag)) return false;
    }
    tag.end = tag.content_end = ++at_;
    return true;
}

bool HtmlTokens::ReadAttribute(HtmlTag& tag) {
    std::size_t const name = at_;
    at_ = std::min(page_.find_first_of("= \t\r\n\f/>", at_ + 1), page_.size());
    HtmlAttribute attribute{Lowered(page_.substr(name, at_ - name)), at_, at_};
    SkipBlanks();
    if (Here() == '=') {
        ++at_;
        SkipBlanks();
        if (Here() == '"' || Here() == '\'') {
            attribute.begin = at_ + 1;
            attribute.end = page_.find(Here(), attribute.begin);
            if (attribute.end == npos) return false;
            at_ = attribute.end + 1;
        } else {
            attribute.begin = at_;
            at_ = attribute.end = std::min(page_.find_first_of(" \t\r\n\f>", at_), page_.size());
        }
    }
    tag.attributes.push_back(std::move(attribute));
    return true;
}

bool HtmlTokens::SkipContent(HtmlTag& tag) {
    if (tag.is_end ||
        std::find(without_markup.begin(), without_markup.end(), tag.name) == without_markup.end())
        return true;
    at_ = tag.content_end = std::min(FindLowered(page_, "</" + tag.name, at_), page_.size());
    return true;
}

void HtmlTokens::SkipBlanks() { at_ = std::min(page_.find_first_not_of(blanks, at_), page_.size()); }

std::vector<HtmlPlace> UrlsIn(std::string_view page, HtmlPlace style) {
    constexpr std::string_view open = "url(";
    std::vector<HtmlPlace> places;
    std::string_view const text = page.substr(0, style.end);
    for (std::size_t at = style.begin; (at = FindLowered(text, open, at)) != npos;) {
        at += open.size();
        std::size_t begin = std::min(text.find_first_not_of(blanks, at), text.size());
        std::size_t end = text.find(')', begin);
        if (end == npos) break;
        at = end;
        while (end > begin && blanks.find(text[end - 1]) != npos) --end;
        if (end - begin >= 2 && (text[begin] == '"' || text[begin] == '\'') && text[end - 1] == text[begin]) {
            ++begin;
            --end;
        }
        places.push_back({begin, end});
    }
    return places;
}

}  // namespace engine
