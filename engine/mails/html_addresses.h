#pragma once

#include <string_view>
#include <vector>

#include "engine/mails/html_tokens.h"

// The addresses in an HTML page.
namespace engine {

// Places of the addresses in "url(...)" of a style, without quotes, in their order.
std::vector<HtmlPlace> UrlsIn(std::string_view page, HtmlPlace style);

// Whether an attribute names a picture that is shown where the tag stands.
bool NamesPicture(HtmlTag const& tag, HtmlAttribute const& attribute);
// Whether an attribute names something that a browser loads to show the page.
bool NamesLoaded(HtmlTag const& tag, HtmlAttribute const& attribute);

struct HtmlAddress {
    HtmlPlace place;
    bool in_style;  // in "url(...)"
};
// The addresses of a tag in their order: the attributes that are `chosen`, its style, and what a style
// element holds.
std::vector<HtmlAddress> AddressesIn(std::string_view page, HtmlTag const& tag,
                                     bool (*chosen)(HtmlTag const&, HtmlAttribute const&));

}  // namespace engine
