#include "tessaly/storage/my_db.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "platform/cstring_pool.h"
#include "platform/file.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/storage/xcsv_read.h"
#include "tessaly/storage/xcsv_write.h"
#include "tessaly/text/check_directory.h"

using enum text::CheckDirectoryResult;

namespace {

constexpr char bad_column_count_text[] = "列数は1以上の値にしてください";

using Rows = CArray<XCStringArrayEx, XCStringArrayEx>::Storage;

// Reserves the rows of a file as soon as enough of them have been read to estimate their size.
class RowEstimate {
  public:
    explicit RowEstimate(std::int64_t file_size) : file_size_(file_size) {}

    void Note(Rows& rows, std::int64_t bytes_read) {
        if (rows.size() != sample || bytes_read <= 0) return;
        std::int64_t const estimate = file_size_ / (bytes_read / static_cast<std::int64_t>(sample) + 1);
        // Rows differ; a little more room is cheaper than growing.
        Reserve(rows, estimate + estimate / 16);
    }
    // Releases room that was not needed.
    static void Finish(Rows& rows) {
        if (rows.capacity() > rows.size() + rows.size() / 8) rows.shrink_to_fit();
    }

    // Reserving is optional: the length of a file with holes says nothing about its rows, which are added as
    // they are read.
    static void Reserve(Rows& rows, std::int64_t lines) {
        if (lines <= 0) return;
        try {
            rows.reserve(static_cast<std::size_t>(std::min(lines, most_ahead)));
        } catch (std::bad_alloc const&) {
        } catch (std::length_error const&) {
        }
    }

  private:
    static constexpr std::size_t sample = 512;
    static constexpr std::int64_t most_ahead = 50'000'000;  // rows
    std::int64_t file_size_;
};

}  // namespace

CMyDB::CMyDB(int elements) {
    if (SetElementNumber(elements) == db_success) return;
    AfxMessageBox(bad_column_count_text);
    AfxThrowUserException();
}

void CMyDB::Init() {
    rows_.RemoveAll();
    rows_.FreeExtra();
    changed_ = 0;
    element_number_ = 0;
    path_.Empty();
    element_number_y2_ = 0;
    stopped_before_end_ = false;
    ++revision_;
}

int CMyDB::SetElementNumber(int n) {
    if (element_number_ > 0) return db_element_number_set;
    if (n < 1) return db_bad_format;
    element_number_ = n;
    return db_success;
}

int CMyDB::GetElementNumber() const { return element_number_ > 0 ? element_number_ : db_no_element_number; }

int CMyDB::SetElementNumber_Y2(int n) {
    element_number_y2_ = n;
    return db_success;
}

int CMyDB::GetElementNumber_Y2() const {
    return element_number_y2_ != 0 ? element_number_y2_ : db_no_element_number;
}

int CMyDB::GetLineNumber() const { return element_number_ > 0 ? rows_.GetSize() : db_no_element_number; }

int CMyDB::SetDBFilePath(CString path) {
    if (element_number_ < 1) return db_no_element_number;
    path_ = std::move(path);
    return db_success;
}

CString CMyDB::GetDBFilePath() const { return element_number_ > 0 ? path_ : CString(); }

int CMyDB::CheckPath(CString const& path) const {
    if (element_number_ < 1) return db_no_element_number;
    return path.IsEmpty() ? db_no_path : db_success;
}

int CMyDB::OpenToRead(CString const& path, XCsvRead& reader) const {
    if (int const problem = CheckPath(path)) return problem;
    std::size_t const divider = platform::ReverseFind(path.View(), '\\');
    if (divider == std::string_view::npos) return db_no_directory;
    if (CheckDirectory(CString(path.View().substr(0, divider))) != directory_exists) return db_no_directory;
    if (!platform::Exists(path)) return db_file_not_found;
    if (reader.OpenFile(path) != XCsvRead::file_opened) return db_open_failed;
    int const probe = reader.ReadLine();
    if (probe <= 0 && reader.HasFailed()) return db_open_failed;
    if (probe == XCsvRead::read_blank) return db_bad_format;
    if (probe == XCsvRead::read_end) return db_file_empty;
    return reader.MoveFirst() == XCsvRead::moved_first ? db_success : db_open_failed;
}

int CMyDB::ReadDBFile(char const* key) { return ReadFrom(path_, key); }

int CMyDB::ReadFrom(CString const& path, char const* key) {
    XCsvRead reader;
    if (key) reader.SetUseKey(key);
    int result = OpenToRead(path, reader);
    if (result == db_success) {
        rows_.RemoveAll();
        ++revision_;
        result = ReadRows(reader, platform::FileSize(path));
        RowEstimate::Finish(rows_.Items());
    }
    stopped_before_end_ = result == db_bad_cell_count || reader.StoppedBeforeEnd();
    return result;
}

int CMyDB::ReadRows(XCsvRead& reader, std::int64_t file_size) {
    RowEstimate estimate(file_size);
    CStringPool pool;
    for (;;) {
        XCStringArrayEx row;
        int const fields = reader.ReadRow(pool, element_number_, row);
        if (fields <= 0) return reader.HasFailed() ? db_open_failed : db_success;
        if (fields != element_number_ && fields != element_number_y2_) return db_bad_cell_count;
        rows_.Items().push_back(std::move(row));
        estimate.Note(rows_.Items(), reader.BytesRead());
    }
}

int CMyDB::WriteDBFile(int compel, char const* key) {
    if (int const problem = CheckPath(path_)) return problem;
    if (!changed_ && !compel) return db_success;
    int const result = WriteTo(path_, key);
    if (result == db_success) changed_ = 0;
    return result;
}

int CMyDB::WriteTo(CString const& path, char const* key) const {
    if (int const problem = CheckPath(path)) return problem;
    XCsvWrite writer;
    if (key) writer.SetUseKey(key);
    if (writer.OpenFile(path) != XCsvWrite::file_opened) return db_open_failed;
    for (XCStringArrayEx const& row : rows_)
        if (!writer.WriteRow(row, element_number_)) return db_write_failed;
    return writer.CloseChecked() ? db_success : db_write_failed;
}

int CMyDB::CheckLine(int line) const {
    if (element_number_ < 1) return db_no_element_number;
    return line >= 0 && line < rows_.GetSize() ? db_success : db_bad_line;
}

int CMyDB::CheckCell(int line, int column) const {
    if (int const problem = CheckLine(line)) return problem;
    return column >= 0 && column < element_number_ ? db_success : db_bad_column;
}

int CMyDB::CheckNewRow(XCStringArrayEx const& row) const {
    if (element_number_ < 1) return db_no_element_number;
    return row.GetSize() == element_number_ ? db_success : db_bad_cell_count;
}

int CMyDB::AddLine(XCStringArrayEx row) {
    if (int const problem = CheckNewRow(row)) return problem;
    rows_.Items().push_back(std::move(row));
    MarkChanged();
    return db_success;
}

int CMyDB::SetAtLine(int line, XCStringArrayEx row) {
    if (int const problem = CheckNewRow(row)) return problem;
    if (int const problem = CheckLine(line)) return problem;
    rows_[line] = std::move(row);
    MarkChanged();
    return db_success;
}

int CMyDB::SetAtLineGrow(int line, XCStringArrayEx row) {
    if (int const problem = CheckNewRow(row)) return problem;
    if (line < 0) return db_bad_line;
    auto& rows = rows_.Items();
    auto const place = static_cast<std::size_t>(line);
    if (place >= rows.size()) {
        try {
            rows.resize(place + 1, XCStringArrayEx(element_number_));
        } catch (std::bad_alloc const&) {
            return db_bad_line;
        } catch (std::length_error const&) {
            return db_bad_line;
        }
    }
    rows[place] = std::move(row);
    MarkChanged();
    return db_success;
}

int CMyDB::InsertAtLine(int line, XCStringArrayEx row) {
    if (int const problem = CheckNewRow(row)) return problem;
    if (line < 0 || line > rows_.GetSize()) return db_bad_line;
    rows_.Items().insert(rows_.begin() + line, std::move(row));
    MarkChanged();
    return db_success;
}

int CMyDB::RemoveLine(int line) {
    if (int const problem = CheckLine(line)) return problem;
    rows_.RemoveAt(line);
    MarkChanged();
    return db_success;
}

int CMyDB::RemoveAll(int markChanged) {
    if (element_number_ < 1) return db_no_element_number;
    rows_.RemoveAll();
    ++revision_;
    if (markChanged) changed_ = 1;
    return db_success;
}

int CMyDB::SetAtElement(int line, int column, CString value) {
    if (int const problem = CheckCell(line, column)) return problem;
    rows_[line][column] = std::move(value);
    MarkChanged();
    return db_success;
}

int CMyDB::SetAtElement(int line, int column, int value) {
    CString text;
    text.Format("%d", value);
    return SetAtElement(line, column, std::move(text));
}

int CMyDB::SetAtElement(int line, int column, COleDateTime value) {
    if (int const problem = CheckCell(line, column)) return problem;
    if (value.GetStatus() != COleDateTime::valid) return db_bad_date;
    CString text;
    text.Format("%04d/%02d/%02d %02d:%02d:%02d", value.GetYear(), value.GetMonth(), value.GetDay(),
                value.GetHour(), value.GetMinute(), value.GetSecond());
    return SetAtElement(line, column, std::move(text));
}

XCStringArrayEx CMyDB::GetAtLine(int line) const {
    return CheckLine(line) == db_success ? rows_[line] : XCStringArrayEx();
}

int CMyDB::GetAtLine(int line, XCStringArrayEx& row) const {
    if (int const problem = CheckLine(line)) return problem;
    row = rows_[line];
    return db_success;
}

CString CMyDB::GetAtElement(int line, int column) const {
    return CheckCell(line, column) == db_success ? rows_[line][column] : CString();
}

int CMyDB::GetAtElement(int line, int column, CString& value) const {
    if (int const problem = CheckCell(line, column)) return problem;
    value = rows_[line][column];
    return db_success;
}

void CMyDB::SetSizeDBArray(int lines) {
    if (lines > rows_.GetSize()) RowEstimate::Reserve(rows_.Items(), lines);
}
