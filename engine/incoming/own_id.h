#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// What a mail of ours carries so that an answer leads back to it: the Message-ID, and tokens in addresses and
// subjects. Each holds the numbers of the mail and of the customer, and a check value that only this
// environment can make. docs/file-formats.md has their form.
namespace engine {

struct MailNumbers {
    int mail = -1, customer = -1;
    bool operator==(MailNumbers const&) const = default;
};
// Those in a Message-ID of a stored mail. They prove nothing: anybody can write such an ID.
std::optional<MailNumbers> NumbersIn(std::string_view message_id);

// Whether two Message-IDs are the same up to their "@", in any case. What is before it differs from mail to
// mail; the domain may be cut off or rewritten on its way.
bool IsSameId(std::string_view one, std::string_view other);

// Case does not matter for a token, since mail servers change that of addresses.
struct OwnToken {
    std::string text;  // "m3-c5-abcdefghijklmn23"
    MailNumbers numbers;
};

// Makes and tests check values: 16 letters and digits of an HMAC-SHA256 (RFC 2104) over the use and the text.
// Any number of threads may use one object.
class IdSigner {
  public:
    static constexpr std::size_t key_size = 32, check_size = 16;
    enum class Use { message_id, return_path, unsubscribe };

    // Without a key: nothing is signed, and no signature is right.
    IdSigner() = default;
    // `key`: key_size bytes, or none.
    explicit IdSigner(std::string_view key);

    // "<local>-<check>@<domain>"; without a key "<local>@<domain>".
    std::string MessageId(std::string_view local, std::string_view domain) const;
    // Empty without a key.
    std::string Token(MailNumbers const& numbers, Use use) const;
    bool IsGenuine(std::string_view message_id) const;
    bool IsGenuine(OwnToken const& token, Use use) const;

  private:
    using CheckValue = std::array<char, check_size>;
    struct Keyed;
    CheckValue Check(Use use, std::string_view text) const;
    bool IsRight(Use use, std::string_view text, std::string_view check) const;

    std::shared_ptr<Keyed> keyed_;
};

}  // namespace engine
