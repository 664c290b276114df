#include "engine/environment/table_rows.h"

#include <algorithm>
#include <array>

#include "engine/base/whole_number.h"
#include "tessaly/storage.h"

namespace engine {
namespace {

constexpr std::string_view digits = "0123456789";

std::array<char, 256> DecodeTable(char const* key) {
    std::array<unsigned char, 256> coded{}, plain{};
    for (std::size_t i = 0; i + 1 < coded.size(); ++i) coded[i] = static_cast<unsigned char>(i + 1);
    std::string own_key(key ? key : "");
    StringDecode(coded.data(), plain.data(), key ? own_key.data() : nullptr);
    std::array<char, 256> table{};
    for (std::size_t i = 0; i + 1 < coded.size(); ++i) table[i + 1] = static_cast<char>(plain[i]);
    return table;
}

// The end of a cell that begins at `at`, npos for none.
std::size_t EndOfCell(std::string_view text, std::size_t at) {
    if (at < text.size() && text[at] != '"') {
        std::size_t const end = std::min(text.find_first_not_of(digits, at), text.size());
        return end > at ? end : text.npos;
    }
    for (++at; (at = text.find('"', at)) != text.npos; at += 2)
        if (at + 1 >= text.size() || text[at + 1] != '"') return at + 1;
    return text.npos;
}

struct FoundRow {
    std::size_t size = 0;  // 0: none
    std::string_view first_cell;
};

// A row that begins with the text.
FoundRow RowAt(std::string_view text, TableKind const& kind) {
    FoundRow row;
    int cells = 0;
    for (std::size_t at = 0;;) {
        std::size_t const end = EndOfCell(text, at);
        if (end == text.npos) return {};
        if (++cells == 1) row.first_cell = text[0] == '"' ? text.substr(1, end - 2) : text.substr(0, end);
        if (text.substr(end, 2) == "\r\n") {
            row.size = end + 2;
            break;
        }
        if (end >= text.size() || text[end] != ',' || cells > kind.widths.front()) return {};
        at = end + 1;
    }
    bool const has_width = std::find(kind.widths.begin(), kind.widths.end(), cells) != kind.widths.end();
    bool const has_id =
        !row.first_cell.empty() && row.first_cell.find_first_not_of(digits) == row.first_cell.npos;
    bool const has_nul = text.substr(0, row.size).find('\0') != text.npos;
    return has_width && !has_nul && (has_id || !kind.ids) ? row : FoundRow{};
}

// The number that a line begins with, as a row does.
std::optional<std::uint64_t> IdAt(std::string_view line) {
    if (line.empty() || line.front() != '"') return {};
    std::size_t const end = line.find_first_not_of(digits, 1);
    if (end == line.npos || line[end] != '"') return {};
    return WholeNumber<std::uint64_t>(line.substr(1, end - 1));
}

}  // namespace

ReadableRows ScanRows(std::string_view file, char const* key, TableKind const& kind,
                      std::function<void(std::string_view bytes, std::string_view first_cell)> const& row) {
    std::array<char, 256> const table = DecodeTable(key);
    std::string plain(file);
    for (char& c : plain) c = table[static_cast<unsigned char>(c)];
    ReadableRows result;
    bool damaged = false;
    for (std::string_view text = plain; !text.empty();) {
        std::size_t const at = static_cast<std::size_t>(text.data() - plain.data());
        if (FoundRow const found = RowAt(text, kind); found.size > 0) {
            row(file.substr(at, found.size), found.first_cell);
            ++result.rows;
            damaged = false;
            text.remove_prefix(found.size);
            continue;
        }
        if (!damaged) result.places.push_back({result.rows, 0, {}});
        damaged = true;
        ++result.places.back().lines;
        if (auto const id = kind.ids ? IdAt(text) : std::nullopt) result.places.back().ids.push_back(*id);
        text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    }
    return result;
}

std::vector<std::string> CellsIn(std::string_view bytes, char const* key) {
    std::array<char, 256> const table = DecodeTable(key);
    std::string plain(bytes);
    for (char& c : plain) c = table[static_cast<unsigned char>(c)];
    XCsvRead reader;
    reader.SetLine(plain.c_str());
    std::vector<std::string> cells;
    for (int i = 0; i < reader.GetElementsNumber(); ++i) cells.emplace_back(reader.GetData(i));
    return cells;
}

std::string RowOf(std::vector<std::string> const& cells, char const* key) {
    std::string plain;
    for (std::string const& cell : cells) {
        plain += plain.empty() ? "\"" : ",\"";
        for (char const c : cell) plain += c == '"' ? "\"\"" : std::string(1, c);
        plain += '"';
    }
    plain += "\r\n";
    std::string coded(plain.size() + 1, '\0'), own_key(key ? key : "");
    StringEncode(reinterpret_cast<unsigned char*>(plain.data()),
                 reinterpret_cast<unsigned char*>(coded.data()), key ? own_key.data() : nullptr);
    coded.resize(plain.size());
    return coded;
}

}  // namespace engine
