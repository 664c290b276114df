#pragma once

#include <cstddef>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Encoded words of header fields (RFC 2047), mostly in ISO-2022-JP, which is called JIS below. The encoders
// take text that the kanji converters of text/ have already turned into JIS; the decoders give Shift-JIS
// (code page 932).
//
// All operations are free of state and linear in time; any number of threads may use them at once. The caller
// frees what an operation allocates with delete[]. A null `in` counts as an empty text unless it is said
// otherwise.

namespace mime {

// Most characters of a header line that MIMEBase64EncodeForJIS makes, the TAB in front counted.
constexpr std::size_t header_line_limit = 70;

// Room in bytes, NUL included, for base64encoding of any JIS text of `length` bytes.
constexpr std::size_t JisWordsRoom(std::size_t length) noexcept { return 6 * length + 8; }

// Room in bytes, NUL included, for MIMEbase64decoding of `length` characters.
constexpr std::size_t DecodedWordsRoom(std::size_t length) noexcept { return length + 1; }

// Which charset MIMEDecodeVersion2 decodes.
enum EncodedWordMode { ENCODED_WORD_JIS = 1, ENCODED_WORD_SHIFT_JIS = 2, ENCODED_WORD_UTF8 = 3 };

}  // namespace mime

// Encodes a header value in JIS as encoded words, folded by CR LF TAB. ASCII stays as it is and is never
// broken; each run of other characters becomes one word or several. No line is longer than 70 characters
// unless an ASCII run alone is; no character is divided, and each word starts with the escape into its
// character set and ends with the one back to ASCII, so that it can be decoded by itself.
//
// The line that is measured begins at the start of the value or at its last fold, CR LF TAB (or LF TAB) in
// the value itself included; a TAB inside ASCII text is one more character of its line. ESC ( I (half-width
// kana) is carried like a double-byte set, alone or mixed with one in a run: words divide at any of its
// characters. A run ends at ESC ( B, ESC ( J or ESC ( @, none of which is passed on, or at the end of the
// value. The first half of a character with no second half is dropped; any other escape ends a run and stays
// as it is.
//
// `*out` must be null on entry and receives a new text; the caller frees it with delete[]. Result: 1, or 0
// with nothing done if `out` or `in` is null or `*out` is not.
TESSALY_API int MIMEBase64EncodeForJIS(char** out, char const* in);

// Encodes a text that sjtojis7_for_header has cut into short JIS runs: one word for each run, CR LF TAB
// between them. ASCII is copied. For file names and the subject of .eml files. A run that ends with the text
// is closed as it stands; an escape that is cut off by the end of the text is copied. `out` needs
// mime::JisWordsRoom(strlen(in)) bytes.
TESSALY_API void base64encoding(char* out, char const* in);

// A file name in Shift-JIS as header text: ASCII stays as it is (any length), anything else becomes encoded
// words of about 30 columns each. Null gives the empty text.
TESSALY_API CString EncodeFileName(char const* name);

// Decodes the JIS words of a header value into Shift-JIS. Text outside of words is kept, line ends and blanks
// between two words included; a word with another encoding than B or Q, or without its end, is kept with all
// that follows. In Q words '_' stays as it is, a bad digit counts as 0 and a '=' with less than two
// characters behind it ends the word. `out` needs mime::DecodedWordsRoom(strlen(in)) bytes.
TESSALY_API void MIMEbase64decoding(char* out, char const* in);

// The same with a new text in `*out` (what it held before is not freed). A null `out` does nothing.
TESSALY_API void MIMEBase64DecodeForJIS(char** out, char const* in);

// The same for the words of one charset (EncodedWordMode): "iso-2022-jp", "shift_jis" or "utf-8", tagged
// without regard to case. Any other mode finds no words and gives a copy.
TESSALY_API void MIMEDecodeVersion2(char** out, char const* in, int mode);

// Decodes a header parameter of any known charset into Shift-JIS: by the first of "iso-2022-jp", "shift_jis"
// and "utf-8" that is named in it, or, with none of them, as plain JIS, EUC-JP or Shift-JIS, whichever its
// bytes look like. Shift-JIS is recognised in both spellings that mailers write, "shift_jis" and "shift-jis";
// words of either are decoded. Result: always 1.
TESSALY_API int DecodeMimeHeaderParam(CString const& in, CString& out);
