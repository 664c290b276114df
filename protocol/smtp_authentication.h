#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// The three methods of SMTP authentication (RFC 4954): choice of the method, and the answers. This module
// does not talk to a server.
namespace protocol {

enum class AuthMethod { cram_md5, login, plain };

struct AllowedMethods {
    bool cram_md5 = false, login = false, plain = false;
};

// The methods in the order of preference. A further one has its row here and its answer in
// SmtpConversation::Try.
struct AuthMechanism {
    AuthMethod method;
    char const* name;  // as it stands behind AUTH
    bool AllowedMethods::*allowed;
};
inline constexpr std::array<AuthMechanism, 3> auth_mechanisms = {{
    {AuthMethod::cram_md5, "CRAM-MD5", &AllowedMethods::cram_md5},
    {AuthMethod::login, "LOGIN", &AllowedMethods::login},
    {AuthMethod::plain, "PLAIN", &AllowedMethods::plain},
}};

// Texts and their Base64 forms are kept in buffers of 512 bytes, the closing NUL included, on both sides of a
// conversation. A text that does not fit is refused, never cut.
inline constexpr std::size_t auth_buffer_size = 512;
inline constexpr std::size_t longest_challenge = auth_buffer_size - 1;
// The longest text whose base64 form fits: 127 groups of three bytes.
inline constexpr std::size_t longest_answer = (auth_buffer_size - 1) / 4 * 3;

// The name as it stands behind AUTH.
char const* MethodName(AuthMethod method) noexcept;

// Whether the reply to EHLO mentions authentication, in either case.
bool OffersAuthentication(std::string_view ehlo_reply);
// The first method in the order CRAM-MD5, LOGIN, PLAIN that is allowed and whose name stands in the reply, by
// its exact case.
std::optional<AuthMethod> ChooseMethod(std::string_view ehlo_reply, AllowedMethods allowed) noexcept;

// Whether the answers of the method fit.
bool CredentialsFit(AuthMethod method, std::string_view user, std::string_view password) noexcept;
// false when methods are allowed but the credentials fit none of them.
bool CredentialsUsable(AllowedMethods allowed, std::string_view user, std::string_view password) noexcept;

// Decodes a server's base64 text strictly. nullopt when it is damaged or empty.
std::optional<std::string> DecodeChallenge(std::string_view base64);

// RFC 2195: the user, a blank and the HMAC-MD5 of the challenge under the password, in base64.
std::string CramMd5Answer(std::string_view user, std::string_view password, std::string_view challenge);
// RFC 4616: user, user and password with NULs between, in base64. The template writes the NULs as "^", and a
// "^" of the user name or the password becomes a NUL as well. A double-byte character with that second byte
// stays.
std::string PlainAnswer(std::string_view user, std::string_view password);

enum class LoginPrompt { user, password, unknown };
// What a decoded LOGIN prompt asks for, in either case.
LoginPrompt PromptKind(std::string_view prompt);

}  // namespace protocol
