#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/string_array_ex.h"

namespace storage {

class NewTableFile;

// Writes records of quoted fields to a file, with or without a substitution of its bytes: the common part of
// XCsvWrite and CsvWrite. The object owns its stream and closes it in its destructor.
//
// A record is built in the current line: BufferEmpty, SetData for each field, WriteLine.
//
// Threads: no lock; calls on one object must not overlap.
class TESSALY_API RecordWriter {
  public:
    static constexpr int file_opened = 1;
    static constexpr int write_failed = -1;  // no open file, or a failed write

    RecordWriter(RecordWriter const&) = delete;
    RecordWriter& operator=(RecordWriter const&) = delete;
    virtual ~RecordWriter();

    // Opens for writing, which empties the file unless the application has it replaced (new_table_file.h);
    // one that was open is closed. file_opened; write_failed also for a null path.
    int OpenFile(char const* path);
    void CloseFile() { static_cast<void>(CloseChecked()); }
    // Closes; false when closing or any write since OpenFile failed. A full disk may show only here.
    [[nodiscard]] bool CloseChecked();
    // Closes the present stream and takes `fp`, null for none. Result: `fp`.
    std::FILE* SetFp(std::FILE* fp);
    std::FILE* GetFd();

    // The current line; after WriteLine in its form in the file.
    char const* GetLine() const { return line_.c_str(); }
    void BufferEmpty() { line_.clear(); }
    // Adds a quoted text field, after a comma unless the line is empty. Null adds nothing.
    void SetData(char const* text);
    // Adds a number without quotes in the same way.
    void SetData(long value);
    // Makes the current line from a printf-style format, which has its own quotes and commas. The values of
    // "%s" have their quotes doubled; width and precision have no effect on them. Everything else is as in
    // printf. Result: the line.
    CString SetLine(char const* format, ...) __attribute__((format(printf, 2, 3)));
    // Writes the current line, with CR LF behind it unless it ends in CR or LF. The line then holds the
    // file's form and must be emptied before the next record. Result: the number of bytes; 0 for an empty
    // line, nothing being written; write_failed.
    int WriteLine();
    // SetLine, then WriteLine().
    int WriteLine(char const* format, ...) __attribute__((format(printf, 2, 3)));

    // The bulk form, for whole tables: the first `columns` cells of `row` as text fields of one record; a
    // missing cell is empty. The current line stays. The file gets the records in large blocks: only
    // CloseChecked shows that all of them are in it. false with no open file or when a write failed.
    bool WriteRow(XCStringArrayEx const& row, int columns);

  protected:
    RecordWriter();
    // Null means plain text.
    void SetTable(unsigned char const* encode_table) noexcept { table_ = encode_table; }

  private:
    bool WriteBytes(char const* bytes, std::size_t size);
    bool Flush();

    std::FILE* stream_ = nullptr;
    std::unique_ptr<NewTableFile> new_file_;  // that of the stream; null when the table itself is written
    unsigned char const* table_ = nullptr;
    bool failed_ = false;
    std::string line_;
    std::string block_;     // records of WriteRow, still in plain form
    std::size_t used_ = 0;  // bytes of block_ in use
};

}  // namespace storage
