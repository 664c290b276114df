#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace engine {

// A page without what acts by itself or takes its reader elsewhere.
struct CleanPage {
    std::string page;
    std::map<std::string_view, std::size_t> removed;  // what it was, in Japanese, and how many of them

    // "スクリプト 2、枠・埋め込み 1"
    std::string Told() const;
};

// Removes scripts with their content, event handlers (onclick and the like), addresses that run a script or
// hold a document (javascript:, vbscript:, data: of anything but a picture), frames and embedded objects, the
// targets of forms, meta refresh, base, external style sheets (link, @import), styles that run scripts, SVG
// and MathML, elements whose content is no markup in browsers alone (xmp, plaintext), conditional comments
// that hold any of it, and a tag that the page ends in. Everything else stays byte for byte, every line keeps
// its number, and a clean page stays as it is.
//
// The page is in Shift-JIS or UTF-8. Its tags are divided as browsers divide them; a style, title or textarea
// keeps no "<" that would begin a tag, since browsers ignore these elements in some places and then read
// their content as markup.
CleanPage WithoutActiveContent(std::string_view page);

}  // namespace engine
