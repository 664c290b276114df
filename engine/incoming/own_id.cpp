#include "engine/incoming/own_id.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <array>
#include <new>
#include <vector>

#include "engine/base/lower_case.h"
#include "engine/base/whole_number.h"

namespace engine {
namespace {

constexpr char mail_mark = 'm';
constexpr std::string_view own_mark = "tessaly-";
// What is signed begins with one of these, by Use, so that a check of one use is none of another.
constexpr std::string_view labels[] = {"message-id\n", "return-path\n", "unsubscribe\n"};

std::string_view LocalPart(std::string_view message_id) { return message_id.substr(0, message_id.find('@')); }

// The first 80 bits in Base32 (RFC 4648 6), in lower case.
std::string Letters(std::array<unsigned char, EVP_MAX_MD_SIZE> const& digest) {
    constexpr std::string_view alphabet = "abcdefghijklmnopqrstuvwxyz234567";
    std::string letters;
    unsigned bits = 0, count = 0;
    for (std::size_t at = 0; letters.size() < IdSigner::check_size;) {
        if (count < 5) {
            bits = bits << 8 | digest[at++];
            count += 8;
        }
        count -= 5;
        letters += alphabet[bits >> count & 31];
    }
    return letters;
}

void Require(bool worked) {
    if (!worked) throw std::bad_alloc();
}

struct ContextCloser {
    void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
};

EVP_MAC* Hmac() {
    static EVP_MAC* const hmac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    return hmac;
}

}  // namespace

std::optional<MailNumbers> NumbersIn(std::string_view message_id) {
    std::vector<std::string_view> parts;
    for (std::string_view rest = LocalPart(message_id);;) {
        std::size_t const dot = rest.find('.');
        parts.push_back(rest.substr(0, dot));
        if (dot == rest.npos) break;
        rest.remove_prefix(dot + 1);
    }
    std::size_t const count = parts.size();
    if (count < 3 || !parts[count - 1].starts_with(own_mark) || !parts[count - 2].starts_with(mail_mark))
        return {};
    MailNumbers const numbers{WholeNumber(parts[count - 2].substr(1)).value_or(-1),
                              WholeNumber(parts[count - 3]).value_or(-1)};
    return numbers.mail >= 0 && numbers.customer >= 0 ? std::optional(numbers) : std::nullopt;
}

bool IsSameId(std::string_view one, std::string_view other) {
    return EqualNoCase(LocalPart(one), LocalPart(other));
}

IdSigner::IdSigner(std::string_view key) {
    if (key.size() != key_size) return;
    char digest[] = "SHA256";
    OSSL_PARAM const parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, sizeof digest - 1),
        OSSL_PARAM_construct_end()};
    keyed_ = std::shared_ptr<EVP_MAC_CTX>(EVP_MAC_CTX_new(Hmac()), ContextCloser());
    Require(keyed_ && EVP_MAC_init(keyed_.get(), reinterpret_cast<unsigned char const*>(key.data()),
                                   key.size(), parameters) == 1);
}

std::string IdSigner::Check(Use use, std::string_view text) const {
    std::unique_ptr<EVP_MAC_CTX, ContextCloser> const context(EVP_MAC_CTX_dup(keyed_.get()));
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    std::size_t size = 0;
    Require(context != nullptr);
    for (std::string_view const part : {labels[static_cast<std::size_t>(use)], text})
        Require(EVP_MAC_update(context.get(), reinterpret_cast<unsigned char const*>(part.data()),
                               part.size()) == 1);
    Require(EVP_MAC_final(context.get(), digest.data(), &size, digest.size()) == 1);
    return Letters(digest);
}

bool IdSigner::IsRight(Use use, std::string_view text, std::string_view check) const {
    if (!keyed_ || check.size() != check_size) return false;
    return CRYPTO_memcmp(Check(use, text).data(), check.data(), check_size) == 0;
}

std::string IdSigner::MessageId(std::string_view local, std::string_view domain) const {
    std::string id(local);
    if (keyed_) (id += '-') += Check(Use::message_id, local);
    return (id += '@') += domain;
}

bool IdSigner::IsGenuine(std::string_view message_id) const {
    std::string const local = LowerCase(LocalPart(message_id));
    std::size_t const dash = local.rfind('-');
    if (dash == local.npos || !NumbersIn(local)) return false;
    return IsRight(Use::message_id, std::string_view(local).substr(0, dash),
                   std::string_view(local).substr(dash + 1));
}

std::string IdSigner::Token(MailNumbers const& numbers, Use use) const {
    if (!keyed_) return {};
    std::string const text =
        mail_mark + std::to_string(numbers.mail) + "-c" + std::to_string(numbers.customer);
    return text + "-" + Check(use, text);
}

bool IdSigner::IsGenuine(OwnToken const& token, Use use) const {
    std::string const text = LowerCase(token.text);
    std::size_t const dash = text.rfind('-');
    return dash != text.npos &&
           IsRight(use, std::string_view(text).substr(0, dash), std::string_view(text).substr(dash + 1));
}

}  // namespace engine
