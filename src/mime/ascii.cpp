#include "mime/ascii.h"

#include <algorithm>

#include "tessaly/platform/mbcs.h"

namespace mime {

namespace {

constexpr std::string_view blanks = " \t";

bool SameLetter(char a, char b) noexcept { return LowerCase(a) == LowerCase(b); }

}  // namespace

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    platform::Lower(lowered.data(), lowered.size());
    return lowered;
}

bool EqualNoCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), SameLetter);
}

std::size_t FindNoCase(std::string_view text, std::string_view word) noexcept {
    auto const found = std::search(text.begin(), text.end(), word.begin(), word.end(), SameLetter);
    return found == text.end() && !word.empty() ? std::string_view::npos
                                                : static_cast<std::size_t>(found - text.begin());
}

std::size_t FindParameter(std::string_view params, std::string_view name) noexcept {
    for (std::size_t at = 0; at < params.size(); at += platform::WholeCharacterSize(params, at))
        if (EqualNoCase(params.substr(at, name.size()), name)) return at + name.size();
    return std::string_view::npos;
}

std::optional<std::string_view> ParameterIn(std::string_view params, std::string_view name,
                                            ParameterForm const& form) noexcept {
    std::size_t const at = FindParameter(params, name);
    if (at == std::string_view::npos) return {};
    std::string_view value = params.substr(at);
    if (value.starts_with('"')) {
        value.remove_prefix(1);
        std::size_t const close = value.find('"');
        if (close == value.npos && form.needs_closing_quote) return {};
        value = value.substr(0, close);
    } else {
        value = value.substr(0, value.find_first_of(form.ends));
    }
    return form.drops_blanks ? TrimmedRight(value) : value;
}

std::string_view TrimmedLeft(std::string_view text) noexcept {
    return text.substr(std::min(text.find_first_not_of(blanks), text.size()));
}

std::string_view TrimmedRight(std::string_view text) noexcept {
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string Trimmed(std::string&& text) { return std::string(Trimmed(std::string_view(text))); }

}  // namespace mime
