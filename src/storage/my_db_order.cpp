// Sorting and searching the rows of a CMyDB.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include "tessaly/platform/mbcs.h"
#include "tessaly/storage/my_db.h"

using enum storage::_MYDB_DATATYPE;

namespace {

// atoi, with numbers beyond the range of int as its ends.
int DecimalValue(char const* text) noexcept {
    long const value = std::strtol(text, nullptr, 10);
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int>(value);
}

struct Range {
    int left;
    int right;
};

// Parts set[left..right] around the mean of its end keys. Result: the end of the lower part and the start of
// the upper one.
Range Part(_SORT_SET** set, Range range, bool ascending) {
    auto const sum = std::int64_t{set[range.left]->key} + set[range.right]->key;
    auto const pivot = static_cast<int>(sum / 2);
    auto const before = [=](int a, int b) { return ascending ? a < b : a > b; };
    int i = range.left;
    int j = range.right;
    for (;;) {
        while (before(set[i]->key, pivot)) ++i;
        while (before(pivot, set[j]->key)) --j;
        if (i >= j) return {i - 1, j + 1};
        std::swap(*set[i++], *set[j--]);
    }
}

// Keys that all differ have only one order, whatever the sorting, and this one is never quadratic. Result:
// false, with `keys` unchanged, when two are equal.
bool SortDistinct(std::vector<_SORT_SET>& keys, bool ascending) {
    std::vector<_SORT_SET> sorted = keys;
    std::sort(sorted.begin(), sorted.end(), [ascending](_SORT_SET const& a, _SORT_SET const& b) {
        return ascending ? a.key < b.key : a.key > b.key;
    });
    auto const equal = [](_SORT_SET const& a, _SORT_SET const& b) { return a.key == b.key; };
    if (std::adjacent_find(sorted.begin(), sorted.end(), equal) != sorted.end()) return false;
    keys = std::move(sorted);
    return true;
}

// A row costs three cache misses in a table of a million rows: the row, its cells, the text. Each is
// prefetched this many rows before it is needed.
constexpr int cells_ahead = 24;
constexpr int text_ahead = 12;
constexpr int length_in_front = 8;  // the length stands in front of a CString's text, and is read first

}  // namespace

int CMyDB::Sort(int column, _MYDB_DATATYPE type, int ascending) {
    if (element_number_ < 1) return db_no_element_number;
    if (column < 0 || column >= element_number_) return db_bad_column;
    if (type != mydb_string && type != mydb_number && type != mydb_date) return db_bad_type;
    if (rows_.IsEmpty()) return db_success;
    MarkChanged();
    if (type != mydb_number) return db_success;

    std::vector<_SORT_SET> keys;
    keys.reserve(rows_.Items().size());
    for (int line = 0; line < rows_.GetSize(); ++line)
        keys.push_back({DecimalValue(rows_[line][column]), line});
    if (!SortDistinct(keys, ascending != 0)) {
        std::vector<_SORT_SET*> set;
        set.reserve(keys.size());
        for (_SORT_SET& key : keys) set.push_back(&key);
        QuickSortReflexive(set.data(), 0, static_cast<int>(set.size()) - 1, ascending);
    }

    CArray<XCStringArrayEx, XCStringArrayEx>::Storage sorted;
    sorted.reserve(keys.size());
    for (_SORT_SET const& entry : keys) sorted.push_back(std::move(rows_[entry.line]));
    rows_.Items() = std::move(sorted);
    return db_success;
}

void CMyDB::QuickSortReflexive(_SORT_SET** set, int left, int right, int ascending) {
    // A list of ranges instead of recursion, which some orders of keys would take as deep as there are rows.
    std::vector<Range> waiting{{left, right}};
    while (!waiting.empty()) {
        Range const range = waiting.back();
        waiting.pop_back();
        if (range.left >= range.right) continue;
        Range const middle = Part(set, range, ascending != 0);
        waiting.push_back({range.left, middle.left});
        waiting.push_back({middle.right, range.right});
    }
}

void CMyDB::Exchange(_SORT_SET* a, _SORT_SET* b) { std::swap(*a, *b); }

int CMyDB::CheckSearch(int column, int start, int step) const {
    if (element_number_ < 1) return db_no_element_number;
    if (column < 0 || column >= element_number_) return db_bad_column;
    if (step <= 0) return db_bad_step;
    return start < 0 ? db_bad_start : db_success;
}

template <class Matches>
int CMyDB::Search(int column, int start, int step, Matches const& matches) const {
    if (int const problem = CheckSearch(column, start, step)) return problem;
    XCStringArrayEx const* const rows = rows_.GetData();
    std::int64_t const count = rows_.GetSize();
    for (std::int64_t line = start; line < count; line += step) {
        std::int64_t const far = line + std::int64_t{step} * cells_ahead;
        std::int64_t const near = line + std::int64_t{step} * text_ahead;
        if (far < count) __builtin_prefetch(rows[far].GetData() + column);
        if (near < count)
            __builtin_prefetch(static_cast<char const*>(rows[near].GetData()[column]) - length_in_front);
        if (matches(rows[line].GetData()[column].View())) return static_cast<int>(line);
    }
    return db_no_match;
}

int CMyDB::TotalAgreementReference(CString text, int column, int start, int step) const {
    std::string_view const wanted = text.View();
    return Search(column, start, step, [wanted](std::string_view cell) { return cell == wanted; });
}

int CMyDB::TotalAgreementReferenceSameUpLow(CString text, int column, int start, int step) const {
    std::string_view const wanted = text.View();
    return Search(column, start, step, [wanted](std::string_view cell) {
        return cell.size() == wanted.size() && platform::EqualNoCase(cell, wanted);
    });
}

int CMyDB::FrontAgreementReference(CString text, int column, int start, int step) const {
    std::string_view const wanted = text.View();
    return Search(column, start, step, [wanted](std::string_view cell) { return cell.starts_with(wanted); });
}

int CMyDB::PartialAgreementReference(CString text, int column, int start, int step) const {
    std::string_view const wanted = text.View();
    // Bytes that do not occur at all cannot occur at the start of a character, and are searched much faster.
    return Search(column, start, step, [wanted](std::string_view cell) {
        return cell.find(wanted) != std::string_view::npos &&
               platform::Find(cell, wanted) != std::string_view::npos;
    });
}
