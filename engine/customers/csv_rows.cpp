#include "engine/customers/csv_rows.h"

#include <algorithm>

#include "engine/base/trimmed.h"
#include "engine/customers/csv_values.h"
#include "tessaly/text.h"

namespace engine {
namespace {

std::string NoFormText(NoForm const& place) {
    bool const is_byte = place.character.starts_with("\\x");
    return (is_byte ? "文字になっていないバイト: " : "使えない文字: ") + Describe(place);
}

// Of several cells, one a mail address.
bool LooksLikeCustomer(std::string_view line, char delimiter, char quote) {
    std::string const around{quote, '\r', ' '};
    bool const has_cells = line.find(delimiter) != line.npos;
    while (has_cells && !line.empty()) {
        std::string_view const cell = line.substr(0, line.find(delimiter));
        line.remove_prefix(std::min(cell.size() + 1, line.size()));
        if (MailAddressChecker(std::string(Trimmed(cell, around)).c_str()) == 1) return true;
    }
    return false;
}

// The first line behind that of its start on which a record seems to have swallowed a customer, counted from
// its start; 0 for none.
std::size_t SwallowedLine(std::string_view record, char delimiter, char quote) {
    for (std::size_t line = 0;; ++line) {
        std::string_view const text = record.substr(0, record.find('\n'));
        if (line > 0 && LooksLikeCustomer(text, delimiter, quote)) return line;
        if (text.size() == record.size()) return 0;
        record.remove_prefix(text.size() + 1);
    }
}

}  // namespace

CsvRows::CsvRows(CsvSource const& source, Elements const& elements, CsvColumns const& columns, char delimiter,
                 char quote, bool strict)
    : source_(source), width_(columns.Count()), delimiter_(delimiter), quote_(quote), strict_(strict) {
    for (auto const [column, number] : columns.Uses()) {
        Element const& element = elements.At(number);
        columns_.push_back({column, &element, StrictRules::HasOwnRule(element)});
    }
}

void CsvRows::Take(CsvSource::Record const& record, CsvRow& row) {
    row = {};
    Crossed crossed = source_.ForLibrary(record);
    if (crossed.no_form) row.refusals.push_back(NoFormText(*crossed.no_form));
    if (record.unclosed) row.refusals.push_back("引用符 (" + std::string(1, quote_) + ") が閉じていません");
    if (!row.refusals.empty()) return;
    row.line = std::move(crossed.text);
    storage::SplitFields(row.line, {&delimiter_, 1}, quote_, fields_);
    FindOddities(record, row);
    bool const is_plain = IsPlain(row.line);
    for (Column const& column : columns_)
        if (column.column < fields_.size()) TakeField(column, fields_[column.column], is_plain, row);
    ApplyEdits(row.line);
    if (!strict_) return;
    row.refusals = std::move(row.oddities);
    row.refusals.insert(row.refusals.end(), row.doubts.begin(), row.doubts.end());
}

// A value that the rule refuses is left to the library, except with `strict`, where all remarks on the record
// are made here.
void CsvRows::TakeField(Column const& column, storage::SplitField const& field, bool is_plain, CsvRow& row) {
    if (field.text.empty() && !strict_) return;
    Element const& element = *column.element;
    char converted[text::date_data_size];
    std::string_view stored;
    bool const taken = TakeValue(element, field.text, converted, stored);
    if (taken && is_plain && !column.is_judged) return;
    CString value = storage::FieldText(field, quote_);
    bool const is_flag = element.rule == customers::FieldRule::direct_mail;
    if (!taken && !Tidy(element, field, value, row) && !strict_ && !is_flag) return;
    if (value.IsEmpty() && element.number != customers::element_address) return;
    std::string const refusal = rules_.RefusalOf(element, value);
    if (refusal.empty()) return;
    // The library takes a record with a bad flag for a known customer, and leaves the customer's flag as it
    // is.
    row.doubts.push_back(WithValue(element, refusal, value) +
                         (is_flag && !strict_ ? " (前の値のままにしました)" : ""));
}

bool CsvRows::Tidy(Element const& element, storage::SplitField const& field, CString& value, CsvRow& row) {
    std::optional<CString> const tidied = Tidied(element, value.View());
    if (!tidied || tidied->View().find_first_of(std::string{delimiter_, quote_}) != std::string_view::npos)
        return false;
    if (row.tidied++ == 0) row.first_tidied = WithValue(element, Out(value), {}) + " → " + Out(*tidied);
    edits_.push_back(
        {static_cast<std::size_t>(field.text.data() - row.line.data()), field.text.size(), *tidied});
    value = *tidied;
    return true;
}

bool CsvRows::IsPlain(std::string const& line) const {
    return CheckCharacterCodeForWinSJIS(line.c_str(), nullptr) == 1;
}

void CsvRows::FindOddities(CsvSource::Record const& record, CsvRow& row) const {
    std::size_t count = fields_.size();
    while (count > width_ && fields_[count - 1].text.empty()) --count;
    if (count != width_)
        row.oddities.push_back("列が" + std::to_string(count > width_ ? count - width_ : width_ - count) +
                               "つ" + (count > width_ ? "多い" : "足りない") + "行です (" +
                               std::to_string(width_) + "列のはずが" + std::to_string(count) + "列)");
    if (record.more_lines == 0) return;
    if (std::size_t const line = SwallowedLine(record.raw, delimiter_, quote_))
        row.oddities.push_back("引用符の閉じ忘れかもしれません。引用符の中の" +
                               std::to_string(record.line + line) + "行も、顧客のように見えます");
}

// From the last to the first, so that the places stay right.
void CsvRows::ApplyEdits(std::string& line) {
    std::sort(edits_.begin(), edits_.end(), [](Edit const& a, Edit const& b) { return a.at > b.at; });
    std::size_t done = line.size() + 1;  // one column may go into two elements
    for (auto const& [at, size, value] : edits_) {
        if (at != done) line.replace(at, size, value.View());
        done = at;
    }
    edits_.clear();
}

}  // namespace engine
