// Base64 and quoted-printable: there and back for any bytes, and any bytes through the decoders.

#include "tessaly/mime/transfer_encodings.h"

#include "fuzz_target.h"
#include "mime/quoted_printable.h"
#include "tessaly/storage/base64_text.h"

using enum mime::MailBodyEncoding;

namespace {

constexpr std::size_t quoted_line_limit = 76;  // RFC 2045 6.7

std::string BodyDecoded(std::string const& in, int mode) {
    fuzz::Allocated const out(new char[mime::MailBodyRoom(in.size())]);
    int size = -1;
    DecodeMailBody(fuzz::ExactText(in), mode, out.get(), size);
    fuzz::Check(size >= 0 && static_cast<std::size_t>(size) <= in.size(), "decoding makes nothing longer");
    return std::string(out.get(), static_cast<std::size_t>(size));
}

std::string Base64Of(std::string_view bytes, int line_length) {
    std::unique_ptr<unsigned char[]> const out(
        new unsigned char[mime::Base64BodyRoom(bytes.size(), line_length)]);
    base64encoding(out.get(), reinterpret_cast<unsigned char const*>(bytes.data()),
                   static_cast<int>(bytes.size()), line_length);
    return reinterpret_cast<char const*>(out.get());
}

void Base64ComesBack(std::string_view bytes) {
    std::string const whole = Base64Of(bytes, -1);
    unsigned long size = 0;
    fuzz::Check(GetSizeAfterBase64Decoding(size, whole.c_str(), whole.size()) == 1 && size == bytes.size(),
                "the size is known before");
    fuzz::Allocated const out(new char[size + 1]);
    int const decoded = base64decoding(out.get(), fuzz::ExactText(whole), static_cast<int>(size) + 1);
    fuzz::Check(decoded == static_cast<int>(size) && std::string_view(out.get(), size) == bytes,
                "the strict decoder gives the bytes back");
    for (int const line_length : {1, 7, 76}) {
        std::string const lines = Base64Of(bytes, line_length);
        fuzz::Check(fuzz::Without(lines, "\r\n") == whole, "line breaks change nothing else");
        fuzz::Check(BodyDecoded(lines, MAIL_BODY_BASE64) == bytes, "the body comes back");
    }
}

void TextComesBack(std::string const& text) {
    std::unique_ptr<char[]> const word(new char[text.size() / 3 * 4 + 13]);
    normal_base64encoding(word.get(), fuzz::ExactText(text));
    std::string const closed = word.get();
    fuzz::Check(closed.ends_with("?="), "the end of an encoded word");
    std::string const open = closed.substr(0, closed.size() - 2);
    std::unique_ptr<char[]> const out(new char[mime::Base64DecodedRoom(open.size())]);
    fuzz::Check(normal_base64decoding(out.get(), fuzz::ExactText(open)) == static_cast<long>(text.size()) &&
                    text == out.get(),
                "the tolerant decoder gives the text back");

    CString const quoted = mime::QuotedPrintable(text);
    fuzz::Check(mime::FromQuotedPrintable(quoted.View()) == text, "quoted-printable comes back");
    fuzz::Check(BodyDecoded(std::string(quoted.View()), MAIL_BODY_QUOTED_PRINTABLE) == text,
                "the quoted-printable body comes back");
    // A lone CR begins a line too.
    std::size_t column = 0;
    for (char const c : quoted.View()) {
        column = c == '\r' || c == '\n' ? 0 : column + 1;
        fuzz::Check(column <= quoted_line_limit, "no line is too long");
    }
}

void AnyBytesAreDecoded(std::string const& in) {
    for (std::size_t const limit : {std::size_t{1}, in.size() / 2 + 1, in.size() + 1}) {
        fuzz::Allocated const out(new char[limit]);
        int const size = base64decoding(out.get(), fuzz::ExactText(in), static_cast<int>(limit));
        fuzz::Check(size >= -1 && size < static_cast<int>(limit), "the limit is kept");
    }
    fuzz::Allocated const out(new char[mime::Base64DecodedRoom(in.size())]);
    long const size = normal_base64decoding(out.get(), fuzz::ExactText(in));
    fuzz::Check(size >= 0 && static_cast<std::size_t>(size) < mime::Base64DecodedRoom(in.size()), "it fits");
    BodyDecoded(in, MAIL_BODY_BASE64);
    fuzz::Check(BodyDecoded(in, 0) == in, "an unknown mode copies");
    mime::FromQuotedPrintable(in);

    unsigned long room = in.size();
    int const known = GetSizeAfterQuotedPrintableDecoding(fuzz::ExactText(in), room);
    fuzz::Allocated const bytes(new char[room]);
    int const whole = QuotedPrintableDecoding(fuzz::ExactText(in), bytes.get());
    fuzz::Check(known == 0 || whole == 1, "a text of known size is decoded");
    if (known == 1 && in.find('=') == in.npos)
        fuzz::Check(std::string_view(bytes.get(), room) == in, "a text without codes stays as it is");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const text = fuzz::TextOf(bytes);
    Base64ComesBack(bytes);
    TextComesBack(text);
    AnyBytesAreDecoded(text);
}
