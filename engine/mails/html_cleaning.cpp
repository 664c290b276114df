#include "engine/mails/html_cleaning.h"

#include <algorithm>
#include <iterator>

#include "engine/base/lower_case.h"
#include "engine/base/whole_number.h"
#include "engine/mails/html_edit.h"
#include "engine/mails/html_tokens.h"

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view html_comment_start =
    "<!--";  // around styles it hides them from the oldest readers

constexpr std::string_view script = "スクリプト", handler = "イベント属性 (onclickなど)",
                           active_link = "スクリプトや文書を開くリンク", frame = "枠・埋め込み",
                           form_target = "フォームの送り先", refresh = "自動で移動する指定",
                           base = "基準アドレス (base)", style_sheet = "外部のスタイルシートなど",
                           active_style = "スクリプトを動かすスタイル", drawing = "SVG・MathML",
                           raw_element = "xmpなどの要素", conditional = "条件つきコメント",
                           unclosed = "閉じていないタグ";

// Elements that go: their tags, and where they hold no markup, their content too.
struct Removal {
    std::string_view tag, kind;
    bool with_content;
};
constexpr Removal removals[] = {
    {"script", script, true},          {"noscript", script, false},    {"iframe", frame, true},
    {"frame", frame, false},           {"frameset", frame, false},     {"noframes", frame, true},
    {"object", frame, false},          {"embed", frame, false},        {"applet", frame, false},
    {"param", frame, false},           {"noembed", frame, true},       {"portal", frame, false},
    {"fencedframe", frame, false},     {"base", base, false},          {"link", style_sheet, false},
    {"svg", drawing, false},           {"math", drawing, false},       {"xmp", raw_element, false},
    {"plaintext", raw_element, false}, {"listing", raw_element, false}};

constexpr std::string_view form_attributes[] = {"action", "formaction"};
// Their values are texts, which may begin with any word.
constexpr std::string_view text_attributes[] = {"alt",         "title", "content", "value",
                                                "placeholder", "label", "summary"};

// References of characters in the names of schemes and functions. (HTML, 13.5)
constexpr struct {
    std::string_view name;
    char character;
} references[] = {{"Tab", '\t'},   {"NewLine", '\n'}, {"colon", ':'},  {"sol", '/'},   {"bsol", '\\'},
                  {"lpar", '('},   {"rpar", ')'},     {"period", '.'}, {"comma", ','}, {"semi", ';'},
                  {"num", '#'},    {"amp", '&'},      {"AMP", '&'},    {"lt", '<'},    {"LT", '<'},
                  {"gt", '>'},     {"GT", '>'},       {"quot", '"'},   {"QUOT", '"'},  {"apos", '\''},
                  {"commat", '@'}, {"lowbar", '_'},   {"ast", '*'},    {"excl", '!'}};

template <class Names>
bool IsOneOf(Names const& names, std::string_view name) {
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Takes the digits at the start of `text`; a number too large for a character counts as one that is none.
// Result: ASCII, or a sign that no scheme has.
char TakeCharacter(std::string_view& text, int base_of_digits, std::size_t most_digits) {
    constexpr unsigned last_ascii = 0x7F, too_large = 0x110000;
    constexpr char no_ascii = '\x7F';
    unsigned code = 0;
    for (std::size_t digits = 0; digits < most_digits; ++digits, text.remove_prefix(1)) {
        auto const digit = WholeNumber<unsigned>(text.substr(0, 1), base_of_digits);
        if (!digit) break;
        code = std::min(code * static_cast<unsigned>(base_of_digits) + *digit, too_large);
    }
    return code <= last_ascii ? static_cast<char>(code) : no_ascii;
}

// A value with its references to ASCII characters resolved, also those without a ";".
std::string Resolved(std::string_view text) {
    std::string resolved;
    while (!text.empty()) {
        char const c = text.front();
        text.remove_prefix(1);
        if (c != '&') {
            resolved += c;
            continue;
        }
        if (text.starts_with('#')) {
            bool const hex = text.size() > 1 && LowerCase(text[1]) == 'x';
            text.remove_prefix(hex ? 2 : 1);
            resolved += TakeCharacter(text, hex ? 16 : 10, npos);
        } else {
            auto const named =
                std::find_if(std::begin(references), std::end(references),
                             [&](auto const& reference) { return text.starts_with(reference.name); });
            resolved += named == std::end(references) ? c : named->character;
            if (named == std::end(references)) continue;
            text.remove_prefix(named->name.size());
        }
        if (text.starts_with(';')) text.remove_prefix(1);
    }
    return resolved;
}

// Lower case, without blanks and control characters.
std::string Bare(std::string_view text) {
    std::string bare;
    for (char const c : text)
        if (static_cast<unsigned char>(c) > 0x20) bare += LowerCase(c);
    return bare;
}

// Whether an address runs a script, or is a document by itself, however it is written.
bool IsActiveAddress(std::string_view value) {
    constexpr std::string_view schemes[] = {"javascript:", "vbscript:", "livescript:", "mocha:"};
    constexpr std::string_view picture = "data:image/", drawn = "data:image/svg";
    std::string const address = Bare(Resolved(value));
    if (address.starts_with("data:")) return !address.starts_with(picture) || address.starts_with(drawn);
    return std::any_of(std::begin(schemes), std::end(schemes),
                       [&](std::string_view scheme) { return address.starts_with(scheme); });
}

enum class StyleComments { drop, keep };
// Without the escapes of CSS.
std::string PlainStyle(std::string_view text, StyleComments comments) {
    constexpr std::size_t longest_escape = 6;
    std::string plain;
    while (!text.empty()) {
        if (comments == StyleComments::drop && text.starts_with("/*")) {
            text.remove_prefix(std::min(text.find("*/", 2), text.size() - 2) + 2);
        } else if (text.starts_with('\\') && text.size() > 1) {
            text.remove_prefix(1);
            std::string_view const escape = text;
            char const c = TakeCharacter(text, 16, longest_escape);
            bool const is_number = text.size() < escape.size();
            plain += is_number ? c : text.front();
            if (!is_number || (!text.empty() && IsHtmlBlank(text.front()))) text.remove_prefix(1);
        } else {
            plain += text.front();
            text.remove_prefix(1);
        }
    }
    return Bare(plain);
}

// "/*" may divide a word, and in a string it begins no comment.
bool IsActiveStyle(std::string_view style) {
    constexpr std::string_view signs[] = {"expression(",  "javascript:", "vbscript:", "behavior:url",
                                          "-moz-binding", "@import",     "data:text"};
    std::string const resolved = Resolved(style);
    std::string const plain =
        PlainStyle(resolved, StyleComments::drop) + '\n' + PlainStyle(resolved, StyleComments::keep);
    return std::any_of(std::begin(signs), std::end(signs),
                       [&](std::string_view sign) { return plain.find(sign) != npos; });
}

// Behind the statement of a style sheet that begins at `at`, or where its comment ends; quotes, which end
// with their line, and brackets may hold ";".
std::size_t EndOfStatement(std::string_view style, std::size_t at) {
    char closing = '\0';
    for (; at < style.size(); ++at) {
        char const c = style[at];
        if (closing != '\0') {
            if (c == closing || (c == '\n' && closing != ')')) closing = '\0';
        } else if (c == ';') {
            return at + 1;
        } else if (style.substr(at, 2) == "*/") {
            return at;
        } else if (c == '"' || c == '\'' || c == '(') {
            closing = c == '(' ? ')' : c;
        }
    }
    return at;
}

std::string Without(std::string_view text, std::string_view part) {
    HtmlEdit edit(text);
    for (std::size_t at = 0; (at = text.find(part, at)) != npos; at += part.size())
        edit.Replace({at, at + part.size()}, "");
    return edit.Whole();
}

// With a blank behind each "<" that would begin a tag.
std::string WithoutTags(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        char const next = i + 1 < text.size() ? LowerCase(text[i + 1]) : '\0';
        if (text[i] == '<' && ((next >= 'a' && next <= 'z') || next == '/' || next == '!' || next == '?'))
            result += ' ';
    }
    return result;
}

class Cleaning {
  public:
    enum class Comments { keep, clean };
    Cleaning(std::string_view page, Comments comments) : page_(page), edit_(page), comments_(comments) {}

    CleanPage Run() {
        HtmlTokens tokens(page_);
        HtmlTag tag;
        while (tokens.Next(tag)) Take(tag);
        if (tokens.Unclosed() < page_.size()) Remove({tokens.Unclosed(), page_.size()}, unclosed);
        clean_.page = edit_.Whole();
        return std::move(clean_);
    }

  private:
    void Take(HtmlTag const& tag) {
        auto const removal = std::find_if(std::begin(removals), std::end(removals),
                                          [&](Removal const& row) { return row.tag == tag.name; });
        if (tag.name == html_comment) return TakeComment(tag);
        if (removal != std::end(removals)) {
            if (tag.is_end) return edit_.Remove({tag.begin, tag.end});
            return Remove({tag.begin, removal->with_content ? tag.content_end : tag.end}, removal->kind);
        }
        if (tag.is_end) return;
        if (tag.name == "meta" && IsRefresh(tag)) return Remove({tag.begin, tag.end}, refresh);
        for (HtmlAttribute const& attribute : tag.attributes) TakeAttribute(attribute);
        if (tag.content_end > tag.end) TakeContent(tag);
    }

    // Outlook reads those that begin with "[if".
    void TakeComment(HtmlTag const& tag) {
        std::string_view const text = page_.substr(tag.begin, tag.end - tag.begin);
        std::size_t const inside = text.find('>');
        if (!text.starts_with("<!--[if") || inside == npos) return;
        bool const clean = comments_ == Comments::keep ||
                           Cleaning(text.substr(inside + 1), Comments::keep).Run().removed.empty();
        if (!clean) Remove({tag.begin, tag.end}, conditional);
    }

    bool IsRefresh(HtmlTag const& tag) const {
        HtmlAttribute const* const header = tag.Find("http-equiv");
        return header && Bare(Resolved(Value(*header))) == "refresh";
    }

    void TakeAttribute(HtmlAttribute const& attribute) {
        if (attribute.name.starts_with("on"))
            RemoveAttribute(attribute, handler);
        else if (IsOneOf(form_attributes, attribute.name))
            RemoveAttribute(attribute, form_target);
        else if (attribute.name == "style" && IsActiveStyle(Value(attribute)))
            RemoveAttribute(attribute, active_style);
        else if (!IsOneOf(text_attributes, attribute.name) && IsActiveAddress(Value(attribute)))
            RemoveAttribute(attribute, active_link);
    }

    // A "=" behind it must not become that of the attribute in front of it.
    void RemoveAttribute(HtmlAttribute const& attribute, std::string_view kind) {
        Remove(attribute.whole, kind);
        std::size_t const next = page_.find_first_not_of(" \t\r\n\f/", attribute.whole.end);
        if (next != npos && page_[next] == '=')
            edit_.Replace({attribute.whole.end, attribute.whole.end}, "/");
    }

    void TakeContent(HtmlTag const& tag) {
        HtmlPlace const content{tag.end, tag.content_end};
        std::string_view const text = page_.substr(content.begin, content.end - content.begin);
        std::string kept(text);
        if (tag.name == "style") {
            kept = WithoutImports(kept);
            if (IsActiveStyle(kept)) return Remove(content, active_style);
            kept = Without(kept, html_comment_start);
        }
        kept = WithoutTags(kept);
        if (kept != text) edit_.Replace(content, kept);
    }

    std::string WithoutImports(std::string_view style) {
        constexpr std::string_view import = "@import";
        HtmlEdit edit(style);
        for (std::size_t at = 0; (at = style.find('@', at)) != npos;) {
            std::size_t const begin = at++;
            if (LowerCase(style.substr(begin, import.size())) != import) continue;
            at = EndOfStatement(style, begin);
            edit.Remove({begin, at});
            ++clean_.removed[style_sheet];
        }
        return edit.Whole();
    }

    void Remove(HtmlPlace place, std::string_view kind) {
        edit_.Remove(place);
        ++clean_.removed[kind];
    }
    std::string_view Value(HtmlAttribute const& attribute) const {
        return page_.substr(attribute.begin, attribute.end - attribute.begin);
    }

    std::string_view page_;
    HtmlEdit edit_;
    Comments comments_;
    CleanPage clean_;
};

}  // namespace

std::string CleanPage::Told() const {
    std::string told;
    for (auto const& [what, count] : removed)
        told.append(told.empty() ? "" : "、").append(what).append(" " + std::to_string(count));
    return told;
}

CleanPage WithoutActiveContent(std::string_view page) {
    return Cleaning(page, Cleaning::Comments::clean).Run();
}

}  // namespace engine
