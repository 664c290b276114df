#include "engine/base/digest.h"

#include "engine/base/hex_digits.h"
#include "tessaly/storage.h"

namespace engine {

std::string DigestOf(std::string_view text) {
    MD5Context context;
    unsigned char digest[md5_digest_bytes];
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<unsigned char const*>(text.data()),
              static_cast<unsigned>(text.size()));
    MD5Final(digest, &context);
    return HexDigits(digest);
}

}  // namespace engine
