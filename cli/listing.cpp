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

// Columns on a terminal: bytes in code page 932, since its double-byte characters are two columns wide.
std::size_t Width(std::string const& utf8) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < utf8.size(); ++at) {
        auto const c = static_cast<unsigned char>(utf8[at]);
        if (c < 0x80) ++width;
        if (c >= 0xC0) width += 2;
    }
    return width;
}

// One line of at most `widest_cell` columns, with its width.
std::pair<std::string, std::size_t> Shown(CString const& cell) {
    const std::string text = OnOneLine(cell.View());
    const std::string_view view = text;
    if (view.size() <= widest_cell) return {Out(view), view.size()};
    std::size_t end = 0;
    while (end + platform::CharacterSize(view, end) <= widest_cell - 2)
        end += platform::CharacterSize(view, end);
    return {Out(view.substr(0, end)) + "..", end + 2};
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

void Listing::Add(std::vector<CString> cells) {
    if (format_ != ListFormat::table) return Flush(cells);
    rows_.push_back(std::move(cells));
}

void Listing::Flush(std::vector<CString> const& cells) {
    if (format_ == ListFormat::csv) {
        for (std::size_t i = 0; i < cells.size(); ++i) out_ << (i ? "," : "") << CsvField(Out(cells[i]));
        out_ << "\n";
        return;
    }
    out_ << (first_ ? "\n  {" : ",\n  {");
    first_ = false;
    for (std::size_t i = 0; i < cells.size(); ++i)
        out_ << (i ? ", " : "") << JsonText(titles_[i]) << ": " << JsonText(Out(cells[i]));
    out_ << "}";
}

void Listing::Table() {
    std::vector<std::size_t> widths;
    for (std::string const& title : titles_) widths.push_back(Width(title));
    for (std::size_t row = 0; row < std::min(rows_.size(), rows_looked_at); ++row)
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], Shown(rows_[row][i]).second);
    auto const pad = [&](std::size_t i, std::size_t width) {
        return i + 1 == widths.size() ? std::string()
                                      : std::string(widths[i] > width ? widths[i] - width + 2 : 2, ' ');
    };
    for (std::size_t i = 0; i < titles_.size(); ++i) out_ << titles_[i] << pad(i, Width(titles_[i]));
    out_ << "\n";
    for (auto const& row : rows_) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            auto const [text, width] = Shown(row[i]);
            out_ << text << pad(i, width);
        }
        out_ << "\n";
    }
}

void Listing::End() {
    if (format_ == ListFormat::table) Table();
    if (format_ == ListFormat::json) out_ << (first_ ? "]\n" : "\n]\n");
}

}  // namespace cli
