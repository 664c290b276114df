// The division of delimited text: its two forms give the same, and what was quoted and joined comes apart
// again. The first byte of the input chooses the delimiters and the quote.

#include "tessaly/storage/split_string.h"

#include <vector>

#include "fuzz_target.h"
#include "import/line_fields.h"

namespace {

struct Style {
    char const* delimiters;
    char quote;
};
constexpr Style styles[] = {{",", '"'}, {"\t", 0}, {",", 0}, {";,", '\''}, {"/", '"'}, {"|", '"'}};

void BothFormsGiveTheSame(std::string const& text, Style style) {
    CArray<CString, CString> fields;
    SplitString(CString(text.c_str()), fields, style.delimiters, style.quote);
    customers::LineFields line(style.delimiters, style.quote);
    line.Divide(text);
    fuzz::Check(line.Count() == fields.GetSize() && line.Count() > 0, "both forms find as many fields");
    std::size_t bytes = static_cast<std::size_t>(line.Count()) - 1;
    for (int i = 0; i < line.Count(); ++i) {
        fuzz::Check(line.At(i) == fields[i].View(), "both forms find the same fields");
        bytes += line.At(i).size();
    }
    fuzz::Check(style.quote ? bytes <= text.size() : bytes == text.size(),
                "fields and delimiters make the text");
}

// Whether the field is of whole characters, none of them one of `forbidden`.
bool IsMadeOfOthers(std::string_view field, std::string_view forbidden) {
    for (std::size_t at = 0; at < field.size(); ++at) {
        auto const first = static_cast<unsigned char>(field[at]);
        bool const lead = (first >= 0x80 && first <= 0x9F) || (first >= 0xE0 && first <= 0xFC);
        if (!lead && forbidden.find(field[at]) != forbidden.npos) return false;
        if (lead && (++at == field.size() || static_cast<unsigned char>(field[at]) < 0x40)) return false;
    }
    return true;
}

std::string Quoted(std::string_view field, char quote) {
    std::string quoted(1, quote);
    for (char const c : field) quoted.append(c == quote ? 2 : 1, c);
    return quoted + quote;
}

// The lines of `text` as fields, in quotes or as they are.
void FieldsComeBack(std::string_view text, Style style, bool quoted) {
    std::vector<std::string_view> fields;
    std::string joined;
    while (!text.empty()) {
        std::string_view const field = fuzz::TakeLine(text);
        if (!IsMadeOfOthers(field, quoted ? "" : style.delimiters)) continue;
        if (!quoted && field.starts_with(style.quote)) continue;
        if (!fields.empty()) joined += style.delimiters[0];
        joined += quoted ? Quoted(field, style.quote) : std::string(field);
        fields.push_back(field);
    }
    if (fields.empty()) return;
    CArray<CString, CString> found;
    SplitString(CString(joined.c_str()), found, style.delimiters, style.quote);
    fuzz::Check(static_cast<std::size_t>(found.GetSize()) == fields.size(), "as many fields come back");
    for (std::size_t i = 0; i < fields.size(); ++i)
        fuzz::Check(found[static_cast<int>(i)].View() == fields[i], "every field comes back");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    if (bytes.empty()) return;
    Style const style = styles[static_cast<unsigned char>(bytes[0]) % std::size(styles)];
    std::string const text = fuzz::TextOf(bytes.substr(1));
    BothFormsGiveTheSame(text, style);
    FieldsComeBack(text, style, false);
    if (style.quote) FieldsComeBack(text, style, true);
}
