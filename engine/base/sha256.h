#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace engine {

inline constexpr std::size_t sha256_digits = 64;

// SHA-256 (FIPS 180-4) of bytes that are added piece by piece.
class Sha256 {
  public:
    Sha256();
    ~Sha256();
    Sha256(Sha256 const&) = delete;
    Sha256& operator=(Sha256 const&) = delete;
    void Add(std::string_view bytes);
    // Each ends the digest, and the object starts anew.
    std::array<unsigned char, sha256_digits / 2> Bytes();
    // 64 lower-case hexadecimal digits.
    std::string Digits();

  private:
    struct Context;
    std::unique_ptr<Context> context_;
};

std::string Sha256Of(std::string_view bytes);

}  // namespace engine
