// .eml files from other programs; and subject, text and HTML of any characters written and read again. The
// first line of the input is the subject, the second the text.

#include <algorithm>
#include <string>

#include "fuzz_target.h"
#include "mime/ascii.h"
#include "tessaly/compose/eml_file_decoder.h"
#include "tessaly/compose/eml_file_encoder.h"
#include "tessaly/text/kcodec.h"

namespace {

// Texts that ISO-2022-JP can hold come back whole: such a one is what it is after a conversion there and
// back, and none of its broken characters becomes a line end on the way.
bool CanBeHeld(std::string const& text) {
    KCodeC to, from;
    std::string const jis = to.sjtojis7(text.c_str(), 0);
    return text.find('\x1B') == text.npos && jis.find('\r') == jis.npos &&
           std::count(jis.begin(), jis.end(), '\n') == std::count(text.begin(), text.end(), '\n') &&
           from.jis7tosj(jis.c_str()) == text;
}

// The last line ends belong to the delimiter behind the text.
std::string Core(CString const& text) {
    std::string const core(text.View());
    return core.substr(0, core.find_last_not_of("\r\n") + 1);
}

void ComesBack(std::string const& subject, std::string const& text, std::string const& html) {
    EmlFileEncoder encoder;
    encoder.SetEmlSubject(CString(subject.c_str()));
    encoder.SetEmlPlainTextBody(CString(text.c_str()));
    encoder.SetEmlHtmlTextBody(CString(html.c_str()));
    CString eml;
    if (!encoder.EmlEncode(eml)) return;
    EmlFileDecoder decoder;
    fuzz::Check(decoder.EmlDecode(eml) == 1, "what was written is well-formed");
    if (CanBeHeld(text)) fuzz::Check(decoder.GetPlainText().View() == text, "the text comes back");
    CString const read = decoder.GetHtmlText();
    if (read.IsEmpty()) return;
    encoder.SetEmlHtmlTextBody(read);
    fuzz::Check(encoder.EmlEncode(eml) == 1 && decoder.EmlDecode(eml) == 1, "again");
    // What a meta tag says follows the text around it.
    bool const has_meta = mime::FindNoCase(html, "<meta") != html.npos;
    if (CanBeHeld(html) && !has_meta)
        fuzz::Check(Core(decoder.GetHtmlText()) == Core(read), "a second time nothing is added");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    EmlFileDecoder decoder;
    decoder.EmlDecode(CString(fuzz::TextOf(bytes).c_str()));
    std::string_view rest = bytes;
    std::string const subject = fuzz::TextOf(fuzz::TakeLine(rest)), text = fuzz::TextOf(fuzz::TakeLine(rest));
    ComesBack(subject, text, fuzz::TextOf(rest));
}
