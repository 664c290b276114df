#include "engine/mails/html_tokens.h"

#include <algorithm>
#include <array>

#include "engine/base/lower_case.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view blanks = " \t\r\n\f";
constexpr std::array<std::string_view, 7> without_markup = {"script", "style",   "title",   "textarea",
                                                            "iframe", "noembed", "noframes"};

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

}  // namespace

bool IsHtmlBlank(char c) { return blanks.find(c) != npos; }

std::size_t FindLowered(std::string_view text, std::string_view word, std::size_t from) {
    auto const found = std::search(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), word.begin(),
                                   word.end(), [](char a, char b) { return LowerCase(a) == b; });
    return found == text.end() ? npos : static_cast<std::size_t>(found - text.begin());
}

HtmlAttribute const* HtmlTag::Find(std::string_view attribute) const {
    for (HtmlAttribute const& own : attributes)
        if (own.name == attribute) return &own;
    return nullptr;
}

bool HtmlTokens::Next(HtmlTag& tag) {
    while ((at_ = std::min(page_.find('<', at_), page_.size())) < page_.size()) {
        tag = HtmlTag();
        tag.begin = at_++;
        if (ReadComment(tag)) return true;
        if (Here() == '/') {
            tag.is_end = true;
            ++at_;
        }
        if (!IsLetter(Here())) continue;
        if (ReadTag(tag)) return true;
        unclosed_ = tag.begin;
        at_ = page_.size();
    }
    return false;
}

bool HtmlTokens::ReadComment(HtmlTag& tag) {
    char const next = Here(), second = at_ + 1 < page_.size() ? page_[at_ + 1] : '>';
    if (next != '!' && next != '?' && (next != '/' || IsLetter(second) || second == '>')) return false;
    std::size_t end = npos;
    if (page_.substr(at_, html_comment.size()) != html_comment) {
        tag.name = html_declaration;
        if ((end = page_.find('>', at_)) != npos) ++end;
    } else {
        tag.name = html_comment;
        // "<!-->" and "<!--->" are whole; "--!>" is an end too, but not with the dashes of the start.
        std::size_t const inside = at_ + html_comment.size();
        for (std::size_t at = at_ + 1; end == npos && (at = page_.find("--", at)) != npos; ++at)
            if (page_.substr(at + 2, 1) == ">")
                end = at + 3;
            else if (at >= inside && page_.substr(at + 2, 2) == "!>")
                end = at + 4;
    }
    at_ = tag.end = tag.content_end = std::min(end, page_.size());
    return true;
}

bool HtmlTokens::ReadTag(HtmlTag& tag) {
    std::size_t const name = at_;
    at_ = std::min(page_.find_first_of(" \t\r\n\f/>", at_), page_.size());
    tag.name = LowerCase(page_.substr(name, at_ - name));
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
    SkipContent(tag);
    return true;
}

bool HtmlTokens::ReadAttribute(HtmlTag& tag) {
    std::size_t const name = at_;
    at_ = std::min(page_.find_first_of("= \t\r\n\f/>", at_ + 1), page_.size());
    HtmlAttribute attribute{LowerCase(page_.substr(name, at_ - name)), at_, at_, {name, at_}};
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
        attribute.whole.end = at_;
    }
    tag.attributes.push_back(std::move(attribute));
    return true;
}

void HtmlTokens::SkipContent(HtmlTag& tag) {
    if (tag.is_end ||
        std::find(without_markup.begin(), without_markup.end(), tag.name) == without_markup.end())
        return;
    std::string const end_tag = "</" + tag.name;
    while ((at_ = std::min(FindLowered(page_, end_tag, at_), page_.size())) < page_.size()) {
        std::size_t const behind = at_ + end_tag.size();
        if (behind < page_.size() &&
            (IsHtmlBlank(page_[behind]) || page_[behind] == '/' || page_[behind] == '>'))
            break;
        at_ = behind;
    }
    tag.content_end = at_;
}

void HtmlTokens::SkipBlanks() { at_ = std::min(page_.find_first_not_of(blanks, at_), page_.size()); }

}  // namespace engine
