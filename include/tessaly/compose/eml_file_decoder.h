#pragma once

#include "tessaly/mime/mime_decode_tool.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The text of an .eml file as subject, plain text and HTML text, all in Shift-JIS. Texts in ISO-2022-JP are
// converted, those in another charset are taken as they are; attachments and pictures are not read. Of
// several plain texts the last one counts, and of several HTML texts. An object is used by one thread at a
// time.
class TESSALY_API EmlFileDecoder : public MimeDecodeTool {
  public:
    EmlFileDecoder() = default;
    ~EmlFileDecoder() override = default;

    // 1; 0, with everything empty, for a text that MimeDecode refuses.
    int EmlDecode(CString text);
    CString GetSubject() const { return subject_; }
    CString GetPlainText() const { return plain_; }
    CString GetHtmlText() const { return html_; }

  private:
    enum class Markup { none, html };

    void DecodeMailSubject();
    void CutDownMailBody();
    bool TakeText(MimeFormatStruct& entity);
    static bool CheckContentTypeRelated_Alternative(CString value);
    static CString DecodeMailBodyEml(MimeFormatStruct const& entity, Markup markup);

    CString plain_, html_, subject_;
    bool plain_found_ = false, html_found_ = false;
    MimeFormatStruct message_;
};
