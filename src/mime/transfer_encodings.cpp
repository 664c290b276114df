#include "tessaly/mime/transfer_encodings.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "mime/ascii.h"
#include "mime/quoted_printable.h"
#include "platform/base64_decoder.h"
#include "platform/view_of.h"

using enum mime::MailBodyEncoding;

namespace {

using platform::ViewOf;

// Steps over the soft line breaks at `place`.
char const* SkipSoftBreaks(char const* place, char const* end) {
    while (end - place >= 3 && std::memcmp(place, "=\r\n", 3) == 0) place += 3;
    return place;
}

// As if the soft line breaks were removed first: one may even stand between '=' and its digits.
std::size_t DecodeQuotedBody(std::string_view in, char* out) {
    mime::QuotedText text{in.data(), in.data() + in.size(), out};
    for (;;) {
        mime::DecodeQuotedRun(text);
        text.in = SkipSoftBreaks(text.in, text.end);
        if (text.in == text.end) break;
        if (*text.in != '=') continue;
        char const* const high = SkipSoftBreaks(text.in + 1, text.end);
        if (high == text.end) break;
        char const* const low = SkipSoftBreaks(high + 1, text.end);
        if (low == text.end) break;
        *text.out++ = mime::HexByte(*high, *low);
        text.in = low + 1;
    }
    return static_cast<std::size_t>(text.out - out);
}

}  // namespace

namespace mime {

constexpr int body_line = 76;

std::string Base64Body(std::string_view content) {
    std::string text(Base64BodyRoom(content.size(), body_line), '\0');
    base64encoding(reinterpret_cast<unsigned char*>(text.data()),
                   reinterpret_cast<unsigned char const*>(content.data()), static_cast<int>(content.size()),
                   body_line);
    text.pop_back();  // the NUL
    return text;
}

bool FitsBase64Body(std::size_t size) noexcept {
    return Base64BodyRoom(size, body_line) <= std::numeric_limits<int>::max();
}

}  // namespace mime

long normal_base64decoding(char* out, char const* in) {
    std::size_t const written = platform::DecodeBase64(ViewOf(in), out);
    out[written] = '\0';
    return static_cast<long>(written);
}

void base64encoding(unsigned char* out, unsigned char const* in, int len, int lineLen) {
    char* place = reinterpret_cast<char*>(out);
    std::size_t left = in && len > 0 ? static_cast<std::size_t>(len) : 0;
    if (lineLen <= 0) {
        place += platform::Base64Encode(in, left, place);
        *place = '\0';
        return;
    }
    // Whole groups go through a small buffer, since a line may end inside a group.
    constexpr std::size_t block = 3 * 1024;
    char characters[platform::Base64EncodedSize(block)];
    std::size_t const line = static_cast<std::size_t>(lineLen);
    std::size_t column = 0;
    while (left > 0) {
        std::size_t const taken = std::min(left, block);
        std::size_t const count = platform::Base64Encode(in, taken, characters);
        for (std::size_t done = 0; done < count;) {
            std::size_t const piece = std::min(count - done, line - column);
            std::memcpy(place, characters + done, piece);
            place += piece;
            done += piece;
            column += piece;
            if (column < line) continue;
            *place++ = '\r';
            *place++ = '\n';
            column = 0;
        }
        in += taken;
        left -= taken;
    }
    *place = '\0';
}

int base64decoding(char* out, char const* in, int limit) {
    return platform::DecodeBase64Strictly(ViewOf(in), out,
                                          limit > 0 ? static_cast<std::size_t>(limit) - 1 : 0);
}

int GetSizeAfterBase64Decoding(unsigned long& size, char const* in, unsigned long const& len) {
    if (len == 0) {
        size = 0;
        return 1;
    }
    if (len % 4 != 0 || !in) return 0;
    std::size_t const pads = in[len - 1] != '=' ? 0 : in[len - 2] != '=' ? 1 : 2;
    size = len / 4 * 3 - pads;
    return 1;
}

void DecodeMailBody(char const* in, int mode, char const* out, int& outLen) {
    char* const target = const_cast<char*>(out);
    std::string_view const text = ViewOf(in);
    std::size_t length = text.size();
    if (mode == MAIL_BODY_BASE64) {
        length = platform::DecodeBase64Body(text, target);
    } else if (mode == MAIL_BODY_QUOTED_PRINTABLE) {
        length = DecodeQuotedBody(text, target);
    } else {
        std::memcpy(target, text.data(), length);
        target[length] = '\0';
    }
    outLen = static_cast<int>(length);
}

namespace mime {

int BodyEncodingIn(std::string_view value) noexcept {
    if (ContainsNoCase(value, "base64")) return MAIL_BODY_BASE64;
    return ContainsNoCase(value, "quoted-printable") ? MAIL_BODY_QUOTED_PRINTABLE : 0;
}

std::string DecodedBody(char const* body, int mode) {
    std::string decoded(MailBodyRoom(ViewOf(body).size()), '\0');
    int size = 0;
    DecodeMailBody(body, mode, decoded.data(), size);
    decoded.resize(static_cast<std::size_t>(size));
    return decoded;
}

}  // namespace mime

int GetSizeAfterQuotedPrintableDecoding(char const* in, unsigned long& size) {
    std::string_view const text = ViewOf(in);
    std::string_view const tail = text.substr(text.size() - std::min<std::size_t>(text.size(), 2));
    if (tail.find('=') != tail.npos) return 0;
    unsigned long count = 0;
    for (std::size_t place = 0; place < text.size(); ++count) place += text[place] == '=' ? 3 : 1;
    size = count;
    return 1;
}

int QuotedPrintableDecoding(char const* in, char* out) {
    std::string_view const view = ViewOf(in);
    mime::QuotedText text{view.data(), view.data() + view.size(), out};
    return mime::DecodeQuotedPairs(text) ? 1 : 0;
}
