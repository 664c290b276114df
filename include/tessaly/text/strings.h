#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Searching, copying and cleaning of multi-byte text. A null text counts as empty. All functions use their
// arguments only and may be called from any thread.

// 1 when the byte `c` is in `set`, compared byte by byte. The NUL is in no set.
TESSALY_API int CheckCharInString(char c, char const* set);

// First place of `word` in `text` without regard to the case of ASCII and full-width Latin letters,
// beginning at a whole character: a pointer into `text`, or null. An empty `word` gives `text`.
TESSALY_API char* xcstristr(char const* text, char const* word);

// First place of the bytes of `pattern` in `data` (sizes in bytes). `data` for an empty pattern; null when
// there is none.
TESSALY_API void* xcmemmem(void const* data, unsigned int size, void const* pattern,
                           unsigned int patternSize);

// Copies whole characters, `limit` bytes at most, and a NUL; `out` holds `limit` + 1 bytes. The copy stops
// before a character that does not fit, and before a byte that is no part of one (lead bytes here are
// 0x81-0x9F and 0xE0-0xEF). Returns `out`.
TESSALY_API char* strncpy_mb(char* out, char const* text, unsigned int limit);

// Turns every CR LF, LF CR, lone CR and lone LF into CR LF.
TESSALY_API CString CrLfConverter(CString text);

namespace text {

// Turns each line end into a blank: for header fields, where a line end would begin another field.
CString OnOneLine(CString const& text);

}  // namespace text

// 1 when all bytes are below 0x80.
TESSALY_API int IsStrAscii(char const* text);

// Copies without blanks, tabs and CR LF pairs. `out` holds strlen(text) + 1 bytes and may be `text`.
TESSALY_API void DeleteBlankAndBreakLine(char const* text, char* out);

// The ASCII letters and digits of the text. Double-byte characters are removed whole (lead bytes here are
// 0x80-0x9F and 0xE0-0xFC).
TESSALY_API CString ViolationRemoveForDomain(CString text);
