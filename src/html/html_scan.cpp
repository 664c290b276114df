#include "tessaly/html/html_scan.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tessaly/platform/mbcs.h"

namespace {

constexpr auto npos = std::string_view::npos;

bool IsNameByte(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z'); }
bool IsAttributeName(std::string_view name) {
    return std::all_of(name.begin(), name.end(), [](char c) { return IsNameByte(c) || c == '-'; });
}

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
std::string_view TrimmedLeft(std::string_view text) {
    while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
    return text;
}
std::string_view TrimmedRight(std::string_view text) {
    while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
    return text;
}
std::string_view Without(std::string_view text, char quote) {
    while (text.starts_with(quote)) text.remove_prefix(1);
    while (text.ends_with(quote)) text.remove_suffix(1);
    return text;
}

// A blank, a tab or a CR LF; a CR alone is none.
bool SeparatorAt(std::string_view text, std::size_t at) {
    return text[at] == ' ' || text[at] == '\t' || text.substr(at, 2) == "\r\n";
}
std::size_t FindSeparator(std::string_view text) {
    std::size_t at = text.find_first_of(" \t\r");
    while (at != npos && !SeparatorAt(text, at)) at = text.find_first_of(" \t\r", at + 1);
    return at;
}

// Texts made shortly before, to be shared: pages repeat names and values. Without it a page of 40,000 tags
// that differ in their values is listed in 18 ms instead of 13 ms. A result is a copy, since the next text
// may replace it.
class Texts {
  public:
    CString Of(std::string_view text) {
        CString& known = known_[std::hash<std::string_view>{}(text) % known_.size()];
        if (known.View() != text) known = CString(text);
        return known;
    }

  private:
    std::array<CString, 256> known_;
};

// Takes one attribute from the start of `rest`. false for a text that is no attribute.
bool TakeAttribute(std::string_view& rest, std::size_t equals, Texts& texts, CHtmlAttrs& attributes) {
    std::string_view const name = TrimmedRight(rest.substr(0, equals));
    if (equals == 0 || !IsAttributeName(name) || equals + 1 == rest.size()) return false;
    std::string_view const text = TrimmedLeft(rest.substr(equals + 1));
    std::size_t end = npos;
    if (text.starts_with('"') || text.starts_with('\'')) {
        std::size_t const close = text.find(text[0], 1);
        if (close == npos) return false;
        end = close + 1;
        if (end < text.size() && !SeparatorAt(text, end)) return false;
    } else {
        end = std::min(FindSeparator(text), text.size());
    }
    std::string_view const value = Without(Without(text.substr(0, end), '"'), '\'');
    attributes.Add(CHtmlAttribute(texts.Of(name), texts.Of(value)));
    rest = TrimmedLeft(text.substr(end));
    return true;
}

// The same as ExpandHtmlElement, from a text in lower case.
bool Expand(std::string_view text, Texts& texts, CHtmlElement& out) {
    CHtmlElement element;
    if (text.empty() || text.starts_with('!')) return false;
    if (text.starts_with('/')) {
        element.m_bEndTag = 1;
        text = TrimmedLeft(text.substr(1));
        if (text.empty()) return false;
    }
    std::size_t const end = FindSeparator(text);
    std::string_view const name = text.substr(0, end);
    if (!IsAttributeName(name)) return false;
    element.m_strName = texts.Of(name);
    if (end != npos) {
        std::string_view rest = TrimmedLeft(text.substr(end));
        for (std::size_t equals; (equals = rest.find('=')) != npos;)
            if (!TakeAttribute(rest, equals, texts, element.m_aAttribute)) return false;
        if (element.m_aAttribute.IsEmpty()) return false;
    }
    out = std::move(element);
    return true;
}

CString Lowered(std::string_view text) {
    CString lowered(text);
    lowered.MakeLower();
    return lowered;
}

// The elements of tags found shortly before, by their text: pages repeat a few tags. Without it a page of
// 20,000 table rows with few different tags is listed in 41 ms instead of 12 ms.
class Tags {
  public:
    // The element of the text between "<" and ">", null for a text that is no tag. `text` must stay.
    CHtmlElement const* Find(std::string_view text) {
        Known& known = known_[std::hash<std::string_view>{}(text) % known_.size()];
        if (known.text.data() && known.text == text) return known.is_element ? &known.element : nullptr;
        lowered_ = text;
        platform::Lower(lowered_.data(), lowered_.size());
        known.text = text;
        known.is_element = Expand(TrimmedLeft(TrimmedRight(lowered_)), texts_, known.element);
        return known.is_element ? &known.element : nullptr;
    }

  private:
    struct Known {
        std::string_view text;
        bool is_element = false;
        CHtmlElement element;
    };
    std::vector<Known> known_ = std::vector<Known>(512);
    Texts texts_;
    std::string lowered_;
};

// Calls `take(begin, end, element)` for each tag that can be divided; `begin` and `end` are offsets of the
// text between its "<" and ">".
template <class Take>
void Scan(std::string_view html, Take take) {
    Tags tags;
    for (std::size_t at = 0; (at = html.find('<', at)) != npos;) {
        std::size_t begin = at + 1;
        std::size_t const end = html.find('>', begin);
        if (end == npos) return;
        at = end + 1;
        if (end == begin) continue;
        if (std::size_t const inner = html.substr(begin, end - begin).rfind('<'); inner != npos)
            begin += inner + 1;
        if (begin == end) continue;
        if (CHtmlElement const* const element = tags.Find(html.substr(begin, end - begin)))
            take(begin, end, *element);
    }
}

// Writes a text with some of its tags replaced.
class Rewriting {
  public:
    explicit Rewriting(std::string_view html) : html_(html) { result_.reserve(html.size()); }
    void Replace(std::size_t begin, std::size_t end, CHtmlElement const& element) {
        CString tag;
        if (!element.GetTagString(tag)) return;
        std::string_view inside = tag.View();
        while (inside.starts_with('<')) inside.remove_prefix(1);
        while (inside.ends_with('>')) inside.remove_suffix(1);
        result_.append(html_.substr(done_, begin - done_)).append(inside);
        done_ = end;
        ++count_;
    }
    int End(CString& out) {
        result_.append(html_.substr(done_));
        out = CString(std::string_view(result_));
        return count_;
    }

  private:
    std::string_view html_;
    std::string result_;
    std::size_t done_ = 0;
    int count_ = 0;
};

// The elements found, each with all parts that count for equality as one text; the bytes between the parts
// occur in no tag.
class Elements {
  public:
    bool IsNew(CHtmlElement const& element) {
        key_.assign(element.m_bEndTag ? "/" : "").append(element.m_strName.View());
        for (CHtmlAttribute const& attribute : element.m_aAttribute)
            key_.append(">")
                .append(attribute.m_strName.View())
                .append("=")
                .append(attribute.m_strValue.View());
        return !known_.contains(std::string_view(key_)) && known_.insert(key_).second;
    }

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    std::string key_;
    std::unordered_set<std::string, Hash, std::equal_to<>> known_;
};

}  // namespace

int IsAllowdAsHtmlElemName(CString const& name) {
    std::string_view const text = name.View();
    return std::all_of(text.begin(), text.end(), IsNameByte);
}

int IsAllowdAsHtmlAttrName(CString const& name) { return IsAttributeName(name.View()); }

int ExpandHtmlElement(CString const& tagText, CHtmlElement& out) {
    CString const text = Lowered(tagText.View());
    Texts texts;
    return Expand(TrimmedLeft(TrimmedRight(text.View())), texts, out);
}

void ExtractHtmlElement(CString const& html, CHtmlElems& out, int allowDuplicates) {
    // `html` may be part of the emptied output. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const CString text = html;
    out.RemoveAll();
    if (allowDuplicates) {
        constexpr int bytes_of_short_tag = 16;  // with the text behind it
        auto const most = std::count(text.View().begin(), text.View().end(), '>');
        out.Reserve(static_cast<int>(std::min<std::ptrdiff_t>(most, text.GetLength() / bytes_of_short_tag)));
    }
    Elements known;
    Scan(text.View(), [&](std::size_t, std::size_t, CHtmlElement const& element) {
        if (allowDuplicates || known.IsNew(element)) out.Add(element);
    });
}

int ReplaceHtmlElement(CString const& html, CHtmlElemRepPair const& pairs, CString& out) {
    if (html.IsEmpty()) return 0;
    Rewriting rewriting(html.View());
    CHtmlElement destination;
    Scan(html.View(), [&](std::size_t begin, std::size_t end, CHtmlElement const& element) {
        if (pairs.GetDestElem(element, destination)) rewriting.Replace(begin, end, destination);
    });
    return rewriting.End(out);
}

int ReplaceHtmlAttrVal(CString const& html, CString const& elemName, CHtmlAttribute const& attr,
                       CString const& newValue, CString& out) {
    if (html.IsEmpty()) return 0;
    CHtmlElement pattern;
    pattern.m_strName = Lowered(elemName.View());
    pattern.m_aAttribute.Add({Lowered(attr.m_strName.View()), Lowered(attr.m_strValue.View())});
    Rewriting rewriting(html.View());
    Scan(html.View(), [&](std::size_t begin, std::size_t end, CHtmlElement const& element) {
        if (!element.IsParticalAgreement(pattern)) return;
        CHtmlElement rewritten = element;
        rewritten.m_aAttribute.SetValue(pattern.m_aAttribute[0].m_strName, newValue);
        rewriting.Replace(begin, end, rewritten);
    });
    return rewriting.End(out);
}

int ReplaceHtmlAttrVal(CString const& html, CString const& elemName, CString const& attrName,
                       CString const& attrValue, CString const& newValue, CString& out) {
    return ReplaceHtmlAttrVal(html, elemName, CHtmlAttribute(attrName, attrValue), newValue, out);
}
