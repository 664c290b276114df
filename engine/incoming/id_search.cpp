#include "engine/incoming/id_search.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <unordered_set>

#include "engine/base/lower_case.h"
#include "engine/base/whole_number.h"

namespace engine {
namespace {

constexpr std::string_view own_mark = "tessaly-";
// The local part is "<time>.<counter>.<customer>.m<mail>.tessaly-<random>-<check>".
constexpr std::size_t time_size = 17, counter_size = 5, random_size = 8, number_size = 10;
constexpr std::size_t longest_domain = 255;

enum class Kind : unsigned char {
    other,   // no ID goes on across it
    letter,  // can be part of an ID
    blank,   // can stand within one: blanks, line ends, quote marks; NUL in UTF-16
    escape,  // may stand for another
};

constexpr std::array<Kind, 256> MakeKinds() {
    std::array<Kind, 256> kinds{};
    for (std::string_view const letters :
         {"0123456789.-@", "abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"})
        for (char const letter : letters) kinds[static_cast<unsigned char>(letter)] = Kind::letter;
    for (char const blank : std::string_view(" \t\r\n>|\0", 7))
        kinds[static_cast<unsigned char>(blank)] = Kind::blank;
    for (char const escape : std::string_view("=%&<"))
        kinds[static_cast<unsigned char>(escape)] = Kind::escape;
    return kinds;
}
constexpr std::array<Kind, 256> kinds = MakeKinds();

Kind KindOf(char letter) { return kinds[static_cast<unsigned char>(letter)]; }
bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }
bool IsHex(char letter) { return IsDigit(letter) || (letter >= 'a' && letter <= 'f'); }
bool IsOfCheck(char letter) { return (letter >= 'a' && letter <= 'z') || (letter >= '2' && letter <= '7'); }

// A text letter by letter, in lower case and without its encodings.
class LetterReader {
  public:
    static constexpr char other = ' ';
    enum class Blanks { skipped, other };

    explicit LetterReader(std::string_view text) : text_(text) {}
    bool AtEnd() const { return at_ >= text_.size(); }
    // `other` for what no ID holds, and at the end.
    char Next(Blanks blanks = Blanks::skipped) {
        while (!AtEnd()) {
            char const here = text_[at_];
            switch (KindOf(here)) {
                case Kind::letter: ++at_; return LowerCase(here);
                case Kind::other: ++at_; return other;
                case Kind::escape:
                    if (char const letter = Escaped(here); letter != nothing) return letter;
                    break;
                case Kind::blank:
                    ++at_;
                    if (blanks == Blanks::other && here != '\0') return other;
            }
        }
        return other;
    }

  private:
    static constexpr char nothing = '\0';  // what was skipped

    char Escaped(char sign) {
        std::string_view const rest = text_.substr(at_ + 1, longest_escape);
        if (sign == '&') return Reference(rest);
        if (sign == '<') return Tag(rest);
        if (std::size_t const size = SoftBreak(rest); sign == '=' && size > 0) return Skip(1 + size);
        auto const code = rest.size() < 2 ? std::nullopt : WholeNumber<unsigned>(rest.substr(0, 2), 16);
        return code && !IsTime(rest) ? Letter(*code, 3) : Other();
    }
    // A sign and digits are an encoded letter, unless the digits are the time at the start of an ID.
    static bool IsTime(std::string_view rest) {
        auto const end = std::find_if_not(rest.begin(), rest.end(), IsDigit);
        return static_cast<std::size_t>(end - rest.begin()) == time_size;
    }
    // The blanks and the line end behind the "=" (RFC 2045 6.7 (3)); 0 for anything else.
    static std::size_t SoftBreak(std::string_view rest) {
        std::size_t const end = rest.find_first_not_of(" \t");
        if (end == rest.npos || (rest[end] != '\r' && rest[end] != '\n')) return 0;
        return rest.substr(end).starts_with("\r\n") ? end + 2 : end + 1;
    }
    // HTML 13.5: the names of the letters that an ID can hold, and of what can stand within it.
    char Reference(std::string_view rest) {
        struct Name {
            std::string_view name;
            unsigned code;
        };
        constexpr Name names[] = {{"period", '.'}, {"commat", '@'}, {"hyphen", '-'}, {"dash", '-'},
                                  {"gt", '>'},     {"nbsp", ' '},   {"shy", ' '}};
        std::size_t const end = rest.find(';');
        if (end == rest.npos) return Other();
        std::string_view name = rest.substr(0, end);
        std::optional<unsigned> code;
        if (name.starts_with("#x") || name.starts_with("#X"))
            code = WholeNumber<unsigned>(name.substr(2), 16);
        else if (name.starts_with('#'))
            code = WholeNumber<unsigned>(name.substr(1));
        else if (auto const* const found = std::find_if(std::begin(names), std::end(names),
                                                        [&](Name const& one) { return one.name == name; });
                 found != std::end(names))
            code = found->code;
        return code ? Letter(*code, end + 2) : Other();
    }
    // A break in a line of HTML.
    char Tag(std::string_view rest) {
        for (std::string_view const tag : {"br>", "wbr>", "br/>", "br />", "wbr/>", "BR>", "WBR>"})
            if (rest.starts_with(tag)) return Skip(tag.size() + 1);
        return Other();
    }

    char Letter(unsigned code, std::size_t size) {
        constexpr unsigned zero_width_space = 0x200B, soft_hyphen = 0xAD, no_break_space = 0xA0;
        char const letter = code < 0x80 ? static_cast<char>(code) : ' ';
        bool const blank = code < 0x80
                               ? KindOf(letter) == Kind::blank
                               : code == zero_width_space || code == soft_hyphen || code == no_break_space;
        if (blank) return Skip(size);
        if (KindOf(letter) != Kind::letter) return Other();
        at_ += size;
        return LowerCase(letter);
    }
    char Skip(std::size_t size) {
        at_ += size;
        return nothing;
    }
    char Other() {
        ++at_;
        return other;
    }

    static constexpr std::size_t longest_escape = 20;
    std::string_view text_;
    std::size_t at_ = 0;
};

// The last letters before a place, as many as stand before the mark of an ID.
class LetterWindow {
  public:
    void Add(char letter) { letters_[count_++ % letters_.size()] = letter; }
    void Clear() { count_ = 0; }
    // The whole-number part of an ID that ends with the last letter, "<time>.<counter>.<customer>.m<mail>.";
    // empty for none. An ID without time and counter begins with its customer.
    std::string StartOfId(MailNumbers& numbers) const {
        std::string const text = Text();
        std::string_view rest = text;
        if (!TakeLast(rest, '.')) return {};
        auto const mail = WholeNumber(TakeDigits(rest, number_size));
        if (!mail || !TakeLast(rest, 'm') || !TakeLast(rest, '.')) return {};
        auto const customer = WholeNumber(TakeDigits(rest, number_size));
        if (!customer) return {};
        numbers = {*mail, *customer};
        std::size_t start = rest.size();
        if (TakeLast(rest, '.') && TakeDigits(rest, counter_size).size() == counter_size &&
            TakeLast(rest, '.') && TakeDigits(rest, time_size).size() == time_size)
            start = rest.size();
        return text.substr(start);
    }

  private:
    std::string Text() const {
        std::size_t const size = std::min<std::size_t>(count_, letters_.size());
        std::string text;
        for (std::size_t i = count_ - size; i < count_; ++i) text += letters_[i % letters_.size()];
        text.resize(text.size() - std::min(own_mark.size(), text.size()));
        return text;
    }
    static bool TakeLast(std::string_view& text, char letter) {
        if (!text.ends_with(letter)) return false;
        text.remove_suffix(1);
        return true;
    }
    static std::string_view TakeDigits(std::string_view& text, std::size_t most) {
        std::size_t count = 0;
        while (count < most && count < text.size() && IsDigit(text[text.size() - 1 - count])) ++count;
        std::string_view const digits = text.substr(text.size() - count);
        text.remove_suffix(count);
        return digits;
    }

    std::array<char, 64> letters_{};
    std::size_t count_ = 0;
};

// Moves the reader behind the letters for which `is` holds, at most `most`, and gives them.
template <class Is>
std::string TakeWhile(LetterReader& reader, std::size_t most, Is const& is,
                      LetterReader::Blanks blanks = LetterReader::Blanks::skipped) {
    std::string taken;
    for (LetterReader ahead = reader; taken.size() < most;) {
        char const letter = ahead.Next(blanks);
        if (!is(letter)) break;
        taken += letter;
        reader = ahead;
    }
    return taken;
}
bool Take(LetterReader& reader, char wanted) {
    return !TakeWhile(reader, 1, [&](char letter) { return letter == wanted; }).empty();
}

// What follows the mark: "<random>-<check>@<domain>", or "<random>@<domain>" of an earlier version. Empty for
// anything else. The reader is then behind the local part.
std::string EndOfId(LetterReader& reader) {
    LetterReader ahead = reader;
    std::string end = TakeWhile(ahead, random_size, IsHex);
    if (end.empty()) return {};
    LetterReader behind_random = ahead;
    if (Take(ahead, '-')) {
        std::string const check = TakeWhile(ahead, IdSigner::check_size, IsOfCheck);
        if (check.size() != IdSigner::check_size) return {};
        (end += '-') += check;
        behind_random = ahead;
    }
    bool const signed_id = end.size() > random_size;
    if (!Take(ahead, '@')) {
        if (!signed_id) return {};
        reader = behind_random;
        return end;
    }
    reader = ahead;
    auto const is_of_domain = [](char letter) { return letter != LetterReader::other && letter != '@'; };
    std::string domain = TakeWhile(ahead, longest_domain, is_of_domain, LetterReader::Blanks::other);
    while (domain.ends_with('.') || domain.ends_with('-')) domain.pop_back();
    if (!domain.empty()) (end += '@') += domain;
    return end;
}

std::size_t DigitsFrom(std::string_view text, std::size_t begin) {
    std::size_t end = begin;
    while (end < text.size() && end - begin <= number_size && IsDigit(text[end])) ++end;
    return end;
}

}  // namespace

std::vector<OwnId> FindOwnIds(std::string_view text) {
    std::vector<OwnId> found;
    std::unordered_set<std::string> known;
    LetterReader reader(text);
    LetterWindow window;
    std::size_t matched = 0;  // of the mark; its first letter stands in it once
    while (!reader.AtEnd() && found.size() < most_found) {
        char const letter = reader.Next();
        if (letter == LetterReader::other) {
            window.Clear();
            matched = 0;
            continue;
        }
        window.Add(letter);
        matched = letter == own_mark[matched] ? matched + 1 : letter == own_mark[0] ? 1 : 0;
        if (matched < own_mark.size()) continue;
        matched = 0;
        MailNumbers numbers;
        std::string const start = window.StartOfId(numbers);
        window.Clear();
        if (start.empty()) continue;
        std::string const end = EndOfId(reader);
        if (end.empty()) continue;
        std::string id = start + std::string(own_mark) + end;
        if (known.insert(id.substr(0, id.find('@'))).second) found.push_back({std::move(id), numbers});
    }
    return found;
}

std::vector<OwnToken> FindTokens(std::string_view text) {
    std::vector<OwnToken> found;
    for (std::size_t dash = text.find('-'); dash != text.npos && found.size() < most_found;
         dash = text.find('-', dash + 1)) {
        if (dash + 1 >= text.size() || LowerCase(text[dash + 1]) != 'c') continue;
        std::size_t begin = dash;
        while (begin > 0 && dash - begin <= number_size && IsDigit(text[begin - 1])) --begin;
        if (begin == 0 || LowerCase(text[begin - 1]) != 'm') continue;
        std::size_t const end = DigitsFrom(text, dash + 2);
        auto const mail = WholeNumber(text.substr(begin, dash - begin)),
                   customer = WholeNumber(text.substr(dash + 2, end - dash - 2));
        if (!mail || !customer || end >= text.size() || text[end] != '-') continue;
        std::string_view const check = text.substr(end + 1, IdSigner::check_size);
        bool const whole =
            check.size() == IdSigner::check_size &&
            std::all_of(check.begin(), check.end(), [](char letter) { return IsOfCheck(LowerCase(letter)); });
        if (whole)
            found.push_back({std::string(text.substr(begin - 1, end + 1 + IdSigner::check_size - begin + 1)),
                             {*mail, *customer}});
    }
    return found;
}

}  // namespace engine
