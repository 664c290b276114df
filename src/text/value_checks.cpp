#include "tessaly/text/value_checks.h"

#include <string_view>

#include "platform/view_of.h"
#include "tessaly/text/date_data.h"

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t most_digits = 9;  // so that every number fits 32 bits

using platform::ViewOf;

constexpr bool Between(char c, char first, char last) noexcept { return c >= first && c <= last; }
constexpr bool IsDigit(char c) noexcept { return Between(c, '0', '9'); }
constexpr bool IsAlphanumeric(char c) noexcept {
    return IsDigit(c) || Between(c, 'A', 'Z') || Between(c, 'a', 'z');
}

template <class Condition>
bool EveryByte(std::string_view text, Condition condition) noexcept {
    for (char c : text)
        if (!condition(c)) return false;
    return true;
}

bool IsAddressByte(char c) noexcept {
    return Between(c, '#', '\'') || Between(c, '-', '9') || Between(c, '?', 'Z') || Between(c, '^', '}') ||
           std::string_view("!*+=~").find(c) != npos;
}

bool IsDomain(std::string_view domain) noexcept {
    if (domain.find('.') == npos || domain.front() == '.' || domain.back() == '.') return false;
    if (domain.find("..") != npos) return false;
    return EveryByte(domain, [](char c) { return IsAlphanumeric(c) || c == '-' || c == '.'; });
}

}  // namespace

int MailAddressChecker(char const* address) {
    std::string_view const text = ViewOf(address);
    std::size_t const at_sign = text.find('@');
    if (at_sign == npos || at_sign == 0) return 0;
    return IsDomain(text.substr(at_sign + 1)) && EveryByte(text, IsAddressByte) ? 1 : 0;
}

int CheckNumberData(char const* text) {
    std::string_view number = ViewOf(text);
    if (number.size() > 1 && (number[0] == '+' || number[0] == '-')) number.remove_prefix(1);
    return number.size() <= most_digits && EveryByte(number, IsDigit) ? 1 : 0;
}

int CheckDateTypeData(char const* text, int parts) {
    return ReFormat_DateData(text, nullptr, 0) >= parts ? 1 : 0;
}

int CheckSpecialStringData(char const* text, char const* allowed) {
    std::string_view const set = ViewOf(allowed);
    return EveryByte(ViewOf(text), [set](char c) { return set.find(c) != npos; }) ? 1 : 0;
}
