#include "tessaly/platform/mbcs.h"

#include <cstring>

#include "platform/view_of.h"

namespace platform {
namespace {

constexpr std::size_t npos = std::string_view::npos;

// The letters of one case: the first, the last, and the distance to the other case.
struct LetterCase {
    unsigned char ascii_first, ascii_last;
    unsigned char wide_first, wide_last;  // second bytes; the first is 0x82
    signed char ascii_step, wide_step;
};
constexpr unsigned char wide_letter_lead = 0x82;
constexpr LetterCase upper_letters = {'A', 'Z', 0x60, 0x79, 0x20, 0x21};
constexpr LetterCase lower_letters = {'a', 'z', 0x81, 0x9A, -0x20, -0x21};

bool Between(unsigned char c, unsigned char first, unsigned char last) noexcept {
    return c >= first && c <= last;
}

unsigned Folded(unsigned code) noexcept {
    LetterCase const& from = upper_letters;
    if (code >= from.ascii_first && code <= from.ascii_last) return code + from.ascii_step;
    bool const wide = code >> 8 == wide_letter_lead && Between(code & 0xFF, from.wide_first, from.wide_last);
    return wide ? code + from.wide_step : code;
}

unsigned Unchanged(unsigned code) noexcept { return code; }

unsigned CodeAt(std::string_view text, std::size_t position) noexcept {
    auto const first = static_cast<unsigned char>(text[position]);
    if (CharacterSize(text, position) == 1) return first;
    return unsigned{first} << 8 | static_cast<unsigned char>(text[position + 1]);
}

// Equal characters have equal sizes, so one position serves both texts.
template <unsigned (*Value)(unsigned) noexcept>
int CompareCharacters(std::string_view a, std::string_view b) noexcept {
    std::size_t at = 0;
    while (at < a.size() && at < b.size()) {
        if (a[at] == b[at] && static_cast<unsigned char>(a[at]) < 0x80) {
            ++at;
            continue;
        }
        unsigned const left = CodeAt(a, at);
        unsigned const right = CodeAt(b, at);
        if (left != right && Value(left) != Value(right)) return Value(left) < Value(right) ? -1 : 1;
        at += left > 0xFF ? 2 : 1;
    }
    if (at < a.size()) return 1;
    return at < b.size() ? -1 : 0;
}

void ChangeCase(char* text, std::size_t length, LetterCase const& from) noexcept {
    for (std::size_t at = 0; at < length; ++at) {
        auto const c = static_cast<unsigned char>(text[at]);
        if (Between(c, from.ascii_first, from.ascii_last)) {
            text[at] = static_cast<char>(c + from.ascii_step);
        } else if (IsLeadByte(c) && at + 1 < length) {
            auto const second = static_cast<unsigned char>(text[++at]);
            if (c == wide_letter_lead && Between(second, from.wide_first, from.wide_last))
                text[at] = static_cast<char>(second + from.wide_step);
        }
    }
}

// The lead bytes directly in front of `position` form a run; result: the place of its first one, but not
// before `known`, at which a character starts. Behind a byte that is no lead byte a character always starts,
// so the run starts with a character and goes on in pairs: a character starts at `position` if the length of
// the run is even.
std::size_t LeadRun(std::string_view text, std::size_t known, std::size_t position) noexcept {
    while (position > known && IsLeadByte(text[position - 1])) --position;
    return position;
}

// A table cell is searched in less time than it takes to build the table by which memmem is fast in a long
// text.
std::size_t FindBytes(std::string_view text, std::string_view word, std::size_t start) noexcept {
    constexpr std::size_t short_text = 64;
    if (text.size() - start <= short_text) return text.find(word, start);
    void const* hit = memmem(text.data() + start, text.size() - start, word.data(), word.size());
    return hit ? static_cast<std::size_t>(static_cast<char const*>(hit) - text.data()) : npos;
}

}  // namespace

int mbscmp(char const* a, char const* b) noexcept {
    return CompareCharacters<Unchanged>(ViewOf(a), ViewOf(b));
}

int mbsicmp(char const* a, char const* b) noexcept { return CompareCharacters<Folded>(ViewOf(a), ViewOf(b)); }

bool EqualNoCase(std::string_view a, std::string_view b) noexcept {
    return a.size() == b.size() && CompareCharacters<Folded>(a, b) == 0;
}

char const* mbsstr(char const* text, char const* word) noexcept {
    std::size_t const place = Find(ViewOf(text), ViewOf(word));
    if (place == npos) return nullptr;
    return text ? text + place : "";
}

std::size_t Find(std::string_view text, std::string_view word, std::size_t start) noexcept {
    if (start > text.size()) return npos;
    if (word.empty()) return start;
    if (word.size() == 1) return Find(text, word[0], start);
    while (text.size() - start >= word.size()) {
        std::size_t const place = FindBytes(text, word, start);
        if (place == npos) break;
        if ((place - LeadRun(text, start, place)) % 2 == 0) return place;
        start = place + 1;
    }
    return npos;
}

std::size_t Find(std::string_view text, char c, std::size_t start) noexcept {
    while (start < text.size()) {
        void const* hit = std::memchr(text.data() + start, c, text.size() - start);
        if (!hit) break;
        auto const place = static_cast<std::size_t>(static_cast<char const*>(hit) - text.data());
        if ((place - LeadRun(text, start, place)) % 2 == 0) return place;
        start = place + 1;
    }
    return npos;
}

std::size_t ReverseFind(std::string_view text, char c) noexcept {
    std::size_t run = text.size();  // start of the last run of lead bytes that was looked at
    for (std::size_t end = text.size(); end > 0;) {
        void const* hit = memrchr(text.data(), c, end);
        if (!hit) break;
        end = static_cast<std::size_t>(static_cast<char const*>(hit) - text.data());
        if (end < run) run = LeadRun(text, 0, end);
        if ((end - run) % 2 == 0) return end;
    }
    return npos;
}

char* mbslwr(char* text) noexcept {
    if (text) Lower(text, std::strlen(text));
    return text;
}

void Lower(char* text, std::size_t length) noexcept { ChangeCase(text, length, upper_letters); }

void Upper(char* text, std::size_t length) noexcept { ChangeCase(text, length, lower_letters); }

void splitpath(char const* path, CString* drive, CString* directory, CString* name, CString* extension) {
    std::string_view rest = ViewOf(path);
    std::size_t const drive_size = rest.size() >= 2 && rest[1] == ':' && !IsLeadByte(rest[0]) ? 2 : 0;
    std::string_view const drive_part = rest.substr(0, drive_size);
    rest.remove_prefix(drive_size);

    std::size_t name_start = 0;
    for (std::size_t at = 0; at < rest.size(); at += CharacterSize(rest, at))
        if (rest[at] == '\\' || rest[at] == '/') name_start = at + 1;
    std::string_view const file = rest.substr(name_start);
    std::size_t const dot = ReverseFind(file, '.');

    // The path may be the text of one of the four results, so everything is read before anything is written.
    CString parts[] = {CString(drive_part), CString(rest.substr(0, name_start)), CString(file.substr(0, dot)),
                       dot == npos ? CString() : CString(file.substr(dot))};
    CString* const places[] = {drive, directory, name, extension};
    for (int part = 0; part < 4; ++part)
        if (places[part]) places[part]->Swap(parts[part]);
}

}  // namespace platform
