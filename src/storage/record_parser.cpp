#include "storage/record_parser.h"

namespace storage {
namespace {

constexpr bool EndsLine(char c) noexcept { return c == '\r' || c == '\n'; }

// The role of a quote inside a field, by the byte behind it.
enum class QuoteRole { doubled, closes_field, ends_record, malformed };

QuoteRole RoleOf(char const* quote) noexcept {
    switch (quote[1]) {
        case '"': return QuoteRole::doubled;
        case ',': return QuoteRole::closes_field;
        case 0: return QuoteRole::ends_record;
        default: return QuoteRole::malformed;
    }
}

}  // namespace

int DivideRecord(char* text, std::size_t size, FieldList& fields, std::size_t max_kept) {
    fields.clear();
    if (size > max_record_bytes) return 0;
    while (size > 0 && EndsLine(text[size - 1])) --size;
    text[size] = 0;
    if (size == 0) return 0;

    int count = 0;
    std::size_t out = 0;  // plain fields never lie behind their source
    std::size_t start = 0;
    auto const end_field = [&] {
        if (fields.size() < max_kept)
            fields.push_back({static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(out - start)});
        text[out++] = 0;
        start = out;
        ++count;
    };
    bool in_field = false;
    bool in_quotes = false;
    for (std::size_t in = 0; in < size; ++in) {
        char const c = text[in];
        if (c == ',' && !in_quotes) {
            end_field();
            in_field = false;
        } else if (c != '"') {
            in_field = true;
            text[out++] = c;
        } else if (!in_field) {
            in_field = in_quotes = true;
        } else {
            QuoteRole const role = RoleOf(text + in);
            if (role == QuoteRole::malformed) {
                fields.clear();
                return 0;
            }
            if (role == QuoteRole::doubled) {
                text[out++] = c;
                ++in;
            } else if (role == QuoteRole::closes_field) {
                in_field = in_quotes = false;
            }
        }
    }
    end_field();
    return count;
}

}  // namespace storage
