#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The rules that divide a record of the table format, or a line of a CSV file, into fields.
namespace storage {

// Place of a field in the text that was divided.
struct Field {
    std::uint32_t start;
    std::uint32_t length;
};
using FieldList = std::vector<Field>;

// A longer record counts as malformed.
inline constexpr std::size_t max_record_bytes = std::size_t{256} << 20;

// Divides the record text[0, size) in place: afterwards each field stands in plain form with a NUL behind it.
// text[size] must exist and may be written; no NUL may stand in front of it. CR and LF at the end are cut
// off. Only the first `max_kept` fields are kept in `fields`, all are counted. Result: the number of fields;
// 0 with `fields` empty for a blank or malformed record. Malformed is a quote inside a field with anything
// but a quote, a comma or the end behind it; a quote still open at the end is not.
int DivideRecord(char* text, std::size_t size, FieldList& fields, std::size_t max_kept = SIZE_MAX);

}  // namespace storage
