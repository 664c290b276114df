// The text of an HTML page.
#include <algorithm>
#include <array>

#include "engine/base/crossing.h"
#include "engine/base/whole_number.h"
#include "engine/mails/html_source.h"
#include "engine/mails/html_tokens.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::array<std::string_view, 21> blocks = {
    "p",  "div", "tr", "table", "ul", "ol", "li", "h1",         "h2",      "h3",    "h4",
    "h5", "h6",  "hr", "br",    "dl", "dt", "dd", "blockquote", "section", "center"};
constexpr std::array<std::string_view, 3> hidden = {"script", "style", "title"};
constexpr std::array<std::string_view, 10> spaced = {"p",  "table", "ul", "ol", "h1",
                                                     "h2", "h3",    "h4", "h5", "h6"};

constexpr struct {
    std::string_view name, text;
} entities[] = {{"lt", "<"},   {"gt", ">"},       {"amp", "&"},    {"quot", "\""},
                {"apos", "'"}, {"nbsp", " "},     {"copy", "(c)"}, {"reg", "(R)"},
                {"yen", "￥"}, {"hellip", "..."}, {"ndash", "-"},  {"mdash", "--"}};

template <std::size_t count>
bool IsOneOf(std::array<std::string_view, count> const& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Utf8(unsigned code) {
    std::string bytes;
    if (code > 0 && code <= 0x10FFFF) AppendUtf8(code, bytes);
    return bytes;
}

enum class TextCode { utf8, cp932 };

// In code page 932 the geta mark stands for a character that a text mail cannot hold.
std::string InCode(std::string_view utf8, TextCode code) {
    if (code == TextCode::utf8) return std::string(utf8);
    Crossed const crossed = IntoLibrary(utf8);
    return crossed.no_form || crossed.text.empty() ? IntoLibrary("〓").text : crossed.text;
}

// What stands for "&name;".
std::string EntityText(std::string_view name, TextCode text_code) {
    if (name.starts_with('#')) {
        bool const hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
        std::string_view const digits = name.substr(hex ? 2 : 1);
        auto const code = WholeNumber<unsigned>(digits, hex ? 16 : 10);
        return code ? InCode(Utf8(*code), text_code) : std::string();
    }
    for (auto const& entity : entities)
        if (entity.name == name) return InCode(entity.text, text_code);
    return {};
}

std::string Decoded(std::string_view text, TextCode code) {
    constexpr std::size_t longest_name = 10;
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end =
            text[at] == '&' ? text.substr(0, at + longest_name + 2).find(';', at) : text.npos;
        std::string const meant = end == text.npos ? "" : EntityText(text.substr(at + 1, end - at - 1), code);
        result += meant.empty() ? std::string(1, text[at]) : meant;
        at = meant.empty() ? at + 1 : end + 1;
    }
    return result;
}

// A text under construction, in which a run of blanks is one blank and line ends are added explicitly.
class Lines {
  public:
    explicit Lines(TextCode code) : code_(code) {}
    void Add(std::string_view text) {
        for (char const c : Decoded(text, code_)) {
            bool const blank = c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f';
            if (!blank) {
                if (blank_ && !at_start_) text_ += ' ';
                text_ += c;
                at_start_ = false;
            }
            blank_ = blank;
        }
    }
    // At the start of a line, with an empty one in front of it for `space`.
    void Break(bool space) {
        if (!at_start_) text_ += "\r\n";
        at_start_ = true;
        blank_ = false;
        if (space && !text_.empty() && !text_.ends_with("\r\n\r\n")) text_ += "\r\n";
    }
    // A line end of its own.
    void End() {
        if (!text_.ends_with("\r\n\r\n")) text_ += "\r\n";
        at_start_ = true;
        blank_ = false;
    }
    std::string& Text() { return text_; }

  private:
    TextCode const code_;
    std::string text_;
    bool at_start_ = true, blank_ = false;
};

class Reading {
  public:
    Reading(std::string_view page, TextCode code) : page_(page), code_(code), lines_(code) {}
    std::string Run() {
        HtmlTokens tokens(page_);
        HtmlTag tag;
        std::size_t done = 0;
        while (tokens.Next(tag)) {
            lines_.Add(page_.substr(done, tag.begin - done));
            done = tag.end;
            Take(tag, done);
        }
        lines_.Add(page_.substr(done));
        lines_.Break(false);
        return lines_.Text();
    }

  private:
    void Take(HtmlTag const& tag, std::size_t& done) {
        if (IsOneOf(hidden, tag.name)) done = tag.content_end;
        if (tag.name == "a") return Link(tag);
        if (tag.name == "br") return tag.is_end ? void() : lines_.End();
        if (tag.name == "td" || tag.name == "th") return lines_.Add(" ");
        if (tag.name == "img") {
            if (HtmlAttribute const* alt = tag.Find("alt"))
                lines_.Add(page_.substr(alt->begin, alt->end - alt->begin));
        } else if (IsOneOf(blocks, tag.name)) {
            lines_.Break(IsOneOf(spaced, tag.name));
        }
    }
    // The address stands behind a link's text, unless the text is the address.
    void Link(HtmlTag const& tag) {
        if (!tag.is_end) {
            HtmlAttribute const* href = tag.Find("href");
            link_ = href ? Decoded(page_.substr(href->begin, href->end - href->begin), code_) : "";
            link_start_ = lines_.Text().size();
            return;
        }
        std::string_view const text =
            std::string_view(lines_.Text()).substr(std::min(link_start_, lines_.Text().size()));
        bool const worth_it = link_.starts_with("http") || link_.starts_with("mailto:");
        if (worth_it && text.find(link_) == text.npos) {
            lines_.Add(" &lt;");
            lines_.Text() += link_ + ">";
        }
        link_.clear();
    }

    std::string_view page_;
    TextCode const code_;
    Lines lines_;
    std::string link_;
    std::size_t link_start_ = 0;
};

}  // namespace

CString TextOfHtml(CString const& html) {
    return CString(std::string_view(Reading(html.View(), TextCode::cp932).Run()));
}

std::string TextOfHtmlInUtf8(std::string_view html) { return Reading(html, TextCode::utf8).Run(); }

}  // namespace engine
