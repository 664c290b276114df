// The records of address books and shop exports: against readers that begin each open field anew.

#include <string>
#include <vector>

#include "fuzz_target.h"
#include "import/line_pieces.h"
#include "import/outlook_records.h"

namespace {

using Fields = std::vector<std::string>;

// All fields of a record whose text is complete; false when one is open.
bool PlainFields(std::string const& record, Fields& fields) {
    fields.clear();
    for (std::size_t at = 0; at < record.size();) {
        std::size_t end = at;
        if (record[at] == '"') {
            do end = record.find('"', end + 1);
            while (end != record.npos && end + 1 < record.size() && record[end + 1] != ',');
            if (end == record.npos) return false;
            fields.push_back(record.substr(at + 1, end - at - 1));
            ++end;
        } else {
            end = std::min(record.find(',', at), record.size());
            fields.push_back(record.substr(at, end - at));
        }
        if (end + 1 == record.size()) fields.emplace_back();
        at = end + 1;
    }
    return true;
}

void RecordsAreAsPlainOnes(std::string const& text) {
    customers::LinePieces pieces, plain;
    pieces.Take(text);
    plain.Take(text);
    customers::OutLookRecords records(pieces);
    Fields fields, wanted;
    while (!pieces.AtEnd()) {
        records.Next(fields);
        std::string record;
        bool whole = false;
        while (!whole && !plain.AtEnd()) {
            plain.AddPhysicalLine(record);
            whole = !record.empty() && PlainFields(record, wanted);
        }
        fuzz::Check(pieces.AtEnd() == plain.AtEnd(), "both read as far");
        fuzz::Check(fields.size() <= wanted.size() || !whole, "no field too many");
        if (whole) fuzz::Check(fields == wanted, "the same fields");
    }
}

void LinesLoseNothing(std::string const& text) {
    customers::LinePieces pieces;
    pieces.Take(text);
    std::string line, all;
    while (!pieces.AtEnd()) {
        pieces.ReadCrLfLine(line);
        fuzz::Check(!line.ends_with("\r\n"), "no line end stays");
        all += line;
    }
    fuzz::Check(fuzz::Without(all, "\r\n") == fuzz::Without(text, "\r\n"),
                "every other byte is in some line");
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const text = fuzz::TextOf(bytes);
    if (text.size() > 20000) return;  // the plain reader is quadratic
    RecordsAreAsPlainOnes(text);
    if (text.find("\r\r") == text.npos) LinesLoseNothing(text);
}
