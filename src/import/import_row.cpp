#include "import/import_row.h"

namespace customers {

bool ImportRow::Take(int element, FieldRule rule, std::string_view field) {
    auto const place = static_cast<std::size_t>(element);
    assigned_.set(place);
    return TakeField(rule, field, converted_[place], values_[place]);
}

void ImportRow::Assign(int element, std::string_view value) {
    assigned_.set(static_cast<std::size_t>(element));
    values_[static_cast<std::size_t>(element)] = value;
}

std::string_view ImportRow::Value(int element) const noexcept {
    return IsAssigned(element) ? values_[static_cast<std::size_t>(element)] : std::string_view();
}

XCStringArrayEx ImportRow::MakeRow(CStringPool& pool) const {
    XCStringArrayEx row(element_count);
    ApplyTo(row, pool);
    return row;
}

void ImportRow::ApplyTo(XCStringArrayEx& row, CStringPool& pool) const {
    for (int element = 0; element < element_count; ++element)
        if (IsAssigned(element) && row[element] != Value(element)) row[element] = pool.Make(Value(element));
}

}  // namespace customers
