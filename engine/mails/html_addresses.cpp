#include "engine/mails/html_addresses.h"

#include <algorithm>
#include <iterator>

namespace engine {
namespace {

constexpr auto npos = std::string_view::npos;

constexpr struct {
    std::string_view tag, attribute;
} pictures[] = {{"img", "src"},          {"input", "src"},     {"source", "src"},    {"body", "background"},
                {"table", "background"}, {"tr", "background"}, {"td", "background"}, {"th", "background"}};
constexpr std::string_view loaded[] = {"src",    "srcset", "background", "poster",
                                       "lowsrc", "dynsrc", "data",       "manifest"};

}  // namespace

std::vector<HtmlPlace> UrlsIn(std::string_view page, HtmlPlace style) {
    constexpr std::string_view open = "url(";
    std::vector<HtmlPlace> places;
    std::string_view const text = page.substr(0, style.end);
    for (std::size_t at = style.begin; (at = FindLowered(text, open, at)) != npos;) {
        at += open.size();
        std::size_t begin = std::min(text.find_first_not_of(" \t\r\n\f", at), text.size());
        std::size_t end = text.find(')', begin);
        if (end == npos) break;
        at = end;
        while (end > begin && IsHtmlBlank(text[end - 1])) --end;
        if (end - begin >= 2 && (text[begin] == '"' || text[begin] == '\'') && text[end - 1] == text[begin]) {
            ++begin;
            --end;
        }
        places.push_back({begin, end});
    }
    return places;
}

bool NamesPicture(HtmlTag const& tag, HtmlAttribute const& attribute) {
    return std::any_of(std::begin(pictures), std::end(pictures), [&](auto const& picture) {
        return picture.tag == tag.name && picture.attribute == attribute.name;
    });
}

bool NamesLoaded(HtmlTag const&, HtmlAttribute const& attribute) {
    return std::find(std::begin(loaded), std::end(loaded), attribute.name) != std::end(loaded);
}

std::vector<HtmlAddress> AddressesIn(std::string_view page, HtmlTag const& tag,
                                     bool (*chosen)(HtmlTag const&, HtmlAttribute const&)) {
    std::vector<HtmlAddress> addresses;
    if (tag.is_end) return addresses;
    auto const take_style = [&](HtmlPlace style) {
        for (HtmlPlace const& place : UrlsIn(page, style)) addresses.push_back({place, true});
    };
    for (HtmlAttribute const& attribute : tag.attributes)
        if (attribute.name == "style")
            take_style({attribute.begin, attribute.end});
        else if (chosen(tag, attribute))
            addresses.push_back({{attribute.begin, attribute.end}, false});
    if (tag.name == "style") take_style({tag.end, tag.content_end});
    return addresses;
}

}  // namespace engine
