#include "platform/profile.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "platform/file.h"
#include "platform/mutex.h"
#include "platform/view_of.h"
#include "tessaly/platform/mbcs.h"

namespace platform {
namespace {

constexpr std::string_view blanks = " \t\v\f";
constexpr std::string_view line_ends = "\r\n";
constexpr auto npos = std::string_view::npos;

// Blanks and line ends are below 0x40, where no second byte of a character lies.
std::string_view Trimmed(std::string_view text) {
    std::size_t const first = text.find_first_not_of(blanks);
    return first == npos ? text.substr(0, 0) : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view WithoutQuotes(std::string_view value) {
    bool const quoted =
        value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
    return quoted ? value.substr(1, value.size() - 2) : value;
}

// One line of a profile as it stands in the file's content.
struct Line {
    enum Kind { other, section, key };
    Kind kind = other;
    std::string_view whole;  // with its end
    std::string_view name;
    std::string_view value;  // with its quotes
};

Line::Kind Classify(std::string_view text, Line& line) {
    if (text.starts_with('[')) {
        std::size_t const close = Find(text, ']');
        if (close == npos) return Line::other;
        line.name = Trimmed(text.substr(1, close - 1));
        return Line::section;
    }
    std::size_t const equals = text.find('=');
    if (text.starts_with(';') || equals == npos) return Line::other;
    line.name = Trimmed(text.substr(0, equals));
    line.value = Trimmed(text.substr(equals + 1));
    return Line::key;
}

// Takes the line that `rest` begins with. CR LF, LF and CR end one.
Line TakeLine(std::string_view& rest) {
    Line line;
    std::size_t const length = std::min(rest.find_first_of(line_ends), rest.size());
    std::size_t const end_length = rest.substr(length).starts_with("\r\n") ? 2 : length < rest.size() ? 1 : 0;
    line.whole = rest.substr(0, length + end_length);
    line.kind = Classify(Trimmed(rest.substr(0, length)), line);
    rest.remove_prefix(line.whole.size());
    return line;
}

// The value of a key, in the first section of that name; false when it is not there.
bool FindValue(std::string_view content, std::string_view section, std::string_view key,
               std::string_view& value) {
    bool inside = false;
    while (!content.empty()) {
        Line const line = TakeLine(content);
        if (line.kind == Line::section) {
            if (inside) return false;
            inside = EqualNoCase(line.name, section);
        } else if (inside && line.kind == Line::key && EqualNoCase(line.name, key)) {
            value = WithoutQuotes(line.value);
            return true;
        }
    }
    return false;
}

// The same from a file; `value` is a view of `content`.
bool ReadValue(char const* section, char const* key, char const* file, std::string& content,
               std::string_view& value) {
    return section && key && ReadWholeFile(file, content) &&
           FindValue(content, Trimmed(section), Trimmed(key), value);
}

// The base by the prefix of the number, which is removed from `digits`.
int TakeBase(std::string_view& digits) {
    static constexpr struct {
        std::string_view prefix;
        int base;
    } prefixes[] = {{"0x", 16}, {"0o", 8}, {"0b", 2}};
    for (auto const& row : prefixes) {
        if (!digits.starts_with(row.prefix)) continue;
        digits.remove_prefix(row.prefix.size());
        return row.base;
    }
    return 10;
}

int DigitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 16;
}

// A profile number has 32 bits, and one that is larger wraps around.
unsigned NumberAtStart(std::string_view text) {
    bool const negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    int const base = TakeBase(text);
    unsigned number = 0;
    for (std::size_t at = 0; at < text.size() && DigitOf(text[at]) < base; ++at)
        number = number * static_cast<unsigned>(base) + static_cast<unsigned>(DigitOf(text[at]));
    return negative ? 0U - number : number;
}

// Longest start of the text of at most `most` bytes that cuts no character.
std::string_view WholeCharacters(std::string_view text, std::size_t most) {
    if (text.size() <= most) return text;
    std::size_t size = 0;
    while (size + CharacterSize(text, size) <= most) size += CharacterSize(text, size);
    return text.substr(0, size);
}

// false for a name that could not be read back, or would break the lines of the file.
bool IsSectionName(std::string_view name) {
    // With the bracket behind it: a lead byte at the end of the name would take it for its second byte.
    return !name.empty() && name.find_first_of(line_ends) == npos &&
           Find(std::string(name) + ']', ']') == name.size();
}

bool IsKeyName(std::string_view name) {
    return !name.empty() && name.find_first_of("\r\n=") == npos && name[0] != '[' && name[0] != ';';
}

std::string_view LineEndOf(std::string_view content) {
    std::size_t const end = content.find_first_of(line_ends);
    if (end == npos) return "\r\n";
    return content.substr(end, content.substr(end).starts_with("\r\n") ? 2 : 1);
}

// The change to a file: `value` null removes the key, `key` null the section.
struct Change {
    std::string_view section;
    std::string_view const* key;
    std::string_view const* value;
};

// The content with a change made. Everything else is copied byte for byte.
class Rewriter {
  public:
    explicit Rewriter(Change const& change) : change_(change) {}
    std::string Rewrite(std::string_view content) && {
        end_ = LineEndOf(content);
        while (!content.empty()) Pass(TakeLine(content));
        if (Adds() && !found_section_) AddSection();
        if (Adds() && !replaced_) AddKey();
        return std::move(result_);
    }

  private:
    bool Adds() const { return change_.key && change_.value; }
    bool Removes(bool is_key) const { return inside_ && (!change_.key || (is_key && !change_.value)); }

    void Pass(Line const& line) {
        if (line.kind == Line::section) inside_ = Enters(line.name);
        bool const is_key =
            inside_ && change_.key && line.kind == Line::key && EqualNoCase(line.name, *change_.key);
        if (Removes(is_key)) return;
        if (is_key && !replaced_)
            Replace(line);
        else
            result_ += line.whole;
        if (inside_ && line.whole.find_first_not_of(" \t\v\f\r\n") != npos) place_ = result_.size();
    }
    // Only the first section of a name counts. A removal applies to every one, or a second one would become
    // visible.
    bool Enters(std::string_view name) {
        if (!EqualNoCase(name, change_.section) || (Adds() && found_section_)) return false;
        return found_section_ = true;
    }
    void Replace(Line const& line) {
        auto const before = static_cast<std::size_t>(line.value.data() - line.whole.data());
        result_.append(line.whole.substr(0, before)).append(*change_.value);
        result_ += line.whole.substr(before + line.value.size());
        replaced_ = true;
    }
    void EndLastLine() {
        if (!result_.empty() && line_ends.find(result_.back()) == npos) result_ += end_;
        place_ = result_.size();
    }
    void AddSection() {
        EndLastLine();
        result_.append("[").append(change_.section).append("]").append(end_);
        place_ = result_.size();
    }
    void AddKey() {
        if (place_ == result_.size()) EndLastLine();
        std::string line(*change_.key);
        line.append("=").append(*change_.value).append(end_);
        result_.insert(place_, line);
    }

    Change change_;
    std::string_view end_;
    std::string result_;
    std::size_t place_ = 0;  // behind the last line of the section that is not blank: a new key goes there
    bool inside_ = false;
    bool found_section_ = false;
    bool replaced_ = false;
};

}  // namespace

unsigned GetPrivateProfileInt(char const* section, char const* key, int default_value, char const* file) {
    std::string content;
    std::string_view value;
    bool const found = ReadValue(section, key, file, content, value);
    return found ? NumberAtStart(value) : static_cast<unsigned>(default_value);
}

unsigned GetPrivateProfileString(char const* section, char const* key, char const* default_value, char* out,
                                 unsigned size, char const* file) {
    if (!out || size == 0) return 0;
    std::string content;
    std::string_view value;
    if (!ReadValue(section, key, file, content, value)) {
        value = ViewOf(default_value);
        value = value.substr(0, value.find_last_not_of(' ') + 1);
    }
    value = WholeCharacters(value.substr(0, value.find('\0')), size - 1);
    out[value.copy(out, value.size())] = 0;
    return static_cast<unsigned>(value.size());
}

int WritePrivateProfileString(char const* section, char const* key, char const* value, char const* file) {
    std::string_view const section_name = Trimmed(ViewOf(section));
    std::string_view const key_name = Trimmed(ViewOf(key));
    std::string_view const new_value = ViewOf(value);
    if (!IsSectionName(section_name) || (key && !IsKeyName(key_name))) return 0;
    if (new_value.find_first_of(line_ends) != npos) return 0;

    CMutex mutex(false, "TESSALY_PROFILE_MUTEX");
    CSingleLock lock(&mutex);
    std::string content;
    if (!ReadWholeFile(file, content) && Exists(file)) return 0;
    Change const change{section_name, key ? &key_name : nullptr, value ? &new_value : nullptr};
    std::string const changed = Rewriter(change).Rewrite(content);
    return changed == content || WriteWholeFile(file, changed);
}

}  // namespace platform
