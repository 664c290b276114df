#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tessaly/platform/base64_codec.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The transfer encodings of mail bodies and files: Base64 (RFC 2045 6.8) and quoted-printable (RFC 2045 6.7).
// Whole texts in quoted-printable: mime/quoted_printable.h.
//
// All operations are free of state and run in one pass; any number of threads may use them at once. Buffers
// are the caller's. A function of namespace mime beside each gives the room that it needs for any input,
// hostile bytes included; nothing is written past that. `out` may not overlap `in` unless it is said. A null
// `in` counts as an empty text.

namespace mime {

// Room in bytes, NUL included, for normal_base64decoding of `length` characters.
constexpr std::size_t Base64DecodedRoom(std::size_t length) noexcept {
    return length / 4 * 3 + (length % 4 > 1 ? length % 4 - 1 : 0) + 1;
}

// Room in bytes, NUL included, for base64encoding of `size` bytes with CR LF after every `line_length`
// characters; 0 or less means no line breaks.
constexpr std::size_t Base64BodyRoom(std::size_t size, int line_length) noexcept {
    std::size_t const characters = platform::Base64EncodedSize(size);
    return characters + (line_length > 0 ? characters / static_cast<std::size_t>(line_length) * 2 : 0) + 1;
}

// A whole file as the body of a part (RFC 2045 6.8): lines of 76 characters, a CR LF behind each full one.
// The file must fit: sizes are ints here.
std::string Base64Body(std::string_view content);
bool FitsBase64Body(std::size_t size) noexcept;

// Bytes that AppendQuotedPrintable needs behind `out` at most, so that they can be reserved.
TESSALY_API std::size_t QuotedPrintableRoom(std::string_view text) noexcept;
// Appends `text` in the form of CMailDataStructure::QuotedPrintableEncorder.
TESSALY_API void AppendQuotedPrintable(CString& out, std::string_view text);

// Room in bytes for DecodeMailBody of `length` characters.
constexpr std::size_t MailBodyRoom(std::size_t length) noexcept { return length + 1; }

// Values of `mode` of DecodeMailBody; any other value is a plain copy.
enum MailBodyEncoding { MAIL_BODY_BASE64 = 1, MAIL_BODY_QUOTED_PRINTABLE = 2 };

}  // namespace mime

// Decodes Base64 and accepts any input: a missing end counts as '=', a character outside the alphabet as
// value 0, and a '=' ends the text (in the third or fourth place of a group after one or two bytes). Reads
// the output of normal_base64encoding. `out` needs mime::Base64DecodedRoom(strlen(in)) bytes, ends with a NUL
// and may be `in` itself. Result: bytes written, without the NUL.
TESSALY_API long normal_base64decoding(char* out, char const* in);

// Encodes `len` bytes (a negative number counts as 0) as Base64 with '=' padding and a NUL at the end. With
// `lineLen` above 0, CR LF follows every `lineLen` characters, a last full line included, at any place in a
// group; otherwise (-1) there are no line breaks. `out` needs mime::Base64BodyRoom(len, lineLen) bytes.
TESSALY_API void base64encoding(unsigned char* out, unsigned char const* in, int len, int lineLen);

// Decodes Base64 strictly, for bodies and for the challenges of servers. "+ " in front is skipped. Decoding
// ends at a NUL or a CR in front of a group, or behind a group with '=' in its fourth place. Result: bytes
// written, always below `limit`, or -1: a character outside the alphabet, '=' in the first or second place of
// a group, a text that ends inside a group, or more than `limit` - 1 bytes. At most `limit` - 1 bytes of
// `out` are written in any case, and no NUL. `out` may be `in` itself.
TESSALY_API int base64decoding(char* out, char const* in, int limit);

// The bytes that base64decoding makes of `len` characters. Result: 1 with `size` set (0 for no characters),
// or 0 with `size` untouched if `len` is not a multiple of 4 or `in` is null with a `len` above 0.
TESSALY_API int GetSizeAfterBase64Decoding(unsigned long& size, char const* in, unsigned long const& len);

// Removes a transfer encoding from a body and accepts any input. `mode` MAIL_BODY_BASE64: characters outside
// the alphabet are left out, the rest is read as by normal_base64decoding. MAIL_BODY_QUOTED_PRINTABLE: soft
// line breaks are left out, =XX becomes a byte (a bad digit counts as 0), a '=' with less than two characters
// behind it ends the text. Any other mode: a copy with its NUL. `out` is written in spite of its type; it
// needs mime::MailBodyRoom of the length of `in`. `outLen` becomes the number of bytes, which may include
// zero bytes; in the two decoding modes no NUL follows them.
TESSALY_API void DecodeMailBody(char const* in, int mode, char const* out, int& outLen);

namespace mime {

// The MailBodyEncoding that a Content-Transfer-Encoding contains anywhere, in any case; 0 for any other,
// which DecodeMailBody copies.
TESSALY_API int BodyEncodingIn(std::string_view value) noexcept;
// A body decoded by DecodeMailBody, zero bytes included.
TESSALY_API std::string DecodedBody(char const* body, int mode);

}  // namespace mime

// The bytes that QuotedPrintableDecoding gives. Result: 1 with `size` set, or 0 with `size` untouched if one
// of the last two characters is '='.
TESSALY_API int GetSizeAfterQuotedPrintableDecoding(char const* in, unsigned long& size);

// Turns each =XX into its byte and copies the rest. There are no soft line breaks here: any two characters
// behind '=', CR LF included, are read as digits, and a bad digit counts as 0. `out` receives the bytes of
// GetSizeAfterQuotedPrintableDecoding and no NUL; it may be `in` itself. Result: 1, or 0 at a '=' with less
// than two characters behind it, with everything in front of it written.
TESSALY_API int QuotedPrintableDecoding(char const* in, char* out);
