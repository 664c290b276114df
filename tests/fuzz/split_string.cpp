// The division of delimited text: its two forms give the same, and what was quoted and joined comes apart
// again. The first byte of the input chooses the delimiters and the quote.

#include "storage/split_string.h"

#include "customers/import/line_fields.h"
#include "fuzz_target.h"

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

// Whether no character is open at the end, or has a quote or delimiter for its second byte.
bool IsWhole(std::string_view field) {
    for (std::size_t at = 0; at < field.size(); ++at) {
        auto const first = static_cast<unsigned char>(field[at]);
        bool const lead = (first >= 0x80 && first <= 0x9F) || (first >= 0xE0 && first <= 0xFC);
        if (lead && (++at == field.size() || static_cast<unsigned char>(field[at]) < 0x40)) return false;
    }
    return true;
}

void QuotedFieldsComeBack(std::string const& text, Style style) {
    std::vector<std::string> fields;
    std::string joined;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view field = fuzz::TakeLine(rest);
        if (!IsWhole(field)) continue;
        if (!fields.empty()) joined += style.delimiters[0];
        joined += style.quote;
        for (char const c : field) joined.append(c == style.quote ? 2 : 1, c);
        joined += style.quote;
        fields.emplace_back(field);
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
    const Style style = styles[static_cast<unsigned char>(bytes[0]) % std::size(styles)];
    const std::string text = fuzz::TextOf(bytes.substr(1));
    BothFormsGiveTheSame(text, style);
    if (style.quote) QuotedFieldsComeBack(text, style);
}
