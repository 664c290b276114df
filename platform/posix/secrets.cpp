#include "platform/secrets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <new>

namespace platform {
namespace {

std::string Hex(unsigned char const* bytes, std::size_t count) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) (text += digits[bytes[i] >> 4]) += digits[bytes[i] & 15];
    return text;
}

unsigned char const* Bytes(std::string_view text) {
    return reinterpret_cast<unsigned char const*>(text.data());
}

}  // namespace

void Wipe(CString& secret) {
    int const length = secret.GetLength();
    OPENSSL_cleanse(secret.GetBuffer(length), static_cast<std::size_t>(length));
    secret.ReleaseBuffer(0);
    secret.Empty();
}

void Wipe(std::string& secret) {
    OPENSSL_cleanse(secret.data(), secret.size());
    secret.clear();
}

std::string Base64Of(std::string_view bytes) {
    std::string base64((bytes.size() + 2) / 3 * 4 + 1, '\0');
    base64.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(base64.data()),
                                                           Bytes(bytes), static_cast<int>(bytes.size()))));
    return base64;
}

bool FromBase64(std::string_view base64, std::string& bytes) {
    bytes.assign(base64.size() / 4 * 3 + 3, '\0');
    int const size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), Bytes(base64),
                                     static_cast<int>(base64.size()));
    if (size < 0) return false;
    const std::size_t padding = base64.size() - 1 - std::min(base64.find_last_not_of('='), base64.size() - 1);
    bytes.resize(static_cast<std::size_t>(size) - std::min<std::size_t>(padding, 2));
    return true;
}

std::string Md5Hex(std::string_view text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (!EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr)) throw std::bad_alloc();
    return Hex(digest, size);
}

std::string HmacMd5Hex(std::string_view key, std::string_view text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (!HMAC(EVP_md5(), key.data(), static_cast<int>(key.size()), Bytes(text), text.size(), digest, &size))
        throw std::bad_alloc();
    return Hex(digest, size);
}

}  // namespace platform
