#include "tessaly/text/strings.h"

#include <cstring>

#include "platform/view_of.h"
#include "tessaly/platform/mbcs.h"
#include "text/byte_runs.h"
#include "text/scratch_text.h"

namespace {

using text::Byte;
using text::ByteRange;

using platform::ViewOf;

// Bytes of the character at the start of a text that is not empty, 0 when there is none.
int WholeCharacter(ByteRange in) noexcept {
    Byte const c = *in.at;
    if (c < 0x80 || text::IsHalfKana(c)) return 1;
    bool const lead = (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xEF);
    return lead && in.Holds(2) && platform::IsTrailByte(in.at[1]) ? 2 : 0;
}

constexpr bool IsLineEnd(char c) noexcept { return c == '\r' || c == '\n'; }

// Bytes of the line end at `at`: 2 for CR LF and LF CR.
std::size_t LineEndSize(std::string_view text, std::size_t at) noexcept {
    bool const two = at + 1 < text.size() && IsLineEnd(text[at + 1]) && text[at + 1] != text[at];
    return two ? 2 : 1;
}

bool IsAsciiAlphanumeric(Byte c) noexcept {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

}  // namespace

int CheckCharInString(char c, char const* set) {
    return ViewOf(set).find(c) != std::string_view::npos ? 1 : 0;
}

char* xcstristr(char const* text, char const* word) {
    std::string_view const text_bytes = ViewOf(text);
    std::string_view const word_bytes = ViewOf(word);
    if (word_bytes.size() > text_bytes.size()) return nullptr;
    text::ScratchText lower_text(text_bytes.size() + 1);
    text::ScratchText lower_word(word_bytes.size() + 1);
    text_bytes.copy(lower_text.Data(), text_bytes.size());
    word_bytes.copy(lower_word.Data(), word_bytes.size());
    platform::Lower(lower_text.Data(), text_bytes.size());
    platform::Lower(lower_word.Data(), word_bytes.size());
    std::size_t const place =
        platform::Find({lower_text.Data(), text_bytes.size()}, {lower_word.Data(), word_bytes.size()});
    return place == std::string_view::npos ? nullptr : const_cast<char*>(text) + place;
}

void* xcmemmem(void const* data, unsigned int size, void const* pattern, unsigned int patternSize) {
    auto* const bytes = static_cast<char*>(const_cast<void*>(data));
    if (patternSize == 0) return bytes;
    if (patternSize > size) return nullptr;
    std::string_view const wanted(static_cast<char const*>(pattern), patternSize);
    std::size_t const place = std::string_view(bytes, size).find(wanted);
    return place == std::string_view::npos ? nullptr : bytes + place;
}

char* strncpy_mb(char* out, char const* text, unsigned int limit) {
    char* at = out;
    for (ByteRange in(text); !in.Empty();) {
        int const size = WholeCharacter(in);
        if (size == 0 || static_cast<unsigned>(size) > limit) break;
        limit -= static_cast<unsigned>(size);
        for (int i = 0; i < size; ++i) *at++ = static_cast<char>(*in.at++);
    }
    *at = '\0';
    return out;
}

CString CrLfConverter(CString text) {
    std::string_view const from = text.View();
    std::size_t line_ends = 0;
    std::size_t line_end_bytes = 0;
    for (std::size_t at = 0; at < from.size(); ++at) {
        if (!IsLineEnd(from[at])) continue;
        std::size_t const size = LineEndSize(from, at);
        ++line_ends;
        line_end_bytes += size;
        at += size - 1;
    }
    if (line_ends == 0) return text;

    CString result;
    char* out = result.GetBuffer(static_cast<int>(from.size() - line_end_bytes + 2 * line_ends));
    char* const start = out;
    for (std::size_t at = 0; at < from.size();) {
        if (!IsLineEnd(from[at])) {
            *out++ = from[at++];
            continue;
        }
        *out++ = '\r';
        *out++ = '\n';
        at += LineEndSize(from, at);
    }
    result.ReleaseBuffer(static_cast<int>(out - start));
    return result;
}

CString text::OnOneLine(CString const& text) {
    CString line = CrLfConverter(text);
    line.Replace("\r\n", " ");
    return line;
}

int IsStrAscii(char const* text) { return text::IsAscii(ViewOf(text)) ? 1 : 0; }

void DeleteBlankAndBreakLine(char const* text, char* out) {
    for (ByteRange in(text); !in.Empty(); ++in.at) {
        Byte const c = *in.at;
        if (c == ' ' || c == '\t') continue;
        if (c == '\r' && in.Holds(2) && in.at[1] == '\n')
            ++in.at;
        else
            *out++ = static_cast<char>(c);
    }
    *out = '\0';
}

CString ViolationRemoveForDomain(CString text) {
    CString result;
    char* const start = result.GetBuffer(text.GetLength());
    char* out = start;
    for (ByteRange in(text.View()); !in.Empty(); ++in.at) {
        Byte const c = *in.at;
        if ((c == 0x80 || platform::IsLeadByte(c)) && in.Holds(2))
            ++in.at;
        else if (IsAsciiAlphanumeric(c))
            *out++ = static_cast<char>(c);
    }
    result.ReleaseBuffer(static_cast<int>(out - start));
    return result;
}
