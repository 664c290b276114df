#include "engine/customers/csv_source.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "engine/base/failure.h"

namespace engine {
namespace {

// A quoted field that goes on for longer than this was never closed: the record then ends with its first
// line.
constexpr std::size_t longest_joined_record = 64 * 1024;
// In a file with this many of them the quotes mean something else, and none is followed over a line end.
constexpr std::size_t most_unclosed = 1000;

bool IsLineEnd(char c) { return c == '\r' || c == '\n'; }

NoForm PlaceOfByte(std::string_view before, std::string_view at, std::size_t size) {
    NoForm place{1, 1, {}};
    for (std::size_t i = 0; i < before.size(); i += platform::CharacterSize(before, i)) {
        ++place.column;
        if (before[i] == '\n') {
            ++place.line;
            place.column = 1;
        }
    }
    for (std::size_t i = 0; i < size; ++i) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(at[i])));
        place.character += hex;
    }
    return place;
}

// Text that is in code page 932 already: only what is no character is found.
Crossed Checked(std::string_view text) {
    Crossed result{std::string(text), {}};
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const size = text[at] == 0 ? 0 : CharacterAt(text, at);
        if (size == 0) {
            result.no_form =
                PlaceOfByte(text.substr(0, at), text.substr(at), platform::CharacterSize(text, at));
            return result;
        }
        at += size;
    }
    return result;
}

}  // namespace

CsvSource::CsvSource(std::string text, Encoding encoding, char delimiter, char quote)
    : text_(std::move(text)), encoding_(encoding), delimiter_(delimiter), quote_(quote) {
    // Old spreadsheets end their lines with CR alone.
    if (text_.find('\n') == text_.npos) std::replace(text_.begin(), text_.end(), '\r', '\n');
}

// The position of the line end that ends the record which begins at `from`, or of the end of the file. A
// quote opens a quoted field at the start of a field only, and closes it before a delimiter or a line end, as
// the library divides. A quote on a later line that neither closes nor is doubled is the start of another
// field: then the first one was never closed.
CsvSource::End CsvSource::EndOfRecord(std::size_t from) {
    bool field_start = true, quoted = false;
    std::size_t first_line_end = text_.npos;
    std::string_view const text = text_;
    for (std::size_t at = from; at < text.size();) {
        char const c = text[at];
        std::size_t const size =
            encoding_ == Encoding::cp932 ? std::max<std::size_t>(CharacterAt(text, at), 1) : 1;
        if (c == '\n') {
            if (!quoted) return {at, false};
            if (first_line_end == text_.npos) first_line_end = at;
            if (at - from > longest_joined_record || unclosed_ > most_unclosed)
                return Unclosed(first_line_end);
        } else if (size == 2) {
            field_start = false;
        } else if (quoted && c == quote_) {
            char const next = at + 1 < text.size() ? text[at + 1] : '\n';
            if (next == quote_)
                ++at;
            else if (next == delimiter_ || IsLineEnd(next))
                quoted = false;
            else if (first_line_end != text_.npos)
                return Unclosed(first_line_end);
        } else if (!quoted && c == quote_ && quote_ != 0 && field_start) {
            quoted = true;
            field_start = false;
        } else if (!quoted) {
            field_start = c == delimiter_;
        }
        at += size;
    }
    return quoted ? Unclosed(std::min(first_line_end, text_.size())) : End{text_.size(), false};
}

CsvSource::End CsvSource::Unclosed(std::size_t first_line_end) {
    ++unclosed_;
    return {first_line_end, true};
}

bool CsvSource::Next(Record& record) {
    while (at_ < text_.size()) {
        auto const [end, unclosed] = EndOfRecord(at_);
        std::string_view raw(text_.data() + at_, end - at_);
        record.line = line_;
        record.more_lines = static_cast<std::size_t>(std::count(raw.begin(), raw.end(), '\n'));
        record.unclosed = unclosed;
        line_ += record.more_lines + 1;
        at_ = end + 1;
        while (!raw.empty() && IsLineEnd(raw.back())) raw.remove_suffix(1);
        if (raw.empty()) continue;
        record.raw = raw;
        return true;
    }
    return false;
}

void CsvSource::Restart() {
    at_ = unclosed_ = 0;
    line_ = 1;
}

Crossed CsvSource::ForLibrary(Record const& record) const {
    Crossed crossed = encoding_ == Encoding::utf8 ? IntoLibrary(record.raw) : Checked(record.raw);
    if (crossed.no_form) crossed.no_form->line += record.line - 1;
    std::string& text = crossed.text;
    std::size_t kept = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, 2, "\r\n") == 0) continue;
        text[kept++] = IsLineEnd(text[at]) ? ' ' : text[at];
    }
    text.resize(kept);
    return crossed;
}

}  // namespace engine
