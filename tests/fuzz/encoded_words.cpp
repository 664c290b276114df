// Encoded words of header fields: what the encoders make of any text, and what the decoders make of any
// bytes.

#include "tessaly/mime/encoded_words.h"

#include "fuzz_target.h"
#include "shift_jis.h"
#include "tessaly/text/kcodec.h"

using enum mime::EncodedWordMode;

namespace {

constexpr std::string_view fold = "\r\n\t";

std::string Encoded(std::string const& jis) {
    char* out = nullptr;
    fuzz::Check(MIMEBase64EncodeForJIS(&out, fuzz::ExactText(jis)) == 1, "a value is encoded");
    return fuzz::Allocated(out).get();
}

std::string Decoded(std::string const& in) {
    fuzz::Allocated const out(new char[mime::DecodedWordsRoom(in.size())]);
    MIMEbase64decoding(out.get(), fuzz::ExactText(in));
    return out.get();
}

std::string DecodedByMode(std::string const& in, int mode) {
    char* out = nullptr;
    MIMEDecodeVersion2(&out, fuzz::ExactText(in), mode);
    return fuzz::Allocated(out).get();
}

void LinesAreShort(std::string const& header) {
    std::string_view rest = header;
    while (!rest.empty()) {
        std::string_view const line = fuzz::TakeLine(rest);
        std::size_t const size = line.size() - line.ends_with('\r');
        fuzz::Check(size <= mime::header_line_limit || line.find("=?iso-2022-jp?B?") == line.npos,
                    "no line with a word is too long");
    }
}

void AnyJisIsEncoded(std::string const& jis) {
    std::string const header = Encoded(jis);
    if (jis.find("=?") == jis.npos) LinesAreShort(header);
    fuzz::Check(jis.find('\x1B') != jis.npos || header == jis, "ASCII stays as it is");
    fuzz::Allocated const out(new char[mime::JisWordsRoom(jis.size())]);
    base64encoding(out.get(), fuzz::ExactText(jis));
}

void WholeCharactersComeBack(std::string const& text) {
    if (text.find("=?") != text.npos) return;  // would be read as a word
    std::string const header = Encoded(KCodeC().sjtojis7(text.c_str(), 0));
    LinesAreShort(header);
    fuzz::Check(fuzz::Without(Decoded(header), fold) == text, "the header value comes back");
    std::string const name = static_cast<char const*>(EncodeFileName(text.c_str()));
    fuzz::Check(fuzz::Without(Decoded(name), fold) == text, "the file name comes back");
    for (char const c : header + name) fuzz::Check((c & 0x80) == 0, "a header is ASCII");
}

void AnyBytesAreDecoded(std::string const& in) {
    std::string const jis = Decoded(in);
    fuzz::Check(jis.size() <= in.size(), "decoding makes nothing longer");
    fuzz::Check(DecodedByMode(in, ENCODED_WORD_JIS) == jis, "both decoders give the same");
    fuzz::Check(DecodedByMode(in, 0) == in, "an unknown mode copies");
    for (int const mode : {ENCODED_WORD_SHIFT_JIS, ENCODED_WORD_UTF8})
        fuzz::Check(DecodedByMode(in, mode).size() <= in.size(), "decoding makes nothing longer");
    CString parameter;
    fuzz::Check(DecodeMimeHeaderParam(CString(in.c_str()), parameter) == 1, "the result is always 1");
    fuzz::Check(static_cast<std::size_t>(parameter.GetLength()) <= in.size(),
                "decoding makes nothing longer");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const text = fuzz::TextOf(bytes);
    AnyBytesAreDecoded(text);
    AnyJisIsEncoded(text);
    WholeCharactersComeBack(fuzz::WholeCharacters(bytes));
}
