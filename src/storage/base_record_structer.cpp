#include "tessaly/storage/base_record_structer.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/cstring_pool.h"
#include "platform/mutex.h"
#include "platform/view_of.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/storage/xcsv_read.h"
#include "tessaly/storage/xcsv_write.h"

namespace {

// The lock of a file name, whatever its directory.
class FileLock {
  public:
    explicit FileLock(char const* path) : mutex_(false, NameOf(path)), lock_(&mutex_) {}

  private:
    static CString NameOf(char const* path) {
        CString title;
        CString extension;
        platform::splitpath(path, nullptr, nullptr, &title, &extension);
        return title + "_" + extension;
    }

    CMutex mutex_;
    CSingleLock lock_;
};

// The numbers of a comma-separated list; -1, which names no record, for a piece that is no number.
CArray<int, int> NumbersOf(std::string_view list) {
    CArray<int, int> numbers;
    while (!list.empty()) {
        std::size_t const comma = list.find(',');
        std::string_view piece = list.substr(0, comma);
        piece.remove_prefix(std::min(piece.find_first_not_of(" \t"), piece.size()));
        int number = -1;
        std::from_chars(piece.data(), piece.data() + piece.size(), number);
        numbers.Add(number);
        list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
    }
    return numbers;
}

}  // namespace

BaseRecordStructer::~BaseRecordStructer() = default;

int BaseRecordStructer::SetElementNumber(int elements) {
    if (elements < 0) return 0;
    RemoveAll();
    element_number_ = elements;
    changed_ = 1;
    return 1;
}

int BaseRecordStructer::GetString(int record, XCStringArrayEx& out) const {
    if (!HoldsRecord(record)) {
        out.RemoveAll();
        return 0;
    }
    out = (*this)[record];
    return 1;
}

XCStringArrayEx BaseRecordStructer::RowOf(char const** values) const {
    XCStringArrayEx row(element_number_);
    for (int i = 0; i < element_number_; ++i) row[i] = values[i];
    return row;
}

int BaseRecordStructer::InsertString(char const** values) {
    if (element_number_ < 1 || !values) return 0;
    Items().push_back(RowOf(values));
    changed_ = 1;
    return 1;
}

int BaseRecordStructer::InsertString(XCStringArrayEx& row) {
    if (element_number_ < 1) return 0;
    Items().push_back(row);
    changed_ = 1;
    return 1;
}

int BaseRecordStructer::CorrectString(int record, char const** values) {
    if (!HoldsRecord(record) || !values) return 0;
    (*this)[record] = RowOf(values);
    changed_ = 1;
    return 1;
}

int BaseRecordStructer::CorrectString(int record, XCStringArrayEx& row) {
    if (!HoldsRecord(record)) return 0;
    (*this)[record] = row;
    changed_ = 1;
    return 1;
}

int BaseRecordStructer::DeleteString(int record) {
    if (!HoldsRecord(record)) return 0;
    RemoveAt(record);
    changed_ = 1;
    return 1;
}

void BaseRecordStructer::DeleteAllString() {
    RemoveAll();
    changed_ = 1;
}

CString BaseRecordStructer::GetStringElement(int element, int record) const {
    if (!HoldsRecord(record) || element < 0 || element >= element_number_) return {};
    return (*this)[record].GetAt(element);
}

int BaseRecordStructer::FullSort(char const* order) {
    CArray<int, int> numbers = NumbersOf(order ? order : "");
    return FullSort(numbers);
}

int BaseRecordStructer::FullSort(CArray<int, int>& order) {
    if (element_number_ < 1) return 0;
    if (order.IsEmpty()) return 1;
    Storage old = std::exchange(Items(), {});
    std::vector<bool> taken(old.size());
    Items().reserve(old.size());
    auto const take = [&](std::size_t record) {
        if (record >= old.size() || taken[record]) return;
        taken[record] = true;
        Items().push_back(std::move(old[record]));
    };
    for (int const record : order)
        if (record >= 0) take(static_cast<std::size_t>(record));
    for (std::size_t record = 0; record < old.size(); ++record) take(record);
    changed_ = 1;
    return 1;
}

template <class Matches>
int BaseRecordStructer::Search(char const* text, int element, int start, int step, Matches matches) const {
    if (IsEmpty()) return search_none;
    std::string_view const wanted = platform::ViewOf(text);
    if (wanted.empty() || element < 0 || element >= element_number_ || start < 0 || start >= GetSize() ||
        step == 0)
        return search_bad_argument;
    for (std::int64_t record = start; record >= 0 && record < GetSize(); record += step) {
        XCStringArrayEx const& row = (*this)[static_cast<int>(record)];
        std::string_view const cell = element < row.GetSize() ? row[element].View() : std::string_view();
        if (matches(cell, wanted)) return static_cast<int>(record);
    }
    return search_none;
}

int BaseRecordStructer::TotalAgreementReference(char const* text, int element, int start, int step) const {
    return Search(text, element, start, step,
                  [](std::string_view cell, std::string_view wanted) { return cell == wanted; });
}

int BaseRecordStructer::TotalAgreementReferenceSameUpLow(char const* text, int element, int start,
                                                         int step) const {
    return Search(text, element, start, step, platform::EqualNoCase);
}

int BaseRecordStructer::FrontAgreementReference(char const* text, int element, int start, int step) const {
    return Search(text, element, start, step,
                  [](std::string_view cell, std::string_view wanted) { return cell.starts_with(wanted); });
}

int BaseRecordStructer::PartialAgreementReference(char const* text, int element, int start, int step) const {
    return Search(text, element, start, step, [](std::string_view cell, std::string_view wanted) {
        return platform::Find(cell, wanted) != std::string_view::npos;
    });
}

int BaseRecordStructer::ReadRecords(XCsvRead& reader) {
    int const width = reader.ReadLine();
    if (width == XCsvRead::read_end) {
        SetElementNumber(1);
        return load_empty;
    }
    if (width == XCsvRead::read_blank) return load_bad_start;
    element_number_ = width;
    XCStringArrayEx row(width);
    for (int i = 0; i < width; ++i) row[i] = reader.GetData(i);
    Items().push_back(std::move(row));

    CStringPool pool;
    for (;;) {
        XCStringArrayEx next;
        int const fields = reader.ReadRow(pool, width, next);
        if (fields <= 0) return load_ok;
        if (fields != width) return load_wrong_width;
        Items().push_back(std::move(next));
    }
}

int BaseRecordStructer::LoadCSVFile(char const* path, char const* key) {
    FileLock const lock(path);
    XCsvRead reader;
    if (key) reader.SetUseKey(key);
    SetElementNumber(0);
    stopped_before_end_ = false;
    if (reader.OpenFile(path) != 1) return load_missing;
    int const result = ReadRecords(reader);
    stopped_before_end_ = result == load_wrong_width || reader.StoppedBeforeEnd();
    if (!reader.HasFailed()) return result;
    SetElementNumber(0);
    return load_read_failed;
}

bool BaseRecordStructer::WriteRecords(char const* path, char const* key) const {
    XCsvWrite writer;
    if (key) writer.SetUseKey(key);
    if (writer.OpenFile(path) != 1) return false;
    for (XCStringArrayEx const& row : *this)
        if (!writer.WriteRow(row, element_number_)) return false;
    return writer.CloseChecked();
}

int BaseRecordStructer::SaveCSVFile(char const* path, int compel, char const* key) {
    FileLock const lock(path);
    if (element_number_ < 1) return 0;
    if (!changed_ && !compel) return 1;
    if (!WriteRecords(path, key)) return 0;
    changed_ = 0;
    return 1;
}

int BaseRecordStructer::SaveCSVFileCompel(char const* path, char const* key) {
    return SaveCSVFile(path, 1, key);
}

int BaseRecordStructer::SaveCSVFileCopy(char const* path, char const* key) const {
    FileLock const lock(path);
    return element_number_ >= 1 && WriteRecords(path, key);
}
