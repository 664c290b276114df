#include "engine/mails/mail_pictures.h"

#include "engine/base/lower_case.h"
#include "engine/base/trimmed.h"
#include "engine/mails/html_tokens.h"
#include "engine/mails/received_text.h"

namespace engine {
namespace {

constexpr std::string_view scheme = "cid:";

// With the scheme in lower case and references resolved.
std::string Plain(std::string_view address) {
    constexpr std::string_view ampersand = "&amp;";
    std::string plain(Trimmed(address));
    if (LowerCase(plain.substr(0, scheme.size())) == scheme) plain.replace(0, scheme.size(), scheme);
    for (std::size_t at = 0; (at = plain.find(ampersand, at)) != plain.npos; ++at)
        plain.erase(at + 1, ampersand.size() - 1);
    return plain;
}

}  // namespace

void MailPictures::Add(std::string_view content_id, std::string_view location, std::string const& address) {
    std::string_view const id = Trimmed(content_id, " \t\r\n<>");
    if (!id.empty()) addresses_.try_emplace(std::string(scheme).append(id), address);
    if (!location.empty()) addresses_.try_emplace(Plain(location), address);
}

std::string const* MailPictures::Find(std::string_view address) const {
    std::string const plain = Plain(address);
    auto found = addresses_.find(plain);
    if (found == addresses_.end()) found = addresses_.find(PercentDecoded(plain));
    return found == addresses_.end() ? nullptr : &found->second;
}

}  // namespace engine
