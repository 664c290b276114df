#include "engine/base/sha256.h"

#include <openssl/evp.h>

#include <new>

#include "engine/base/hex_digits.h"

namespace engine {
namespace {

// Fetched once: looking it up takes longer than a short digest.
EVP_MD const* Algorithm() {
    static EVP_MD const* const algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return algorithm;
}

}  // namespace

struct Sha256::Context {
    EVP_MD_CTX* digest;
};

Sha256::Sha256() : context_(std::make_unique<Context>(EVP_MD_CTX_new())) {
    if (!context_->digest || EVP_DigestInit_ex(context_->digest, Algorithm(), nullptr) != 1)
        throw std::bad_alloc();
}

Sha256::~Sha256() { EVP_MD_CTX_free(context_->digest); }

void Sha256::Add(std::string_view bytes) {
    if (EVP_DigestUpdate(context_->digest, bytes.data(), bytes.size()) != 1) throw std::bad_alloc();
}

std::array<unsigned char, sha256_digits / 2> Sha256::Bytes() {
    std::array<unsigned char, sha256_digits / 2> bytes;
    if (EVP_DigestFinal_ex(context_->digest, bytes.data(), nullptr) != 1 ||
        EVP_DigestInit_ex(context_->digest, Algorithm(), nullptr) != 1)
        throw std::bad_alloc();
    return bytes;
}

std::string Sha256::Digits() { return HexDigits(Bytes()); }

std::string Sha256Of(std::string_view bytes) {
    Sha256 sha;
    sha.Add(bytes);
    return sha.Digits();
}

}  // namespace engine
