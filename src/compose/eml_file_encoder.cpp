#include "tessaly/compose/eml_file_encoder.h"

#include <string>

#include "tessaly/mime/encoded_words.h"
#include "tessaly/text/kcodec.h"
#include "tessaly/text/strings.h"

void EmlFileEncoder::EmlInit() {
    InitTexts();
    subject_.Empty();
}

int EmlFileEncoder::EmlEncode(CString& out) {
    constexpr int ascii_allowed = 1;
    KCodeC code;
    CString const jis(code.sjtojis7(text::OnOneLine(subject_), 0));
    std::string subject(mime::JisWordsRoom(static_cast<std::size_t>(jis.GetLength())), '\0');
    base64encoding(subject.data(), jis);
    if (!Encode(ascii_allowed, ascii_allowed, ascii_allowed)) return 0;
    CString type, subtype, params;
    GetContentTypeString(type, subtype, params);
    out = "Subject: " + CString(subject.c_str()) + "\r\nContent-Type: " + type + "/" + subtype + params +
          "\r\n\r\n" + GetMailBodyString();
    return 1;
}
