#include "engine/base/digest.h"

#include "tessaly/storage.h"

namespace engine {

std::string DigestOf(std::string const& text) {
    MD5Context context;
    unsigned char digest[md5_digest_bytes];
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<unsigned char const*>(text.data()),
              static_cast<unsigned>(text.size()));
    MD5Final(digest, &context);
    std::string digits;
    for (unsigned const byte : digest) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

}  // namespace engine
