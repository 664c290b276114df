#pragma once

#include <string_view>

#include "tessaly/mime/mime_format_struct.h"

namespace mime {

// The text of an entity without parts, in Shift-JIS.
struct EntityText {
    CString text;
    bool was_jis = false;  // ISO-2022-JP
};
// The body without its transfer encoding, up to the first zero byte. `charset` is that of its Content-Type; a
// text that looks like ISO-2022-JP is taken for that, whatever the charset. Other codes stay unchanged.
EntityText TextOfEntity(MimeFormatStruct const& leaf, std::string_view charset);

}  // namespace mime
