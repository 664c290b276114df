#include "import/line_fields.h"

namespace customers {

void LineFields::Divide(std::string_view line) {
    undoubled_.clear();
    storage::SplitFields(line, delimiters_.View(), quote_, fields_);
}

std::string_view LineFields::At(int index) {
    storage::SplitField const& field = fields_[static_cast<std::size_t>(index)];
    if (!field.quoted || field.text.find(quote_) == std::string_view::npos) return field.text;
    undoubled_.push_back(storage::FieldText(field, quote_));
    return undoubled_.back().View();
}

}  // namespace customers
