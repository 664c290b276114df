#include "protocol/smtp_authentication.h"

#include <algorithm>

#include "platform/base64_decoder.h"
#include "tessaly/platform/base64_codec.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/md5.h"

namespace protocol {

namespace {

constexpr char nul_mark = '^';

std::string AsciiLower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string WithNuls(std::string_view marked) {
    std::string text(marked);
    for (std::size_t at = 0; at < text.size(); at += platform::CharacterSize(text, at))
        if (text[at] == nul_mark) text[at] = '\0';
    return text;
}

}  // namespace

char const* MethodName(AuthMethod method) noexcept {
    auto const row = std::find_if(auth_mechanisms.begin(), auth_mechanisms.end(),
                                  [=](AuthMechanism const& m) { return m.method == method; });
    return row->name;
}

bool OffersAuthentication(std::string_view ehlo_reply) {
    return AsciiLower(ehlo_reply).find("auth") != std::string::npos;
}

std::optional<AuthMethod> ChooseMethod(std::string_view ehlo_reply, AllowedMethods allowed) noexcept {
    for (AuthMechanism const& row : auth_mechanisms)
        if (allowed.*row.allowed && ehlo_reply.find(row.name) != std::string_view::npos) return row.method;
    return std::nullopt;
}

bool CredentialsFit(AuthMethod method, std::string_view user, std::string_view password) noexcept {
    switch (method) {
        case AuthMethod::cram_md5: return user.size() + 1 + md5_hex_digits <= longest_answer;
        case AuthMethod::login: return std::max(user.size(), password.size()) <= longest_answer;
        case AuthMethod::plain: return 2 * user.size() + password.size() + 2 <= longest_answer;
    }
    return false;
}

bool CredentialsUsable(AllowedMethods allowed, std::string_view user, std::string_view password) noexcept {
    bool any_allowed = false;
    for (AuthMechanism const& row : auth_mechanisms) {
        if (!(allowed.*row.allowed)) continue;
        if (CredentialsFit(row.method, user, password)) return true;
        any_allowed = true;
    }
    return !any_allowed;
}

std::optional<std::string> DecodeChallenge(std::string_view base64) {
    std::string decoded(base64.size(), '\0');
    int const length = platform::DecodeBase64Strictly(base64, decoded.data(), decoded.size());
    if (length <= 0) return std::nullopt;
    decoded.resize(static_cast<std::size_t>(length));
    return decoded;
}

std::string CramMd5Answer(std::string_view user, std::string_view password, std::string_view challenge) {
    return platform::Base64Of(std::string(user) + ' ' + platform::HmacMd5Hex(password, challenge));
}

std::string PlainAnswer(std::string_view user, std::string_view password) {
    std::string const user_text = WithNuls(user);
    return platform::Base64Of(user_text + '\0' + user_text + '\0' + WithNuls(password));
}

LoginPrompt PromptKind(std::string_view prompt) {
    std::string const lower = AsciiLower(prompt);
    if (lower.find("username") != std::string::npos) return LoginPrompt::user;
    if (lower.find("password") != std::string::npos) return LoginPrompt::password;
    return LoginPrompt::unknown;
}

}  // namespace protocol
