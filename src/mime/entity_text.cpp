#include "mime/entity_text.h"

#include <string>

#include "mime/ascii.h"
#include "tessaly/mime/transfer_encodings.h"
#include "tessaly/text/kcodec.h"

namespace mime {

EntityText TextOfEntity(MimeFormatStruct const& leaf, std::string_view charset) {
    std::string const bytes =
        DecodedBody(leaf.m_strBody, BodyEncodingIn(leaf.m_strContentTransferEncoding.View()));
    EntityText result{CString(bytes.c_str())};
    KCodeC code;
    result.was_jis =
        EqualNoCase(charset, "iso-2022-jp") ||
        code.CheckCode(reinterpret_cast<unsigned char const*>(static_cast<char const*>(result.text))) ==
            KCodeC::code_jis;
    if (result.was_jis) result.text = CString(code.jis7tosj(result.text));
    return result;
}

}  // namespace mime
