#include "cli/listing.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/csv_field.h"
#include "engine/base/failure.h"

namespace cli {

using namespace engine;
namespace {

constexpr std::size_t widest_cell = 40;
constexpr std::size_t rows_looked_at = 200;

// The character at `at`, in bytes and in columns on a terminal: two, but one for ASCII and half-width kana.
struct Shape {
    std::size_t bytes, columns;
};
Shape ShapeAt(std::string_view utf8, std::size_t at) {
    std::size_t const begin = at;
    char32_t const character = platform::TakeUtf8(utf8, at);
    bool const narrow = character < 0x80 || (character >= 0xFF61 && character <= 0xFF9F);
    return {at - begin, narrow ? 1U : 2U};
}

std::size_t Width(std::string_view utf8) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < utf8.size();) {
        Shape const shape = ShapeAt(utf8, at);
        width += shape.columns;
        at += shape.bytes;
    }
    return width;
}

// One line of at most `widest_cell` columns, with its width.
std::pair<std::string, std::size_t> Shown(std::string const& cell) {
    std::string text = OnOneLine(cell);
    std::size_t const width = Width(text);
    if (width <= widest_cell) return {std::move(text), width};
    constexpr std::string_view cut = "..";
    std::size_t end = 0, columns = 0;
    for (Shape shape = ShapeAt(text, 0); columns + shape.columns <= widest_cell - cut.size();
         shape = ShapeAt(text, end)) {
        end += shape.bytes;
        columns += shape.columns;
    }
    return {text.substr(0, end).append(cut), columns + cut.size()};
}

std::string JsonText(std::string const& text) {
    std::string result = "\"";
    for (char const c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            result += escape;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

}  // namespace

ListFormat ListFormatOf(std::string const& name) {
    if (name == "table") return ListFormat::table;
    if (name == "csv") return ListFormat::csv;
    if (name == "json") return ListFormat::json;
    throw Failure(Failure::invalid_request, "--format は table、csv、json のどれかです: " + name);
}

Listing::Listing(std::ostream& out, ListFormat format, std::vector<std::string> titles)
    : out_(out), format_(format), titles_(std::move(titles)) {
    if (format_ == ListFormat::json) out_ << "[";
    if (format_ != ListFormat::csv) return;
    for (std::size_t i = 0; i < titles_.size(); ++i) out_ << (i ? "," : "") << CsvField(titles_[i]);
    out_ << "\n";
}

void Listing::Add(std::vector<std::string> cells) {
    if (format_ == ListFormat::table) return AddToTable(std::move(cells));
    if (format_ == ListFormat::csv) {
        for (std::size_t i = 0; i < cells.size(); ++i) out_ << (i ? "," : "") << CsvField(cells[i]);
        out_ << "\n";
        return;
    }
    out_ << (first_ ? "\n  {" : ",\n  {");
    first_ = false;
    for (std::size_t i = 0; i < cells.size(); ++i)
        out_ << (i ? ", " : "") << JsonText(titles_[i]) << ": " << JsonText(cells[i]);
    out_ << "}";
}

void Listing::AddToTable(std::vector<std::string> cells) {
    if (!widths_.empty()) return TableRow(cells);
    waiting_.push_back(std::move(cells));
    if (waiting_.size() == rows_looked_at) BeginTable();
}

void Listing::TableRow(std::vector<std::string> const& cells) const {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        auto const [text, width] = Shown(cells[i]);
        out_ << text;
        if (i + 1 < widths_.size()) out_ << std::string(widths_[i] > width ? widths_[i] - width + 2 : 2, ' ');
    }
    out_ << "\n";
}

void Listing::BeginTable() {
    std::vector<std::size_t> widths;
    for (std::string const& title : titles_) widths.push_back(Width(title));
    for (auto const& row : waiting_)
        for (std::size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], Shown(row[i]).second);
    widths_ = std::move(widths);
    TableRow(titles_);
    for (auto const& row : waiting_) TableRow(row);
    waiting_.clear();
}

void Listing::End() {
    if (format_ == ListFormat::table && widths_.empty()) BeginTable();
    if (format_ == ListFormat::json) out_ << (first_ ? "]\n" : "\n]\n");
}

}  // namespace cli
