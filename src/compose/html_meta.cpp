#include "compose/html_meta.h"

#include <cctype>
#include <string_view>

#include "mime/ascii.h"

namespace compose {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr std::string_view tag_open = "<meta", mark = "http-equiv=content-type";

}  // namespace

CString WithMetaCharset(CString const& html, char const* charset) {
    std::string_view const text = html.View();
    for (std::size_t from = 0;;) {
        std::size_t const found = mime::FindNoCase(text.substr(from), tag_open);
        if (found == npos) return html;
        std::size_t const begin = from + found;
        from = begin + tag_open.size();
        if (from == text.size() || !std::isspace(static_cast<unsigned char>(text[from]))) continue;
        std::size_t const end = text.find('>', from);
        if (end == npos) return html;
        from = end + 1;
        if (!mime::ContainsNoCase(text.substr(begin, end - begin), mark)) continue;
        return CString(text.substr(0, begin)) + "<META content=\"text/html; charset=" + charset +
               "\" http-equiv=Content-Type>" + CString(text.substr(from));
    }
}

}  // namespace compose
