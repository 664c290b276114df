#pragma once

#include <string_view>

#include "tessaly/mime/mime_format_struct.h"

namespace mime {

// The text of an entity without parts, in Shift-JIS.
struct EntityText {
    CString text;
    bool was_jis = false;  // ISO-2022-JP
};
// Without its transfer encoding, up to the first zero byte. `charset` is what its Content-Type tells; a text
// that looks like ISO-2022-JP is taken for that, whatever it tells. Other codes stay as they are.
EntityText TextOfEntity(MimeFormatStruct const& leaf, std::string_view charset);

}  // namespace mime
