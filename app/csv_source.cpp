#include "csv_source.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "failure.h"

namespace app {
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
        const std::size_t size = platform::CharacterSize(text, at);
        auto const lead = static_cast<unsigned char>(text[at]);
        auto const code = static_cast<std::uint16_t>(
            size == 2 ? lead << 8 | static_cast<unsigned char>(text[at + 1]) : lead);
        if (lead == 0 || (lead >= 0x80 && platform::UnicodeOf(code) == 0)) {
            result.no_form = PlaceOfByte(text.substr(0, at), text.substr(at), size);
            return result;
        }
        at += size;
    }
    return result;
}

}  // namespace

Encoding EncodingOf(std::string const& name) {
    if (name == "auto") return Encoding::automatic;
    if (name == "cp932") return Encoding::cp932;
    if (name == "utf-8") return Encoding::utf8;
    throw Failure("--encoding は auto、cp932、utf-8 のどれかです: " + name, exit_usage);
}

CsvSource::CsvSource(std::string content, Encoding encoding, char delimiter, char quote)
    : content_(std::move(content)), encoding_(encoding), delimiter_(delimiter), quote_(quote) {
    bool const marked = content_.starts_with(byte_order_mark);
    if (encoding_ == Encoding::automatic)
        encoding_ = marked || IsUtf8(content_) ? Encoding::utf8 : Encoding::cp932;
    if (marked && encoding_ == Encoding::utf8) at_ = byte_order_mark.size();
    // Old spreadsheets end their lines with CR alone.
    if (content_.find('\n') == content_.npos) std::replace(content_.begin(), content_.end(), '\r', '\n');
}

// The position of the line end that ends the record which begins at `from`, or of the end of the file. A
// quote opens a quoted field at the start of a field only, and closes it before a delimiter or a line end, as
// the library divides.
std::size_t CsvSource::EndOfRecord(std::size_t from) {
    bool field_start = true, quoted = false;
    std::size_t first_line_end = content_.npos;
    const std::string_view text = content_;
    for (std::size_t at = from; at < text.size();) {
        char const c = text[at];
        const std::size_t size = encoding_ == Encoding::cp932 ? platform::CharacterSize(text, at) : 1;
        if (c == '\n') {
            if (!quoted) return at;
            if (first_line_end == content_.npos) first_line_end = at;
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
        } else if (!quoted && c == quote_ && quote_ != 0 && field_start) {
            quoted = true;
            field_start = false;
        } else if (!quoted) {
            field_start = c == delimiter_;
        }
        at += size;
    }
    return quoted && first_line_end != content_.npos ? Unclosed(first_line_end) : content_.size();
}

std::size_t CsvSource::Unclosed(std::size_t first_line_end) {
    ++unclosed_;
    return first_line_end;
}

bool CsvSource::Next(Record& record) {
    while (at_ < content_.size()) {
        const std::size_t end = EndOfRecord(at_);
        std::string_view raw(content_.data() + at_, end - at_);
        record.line = line_;
        auto const inner = static_cast<std::size_t>(std::count(raw.begin(), raw.end(), '\n'));
        line_ += inner + 1;
        at_ = end + 1;
        while (!raw.empty() && IsLineEnd(raw.back())) raw.remove_suffix(1);
        if (raw.empty()) continue;
        joined_ += inner > 0;
        record.raw = raw;
        return true;
    }
    return false;
}

Crossed CsvSource::ForLibrary(Record const& record) const {
    Crossed crossed = encoding_ == Encoding::utf8 ? IntoLibrary(record.raw) : Checked(record.raw);
    if (crossed.no_form) crossed.no_form->line += record.line - 1;
    for (std::size_t at; (at = crossed.text.find("\r\n")) != std::string::npos;)
        crossed.text.replace(at, 2, " ");
    std::replace_if(crossed.text.begin(), crossed.text.end(), IsLineEnd, ' ');
    return crossed;
}

}  // namespace app
