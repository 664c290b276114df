#pragma once

#include <string_view>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Tests that report half-width kana, machine-dependent characters and broken characters in a Shift-JIS text,
// and the normalising of texts for mails. A null text counts as empty. All functions use their arguments only
// and may be called from any thread.

// One row of a replacement table; the table ends with a row whose `from` is null.
struct CodeConvertStruct {
    char const* from;
    char const* to;
};

// `out` is `text` with half-width kana made full-width, then with every `from` of the table replaced by its
// `to`, row after row. A null table replaces nothing.
TESSALY_API void xc_format_string4mail(CString text, CString& out, CodeConvertStruct* table);

// 1 when the text is clean one-line Shift-JIS, half-width kana and user-defined characters allowed, else 0.
// `out`, unless null, holds strlen(text) + 1 bytes and becomes a copy of the text in which the first byte of
// each forbidden character is NUL: read as a string, it ends before the first one.
TESSALY_API int CheckCharacterCodeForWinSJIS(char const* text, char* out);

// 1 when the text may stand in a mail, else 0. The flags are set to 1, and to 0 when the text holds
// half-width kana; machine-dependent characters (NEC special characters, user-defined characters); bytes
// that make no character. Control bytes pass.
TESSALY_API int CheckMailBodyCharacterCode(char const* text, int& noHalfKana, int& noMachineChar,
                                           int& noBrokenChar);
// The same, and `found` is the list of the forbidden characters in the order of the text, one entry for each
// occurrence. A broken double-byte character is listed with both its bytes.
TESSALY_API int CheckMailBodyCharacterCode(char const* text, int& noHalfKana, int& noMachineChar,
                                           int& noBrokenChar, CStringArray& found);

namespace text {

// Whether a text holds only printable ASCII and double-byte characters outside the row of special characters.
// Such a text passes the check above, and holds no half-width kana and no line end. A quick test, true for
// most texts.
bool IsPlainMailText(std::string_view text) noexcept;

}  // namespace text
