#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// A plain and an HTML text, both Shift-JIS, as one multipart/alternative (RFC 2046 5.1.4): the text in
// ISO-2022-JP, 7bit; the HTML in ISO-2022-JP, quoted-printable; either in US-ASCII, 7bit, where that is
// allowed and enough. An object is used by one thread at a time.
class TESSALY_API HtmlMailEncoder {
  public:
    HtmlMailEncoder() = default;

    void SetPlainText(CString text) { plain_ = text; }
    // Stored with a CR LF behind each <BR> and </DIV>, unless the second byte behind the tag is a CR or LF.
    void SetHtmlText(CString html) { html_ = HtmlCrLfInsert(html); }
    // Makes the body. US-ASCII is allowed only if all three arguments are non-zero. 1; 0 if the plain or the
    // HTML text is empty.
    int Encode(int asciiText, int asciiHtml, int asciiMail);
    CString GetMailBodyString() const { return body_; }
    // "multipart", "alternative", and "; boundary=..." with the boundary in quotes.
    void GetContentTypeString(CString& type, CString& subtype, CString& params) const;

  protected:
    void InitTexts();
    static CString HtmlCrLfInsert(CString html);
    static CString StrAfterCrLfInsert(CString text, char const* tag);
    static CString HtmlMailBodyQEncode(CString text);
    static CString MakeBoundary();

  private:
    CString plain_, html_;
    CString type_, subtype_, params_;
    CString body_;
};
