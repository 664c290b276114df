#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "engine/mails/draft.h"
#include "tessaly/storage.h"

// The author's HTML file, made ready for an HTML mail.
namespace engine {

struct HtmlPicture {
    std::string file;    // host path
    std::string name;    // as recipients see it
    CString content_id;  // without angle brackets; the same for the same content
};

struct HtmlSource {
    CString html;                       // code page 932, line ends CR LF
    std::vector<HtmlPicture> pictures;  // in the order of their first mention, each file once
    std::vector<std::string> remote;    // addresses of pictures on servers, each once
    std::string removed;  // what WithoutActiveContent removed, as it tells it; empty for nothing
};

// The file is UTF-8, or Shift-JIS if it is no UTF-8. Characters that the library cannot keep, or that mail
// programs do not know, become numeric references; known merge words get their escaped form; a meta tag that
// tells a charset goes, since the mail's header tells it, and so does active content. Pictures that lie where
// the HTML names them, in its folder or below, are named by "cid:" (RFC 2392) from then on; everything else
// of the tag stays as its author wrote it. (The library's replacement of attributes would rewrite the whole
// tag.)
//
// `extra` are pictures that lie elsewhere, known by their file names. `findings` gets pictures that are
// missing, too large or no pictures, and what ReadDraft finds in texts. Throws Failure for a file that cannot
// be read, and for an extra picture that the HTML does not name.
HtmlSource ReadHtml(std::string const& file, std::vector<std::string> const& extra,
                    std::vector<Finding>& findings);

// The text that stands for a page in a mail program without HTML: tags, scripts and comments away, blocks and
// <br> as line ends, never more than one empty line in a row, addresses of links behind their text,
// references as characters.
CString TextOfHtml(CString const& html);
// The same for a page in UTF-8, with all its characters.
std::string TextOfHtmlInUtf8(std::string_view html);

}  // namespace engine
