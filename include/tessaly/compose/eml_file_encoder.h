#pragma once

#include "tessaly/compose/html_mail_encoder.h"

// An HTML mail as the text of an .eml file, which other mail programs show and edit: subject, plain text and
// HTML text, without sender, recipient and date.
class TESSALY_API EmlFileEncoder : public HtmlMailEncoder {
  public:
    EmlFileEncoder() = default;

    // Empties subject and texts.
    void EmlInit();
    // All three in Shift-JIS; the subject is one line.
    void SetEmlSubject(CString subject) { subject_ = subject; }
    void SetEmlPlainTextBody(CString text) { SetPlainText(text); }
    void SetEmlHtmlTextBody(CString html) { SetHtmlText(html); }
    // 1; 0, with `out` as it was, if the plain or the HTML text is empty.
    int EmlEncode(CString& out);

  private:
    CString subject_;
};
