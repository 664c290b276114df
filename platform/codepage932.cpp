#include "tessaly/platform/codepage932.h"

#include <algorithm>

#include "platform/codepage932_tables.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/utf8.h"

namespace platform {
namespace {

// Bytes of input that are converted before they are appended to the result.
constexpr std::size_t step_size = 1024;

// Takes the character at `at` and moves `at` behind it; 0 for one without a Unicode form. A lead byte without
// a valid second byte is skipped alone, so that a damaged text loses only the damaged byte.
std::uint16_t TakeUnit(Codepage932Tables const& tables, std::string_view text, std::size_t& at) noexcept {
    auto const first = static_cast<unsigned char>(text[at++]);
    if (!IsLeadByte(first) || at == text.size() || !IsTrailByte(text[at])) return tables.unicode_of[first];
    auto const second = static_cast<unsigned char>(text[at++]);
    return tables.unicode_of[std::size_t{first} << 8 | second];
}

}  // namespace

Codepage932Tables::Codepage932Tables() noexcept {
    for (std::uint16_t c = 1; c < 0x80; ++c) unicode_of[c] = code_of[c] = c;
    FillCodepage932(*this);
}

Codepage932Tables const& Codepage932() noexcept {
    static Codepage932Tables const tables;
    return tables;
}

std::uint16_t UnicodeOf(std::uint16_t code) noexcept { return Codepage932().unicode_of[code]; }

std::uint16_t Cp932Of(std::uint16_t unit) noexcept { return Codepage932().code_of[unit]; }

std::string Utf8FromCp932(std::string_view text, bool* exact) {
    Codepage932Tables const& tables = Codepage932();
    std::string result;
    result.reserve(text.size() + text.size() / 2);
    bool lossless = true;
    char step[3 * (step_size + 1)];
    for (std::size_t at = 0; at < text.size();) {
        char* out = step;
        for (std::size_t const end = std::min(text.size(), at + step_size); at < end;) {
            if (static_cast<unsigned char>(text[at]) < 0x80) {
                *out++ = text[at++];
                continue;
            }
            std::uint16_t const unit = TakeUnit(tables, text, at);
            lossless &= unit != 0;
            out = PutUtf8(unit ? unit : u'?', out);
        }
        result.append(step, static_cast<std::size_t>(out - step));
    }
    if (exact) *exact = lossless;
    return result;
}

std::string Cp932FromUtf8(std::string_view text, bool* exact) {
    Codepage932Tables const& tables = Codepage932();
    std::string result;
    result.reserve(text.size());
    bool lossless = true;
    char step[step_size + 2];
    for (std::size_t at = 0; at < text.size();) {
        char* out = step;
        for (std::size_t const end = std::min(text.size(), at + step_size); at < end;) {
            if (static_cast<unsigned char>(text[at]) < 0x80) {
                *out++ = text[at++];
                continue;
            }
            char32_t const character = TakeUtf8(text, at);
            std::uint16_t code = character <= 0xFFFF ? tables.code_of[character] : 0;
            lossless &= code != 0;
            if (code == 0) code = '?';
            if (code > 0xFF) *out++ = static_cast<char>(code >> 8);
            *out++ = static_cast<char>(code);
        }
        result.append(step, static_cast<std::size_t>(out - step));
    }
    if (exact) *exact = lossless;
    return result;
}

}  // namespace platform
