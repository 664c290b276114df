#include "engine/customers/csv_columns.h"

#include <algorithm>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"

namespace engine {
namespace {

constexpr std::size_t columns_shown = 40;  // of a file, in one message

void AddTo(std::string& list, std::string const& item) { list += (list.empty() ? "" : "、") + item; }

std::string AndMore(std::size_t left) { return left > 0 ? " … ほか" + std::to_string(left) + "列" : ""; }

}  // namespace

CsvColumns::CsvColumns(Elements const& elements, std::vector<std::string> cells, bool titled)
    : elements_(elements), cells_(std::move(cells)), titled_(titled) {
    assignment_.SetSize(customers::element_count);
    for (int& column : assignment_) column = -1;
}

void CsvColumns::AssignByTitles(CsvTitles const& titles) {
    std::vector<int> const matches = titles.Match(cells_);
    for (std::size_t column = 0; column < matches.size(); ++column)
        if (matches[column] >= 0) Assign(matches[column], column);
}

std::size_t CsvColumns::Named(std::string_view name) const {
    if (titled_) {
        for (std::size_t column = 0; column < cells_.size(); ++column)
            if (cells_[column] == name) return column;
        std::string const key = CsvTitles::KeyOf(name);
        for (std::size_t column = 0; column < cells_.size(); ++column)
            if (!key.empty() && CsvTitles::KeyOf(cells_[column]) == key) return column;
    }
    auto const number = static_cast<std::size_t>(std::max(WholeNumber(name).value_or(0), 0));
    if (number >= 1 && number <= cells_.size()) return number - 1;
    throw Failure(Failure::unknown_column, "ファイルにそういう列はありません (見出し、または1からの番号): " +
                                               std::string(name) + "\nファイルの列: " + Listed());
}

void CsvColumns::AssignByOption(std::string_view option) {
    while (!option.empty()) {
        std::size_t const comma = std::min(option.find(','), option.size());
        std::string_view const item = option.substr(0, comma);
        std::size_t const equals = item.find('=');
        if (equals == item.npos)
            throw Failure(Failure::invalid_request,
                          "--columns は「顧客の列=ファイルの列」の形です: " + std::string(item));
        Assign(elements_.Named(item.substr(0, equals)), Named(item.substr(equals + 1)));
        option.remove_prefix(std::min(comma + 1, option.size()));
    }
}

std::vector<CsvColumns::Use> CsvColumns::Uses() const {
    std::vector<Use> uses;
    for (int element = 0; element < customers::element_count; ++element)
        if (Has(element)) uses.push_back({static_cast<std::size_t>(assignment_[element]), element});
    std::stable_sort(uses.begin(), uses.end(), [](Use a, Use b) { return a.column < b.column; });
    return uses;
}

std::string CsvColumns::NameOf(std::size_t column) const {
    if (titled_ && !cells_[column].empty()) return OnOneLine(cells_[column]);
    return std::to_string(column + 1) + "列目";
}

std::string CsvColumns::Used() const {
    std::string list;
    for (auto const [column, element] : Uses()) {
        std::string const& title = elements_.At(element).title;
        std::string const name = NameOf(column);
        AddTo(list, name == title ? name : name + " → " + title);
    }
    return list;
}

std::string CsvColumns::Unused() const {
    std::vector<bool> used(cells_.size());
    for (Use const use : Uses()) used[use.column] = true;
    std::string list;
    std::size_t shown = 0, left = 0;
    for (std::size_t column = 0; column < cells_.size(); ++column) {
        if (used[column]) continue;
        if (shown == columns_shown) {
            ++left;
            continue;
        }
        AddTo(list, NameOf(column));
        ++shown;
    }
    return list + AndMore(left);
}

std::string CsvColumns::Listed() const {
    std::string list;
    std::size_t const shown = std::min(cells_.size(), columns_shown);
    for (std::size_t column = 0; column < shown; ++column)
        AddTo(list, std::to_string(column + 1) + " " + OnOneLine(cells_[column]));
    return list + AndMore(cells_.size() - shown);
}

}  // namespace engine
