#pragma once

#include <cstddef>
#include <string>

#include "tessaly/mime.h"

namespace engine {

// The HTML of a mail as a page that a browser shows without loading anything, in UTF-8: its pictures are in
// it, active content is removed, and addresses of what lies elsewhere are emptied. A policy at its top has
// the browser refuse whatever is left.
struct HtmlPage {
    std::string html;
    std::size_t left_out = 0;  // addresses
};
HtmlPage PageOf(CMimeAnalyze const& parts);

}  // namespace engine
