#pragma once

#include <cstdint>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/string_array_ex.h"

class XCsvRead;

namespace storage {

// Type of a column. The cells hold text in all three.
enum _MYDB_DATATYPE : int { mydb_string = 0, mydb_number = 1, mydb_date = 2 };

}  // namespace storage
using storage::_MYDB_DATATYPE;

// One sort key and the line that it belongs to.
struct _SORT_SET {
    int key;
    int line;
};

// Saving before loading replaces the file: WriteDBFile writes the rows in memory, and none is an empty file.
//
// A table in memory: rows of strings with a fixed number of columns, read from and written to one table file
// as a whole. The order of use is SetElementNumber (and SetElementNumber_Y2), SetDBFilePath, ReadDBFile,
// changes in memory, WriteDBFile. Nothing reaches the disk before WriteDBFile; the destructor does not write.
//
// Lines and columns count from 0; a negative number is out of range like one that is too large. Every
// operation that changes rows sets the changed flag; ReadDBFile leaves it as it was.
//
// Threads: no lock; calls on one object must not overlap.
class TESSALY_API CMyDB {
  public:
    // Results of the operations.
    enum Result : int {
        db_success = 0,
        db_no_path = -1,              // no file path set
        db_no_element_number = -2,    // element number not set
        db_file_not_found = -3,       // the file does not exist
        db_open_failed = -4,          // the file cannot be opened or read
        db_file_empty = -5,           // the file holds no line
        db_bad_cell_count = -7,       // a row has the wrong number of cells
        db_bad_format = -8,           // element number below 1; first line of the file blank or malformed
        db_bad_line = -9,             // line number out of range
        db_bad_column = -10,          // column number out of range
        db_bad_type = -11,            // unknown data type
        db_no_match = -12,            // a search found nothing
        db_bad_start = -13,           // start line of a search below 0
        db_bad_step = -14,            // step of a search not positive
        db_element_number_set = -15,  // element number already set
        db_bad_date = -16,            // a date whose status is not valid
        db_write_failed = -17,        // writing or closing the file failed
        db_no_directory = -18,        // path without a directory part, or the directory does not exist
    };

    // An empty object, element number not set.
    CMyDB() = default;
    // The same with SetElementNumber(elements). A number below 1 is shown in a message box and raises
    // CUserException.
    explicit CMyDB(int elements);
    virtual ~CMyDB() = default;
    CMyDB(CMyDB const&) = default;
    CMyDB& operator=(CMyDB const&) = default;

    // Drops the rows and clears changed flag, both element numbers, path and StoppedBeforeEnd.
    void Init();
    // Number of columns; can be set once after Init. db_element_number_set, db_bad_format for n below 1.
    int SetElementNumber(int n);
    // The number of columns, or db_no_element_number.
    int GetElementNumber() const;
    // A second number of fields that ReadDBFile accepts, 0 for none. Always db_success.
    int SetElementNumber_Y2(int n);
    // That number, or db_no_element_number while it is not set.
    int GetElementNumber_Y2() const;
    // The number of rows, or db_no_element_number.
    int GetLineNumber() const;
    // db_no_element_number.
    int SetDBFilePath(CString path);
    // Empty while the element number is not set.
    CString GetDBFilePath() const;

    // Replaces the rows by those of the file. A null key means the default tables. Each record must have the
    // element number of fields, or Y2: missing cells are empty, further fields are dropped. Records behind a
    // blank or malformed record are not read; a last line without LF is not one. In this order:
    // db_no_element_number, db_no_path, db_no_directory, db_file_not_found, db_open_failed, db_bad_format,
    // db_file_empty, all of which leave the rows in memory; and db_bad_cell_count, with the rows before the
    // wrong one in memory. A failure to read on behind the first record is db_open_failed too, with the rows
    // before it in memory. A wrong key shows as db_bad_cell_count, db_bad_format or garbage.
    int ReadDBFile(char const* key);
    // Whether the last read from a file, whatever its result, stopped before the end of the file: at a
    // failure, a malformed record, a record with the wrong number of fields, a blank record with anything
    // behind it, open quotes or a last line without LF; or met a NUL. Writing such a table loses what was
    // left out.
    bool StoppedBeforeEnd() const noexcept { return stopped_before_end_; }
    // Writes all rows; unless `compel` is non-zero only if they were changed. The file is emptied and
    // rewritten, without a temporary file. db_no_element_number, db_no_path, db_open_failed; db_write_failed
    // leaves the file with the bytes written so far and the changed flag set. A failure that shows only when
    // the file is closed counts.
    [[nodiscard]] int WriteDBFile(int compel, char const* key);

    // Appends. db_no_element_number, db_bad_cell_count.
    int AddLine(XCStringArrayEx row);
    // Replaces. db_no_element_number, db_bad_cell_count, db_bad_line.
    int SetAtLine(int line, XCStringArrayEx row);
    // Replaces; behind the end the table first grows to line + 1 rows, the new ones empty in every cell.
    // db_no_element_number, db_bad_cell_count; db_bad_line for a negative line and for one too large for the
    // memory.
    int SetAtLineGrow(int line, XCStringArrayEx row);
    // Inserts before `line`; with the number of rows it appends. db_no_element_number, db_bad_cell_count,
    // db_bad_line.
    int InsertAtLine(int line, XCStringArrayEx row);
    // db_no_element_number, db_bad_line.
    int RemoveLine(int line);
    // Drops all rows; the changed flag is set only if `markChanged` is non-zero. db_no_element_number.
    int RemoveAll(int markChanged);
    // Each: db_no_element_number, db_bad_line, db_bad_column. An int is stored as decimal text, a date as
    // "%04d/%02d/%02d %02d:%02d:%02d"; db_bad_date for one that is not valid.
    int SetAtElement(int line, int column, CString value);
    int SetAtElement(int line, int column, int value);
    int SetAtElement(int line, int column, COleDateTime value);

    // A copy of the row, empty for a line that does not exist.
    XCStringArrayEx GetAtLine(int line) const;
    XCStringArrayEx operator[](int line) const { return GetAtLine(line); }
    // db_no_element_number, db_bad_line; `row` then stays as it was.
    int GetAtLine(int line, XCStringArrayEx& row) const;
    // The cell, empty when anything is out of range.
    CString GetAtElement(int line, int column) const;
    // db_no_element_number, db_bad_line, db_bad_column; `value` then stays as it was.
    int GetAtElement(int line, int column, CString& value) const;
    // The row itself, without a copy; valid until rows are next changed. `line` must exist.
    XCStringArrayEx const& Row(int line) const { return rows_[line]; }

    // Room for `lines` rows, for bulk loading; rows and their number stay.
    void SetSizeDBArray(int lines);

    // Sorts by the decimal value of a column's texts, for `type` mydb_number; a text that is no number counts
    // as 0. The two other types leave the rows in their order. Not stable. Sets the changed flag unless there
    // are no rows. db_no_element_number, db_bad_column, db_bad_type.
    int Sort(int column, _MYDB_DATATYPE type, int ascending);
    // Sorts set[left] to set[right] by key, by exchanging the values behind the pointers.
    void QuickSortReflexive(_SORT_SET** set, int left, int right, int ascending);
    void Exchange(_SORT_SET* a, _SORT_SET* b);

    // The searches look at the cells of `column` in the lines `start`, `start` + `step` and so on, and give
    // the first line that matches, or db_no_element_number, db_bad_column, db_bad_step, db_bad_start,
    // db_no_match.

    // The cell equals the text.
    int TotalAgreementReference(CString text, int column, int start, int step) const;
    // It equals the text without regard to the case of ASCII and full-width Latin letters.
    int TotalAgreementReferenceSameUpLow(CString text, int column, int start, int step) const;
    // The cell begins with the text.
    int FrontAgreementReference(CString text, int column, int start, int step) const;
    // The cell contains the text, at the start of a character.
    int PartialAgreementReference(CString text, int column, int start, int step) const;

  protected:
    // As ReadDBFile and WriteDBFile with `compel`, for another file: path and changed flag stay.
    int ReadFrom(CString const& path, char const* key);
    int WriteTo(CString const& path, char const* key) const;

    // Goes up with every operation that changes rows or their order, reads included.
    std::uint64_t Revision() const noexcept { return revision_; }
    bool IsChanged() const noexcept { return changed_ != 0; }
    // A row to be changed in place; counts as a change. `line` must exist, and the row must keep its number
    // of cells.
    XCStringArrayEx& ChangeRow(int line) {
        MarkChanged();
        return rows_[line];
    }

  private:
    int CheckLine(int line) const;
    int CheckCell(int line, int column) const;
    int CheckNewRow(XCStringArrayEx const& row) const;
    int CheckSearch(int column, int start, int step) const;
    int CheckPath(CString const& path) const;
    int OpenToRead(CString const& path, XCsvRead& reader) const;
    int ReadRows(XCsvRead& reader, std::int64_t file_size);
    void MarkChanged() noexcept {
        changed_ = 1;
        ++revision_;
    }
    template <class Matches>
    int Search(int column, int start, int step, Matches const& matches) const;

    CArray<XCStringArrayEx, XCStringArrayEx> rows_;
    int changed_ = 0;
    int element_number_ = 0;
    CString path_;
    int element_number_y2_ = 0;
    std::uint64_t revision_ = 0;
    bool stopped_before_end_ = false;
};
