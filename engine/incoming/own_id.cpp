#include "engine/incoming/own_id.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <array>
#include <mutex>
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

void Require(bool worked) {
    if (!worked) throw std::bad_alloc();
}

EVP_MAC* Hmac() {
    static EVP_MAC* const hmac = EVP_MAC_fetch(nullptr, "HMAC", nullptr);
    return hmac;
}

}  // namespace

// Begun anew with the same key for each text, which takes half the time of a copy.
struct IdSigner::Keyed {
    Keyed() : context(EVP_MAC_CTX_new(Hmac())) {}
    ~Keyed() { EVP_MAC_CTX_free(context); }
    Keyed(Keyed const&) = delete;
    Keyed& operator=(Keyed const&) = delete;

    EVP_MAC_CTX* context;
    std::mutex in_use{};
};

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
    keyed_ = std::make_shared<Keyed>();
    Require(keyed_->context &&
            EVP_MAC_init(keyed_->context, reinterpret_cast<unsigned char const*>(key.data()), key.size(),
                         parameters) == 1);
}

// The first 80 bits in Base32 (RFC 4648 6), in lower case.
IdSigner::CheckValue IdSigner::Check(Use use, std::string_view text) const {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    std::size_t size = 0;
    {
        std::lock_guard guard(keyed_->in_use);
        EVP_MAC_CTX* const context = keyed_->context;
        Require(EVP_MAC_init(context, nullptr, 0, nullptr) == 1);
        for (std::string_view const part : {labels[static_cast<std::size_t>(use)], text})
            Require(EVP_MAC_update(context, reinterpret_cast<unsigned char const*>(part.data()),
                                   part.size()) == 1);
        Require(EVP_MAC_final(context, digest.data(), &size, digest.size()) == 1);
    }
    constexpr std::string_view alphabet = "abcdefghijklmnopqrstuvwxyz234567";
    CheckValue check{};
    unsigned bits = 0, count = 0;
    auto byte = digest.begin();
    for (char& letter : check) {
        if (count < 5) {
            bits = bits << 8 | *byte++;
            count += 8;
        }
        count -= 5;
        letter = alphabet[bits >> count & 31];
    }
    return check;
}

bool IdSigner::IsRight(Use use, std::string_view text, std::string_view check) const {
    if (!keyed_ || check.size() != check_size) return false;
    return CRYPTO_memcmp(Check(use, text).data(), check.data(), check_size) == 0;
}

std::string IdSigner::MessageId(std::string_view local, std::string_view domain) const {
    std::string id;
    id.reserve(local.size() + check_size + domain.size() + 2);
    id += local;
    if (keyed_) {
        CheckValue const check = Check(Use::message_id, local);
        (id += '-').append(check.begin(), check.end());
    }
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
    std::string token = mail_mark + std::to_string(numbers.mail) + "-c" + std::to_string(numbers.customer);
    CheckValue const check = Check(use, token);
    return (token += '-').append(check.begin(), check.end());
}

bool IdSigner::IsGenuine(OwnToken const& token, Use use) const {
    std::string const text = LowerCase(token.text);
    std::size_t const dash = text.rfind('-');
    return dash != text.npos &&
           IsRight(use, std::string_view(text).substr(0, dash), std::string_view(text).substr(dash + 1));
}

}  // namespace engine
