#include "tessaly/compose/html_mail_encoder.h"

#include <string>

#include "compose/html_meta.h"
#include "mime/ascii.h"
#include "mime/boundary.h"
#include "mime/quoted_printable.h"
#include "tessaly/text/kcodec.h"
#include "tessaly/text/strings.h"

namespace {

constexpr auto npos = std::string_view::npos;
constexpr char const* jis = "iso-2022-jp";

CString ToJis(CString const& text) {
    KCodeC code;
    return CString(code.sjtojis7(text, 0));
}

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

CString Part(char const* subtype, char const* charset, char const* encoding, CString const& text) {
    CString part = CString("Content-Type: text/") + subtype + "; charset=" + charset +
                   "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + text;
    if (!part.View().ends_with('\n')) part += "\r\n";
    return part;
}

}  // namespace

void HtmlMailEncoder::InitTexts() {
    for (CString* text : {&plain_, &html_, &type_, &subtype_, &params_, &body_}) text->Empty();
}

int HtmlMailEncoder::Encode(int asciiText, int asciiHtml, int asciiMail) {
    if (plain_.IsEmpty() || html_.IsEmpty()) return 0;
    bool const ascii_allowed = asciiText && asciiHtml && asciiMail;
    CString const text = CrLfConverter(plain_), html = CrLfConverter(html_);
    CString const text_part = ascii_allowed && IsStrAscii(text) ? Part("plain", "us-ascii", "7bit", text)
                                                                : Part("plain", jis, "7bit", ToJis(text));
    CString const html_part =
        ascii_allowed && IsStrAscii(html)
            ? Part("html", "us-ascii", "7bit", compose::WithMetaCharset(html, "US-ASCII"))
            : Part("html", jis, "quoted-printable",
                   HtmlMailBodyQEncode(ToJis(compose::WithMetaCharset(html, jis))));
    // Drawn again if it occurs in either part, where readers would divide.
    CString boundary = MakeBoundary();
    while (text_part.View().find(boundary.View()) != npos || html_part.View().find(boundary.View()) != npos)
        boundary = MakeBoundary();
    CString const delimiter = "--" + boundary;
    body_ = "\r\n" + delimiter + "\r\n" + text_part + delimiter + "\r\n" + html_part + delimiter + "--\r\n";
    type_ = "multipart";
    subtype_ = "alternative";
    params_ = "; boundary=\"" + boundary + "\"";
    return 1;
}

void HtmlMailEncoder::GetContentTypeString(CString& type, CString& subtype, CString& params) const {
    type = type_;
    subtype = subtype_;
    params = params_;
}

CString HtmlMailEncoder::HtmlCrLfInsert(CString html) {
    return StrAfterCrLfInsert(StrAfterCrLfInsert(html, "<BR>"), "</DIV>");
}

CString HtmlMailEncoder::StrAfterCrLfInsert(CString text, char const* tag) {
    std::string_view const view = text.View(), wanted = tag;
    std::string result;
    std::size_t done = 0;
    for (std::size_t at; (at = mime::FindNoCase(view.substr(done), wanted)) != npos;) {
        std::size_t const end = done + at + wanted.size();
        result += view.substr(done, end - done);
        bool const at_line_end = end + 1 < view.size() && IsLineEnd(view[end + 1]);
        if (!at_line_end) result += "\r\n";
        done = end;
    }
    result += view.substr(done);
    return CString(std::string_view(result));
}

CString HtmlMailEncoder::HtmlMailBodyQEncode(CString text) { return mime::QuotedPrintable(text.View()); }

CString HtmlMailEncoder::MakeBoundary() { return mime::NewBoundary("_MULTIPART_", "_ALTERNATIVE_"); }
