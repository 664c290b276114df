#include "engine/base/sha256.h"

#include <openssl/evp.h>

#include <new>

namespace engine {

struct Sha256::Context {
    EVP_MD_CTX* digest;
};

Sha256::Sha256() : context_(std::make_unique<Context>(EVP_MD_CTX_new())) {
    if (!context_->digest || EVP_DigestInit_ex(context_->digest, EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
}

Sha256::~Sha256() { EVP_MD_CTX_free(context_->digest); }

void Sha256::Add(std::string_view bytes) {
    if (EVP_DigestUpdate(context_->digest, bytes.data(), bytes.size()) != 1) throw std::bad_alloc();
}

std::string Sha256::Digits() {
    unsigned char bytes[sha256_digits / 2];
    if (EVP_DigestFinal_ex(context_->digest, bytes, nullptr) != 1 ||
        EVP_DigestInit_ex(context_->digest, EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
    std::string digits;
    for (unsigned const byte : bytes) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

std::string Sha256Of(std::string_view bytes) {
    Sha256 sha;
    sha.Add(bytes);
    return sha.Digits();
}

}  // namespace engine
