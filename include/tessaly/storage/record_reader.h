#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tessaly/platform/export.h"
#include "tessaly/storage/string_array_ex.h"

class CStringPool;

namespace storage {

struct Field;

// Reads records of quoted fields from a file, with or without a substitution of its bytes: the common part of
// XCsvRead and CsvRead. The object owns its stream.
//
// The file is read in large blocks, so the position of the stream runs ahead of the records; GetFp corrects
// it.
//
// Threads: no lock; calls on one object must not overlap.
class TESSALY_API RecordReader {
  public:
    enum Result : int {
        file_opened = 1,
        moved_first = 0,
        read_blank = 0,  // blank or malformed record
        read_end = -1,   // end of the file, or no open file
        read_failed = -1,
    };

    RecordReader(RecordReader const&) = delete;
    RecordReader& operator=(RecordReader const&) = delete;
    virtual ~RecordReader();

    // Opens for reading; a file that was open is closed. file_opened; read_failed also for a directory or a
    // null path.
    int OpenFile(char const* path);
    void CloseFile();
    // Back to the start of the file: moved_first, or read_failed.
    int MoveFirst();
    // Non-zero once a read has met the end of the file or has failed, and while no file is open.
    int IsEof() const;
    // Whether the system failed to read the file, since it was opened or MoveFirst. The records before the
    // failure have been returned; read_end follows.
    bool HasFailed() const { return failed_; }
    // Whether a caller that stops reading here leaves out bytes that no record holds: a read has failed; the
    // file ends with open quotes or without LF; a NUL has hidden bytes; the last record was malformed, or
    // blank with more behind it.
    bool StoppedBeforeEnd() const { return failed_ || left_out_ || stopped_; }
    // Closes the present stream and takes `fp`, to be read from its position on; null takes none. Result:
    // `fp`.
    std::FILE* SetFp(std::FILE* fp);
    // The stream, positioned behind the last record that was read. It may be read and moved until the next
    // read here.
    std::FILE* GetFp();

    // Reads one record and divides it. A record whose quotes are open at a line end goes on with the next
    // line. A NUL hides the bytes behind it, up to the end of the line or of the 1023 bytes that are read
    // together; a record of more than max_record_bytes is malformed. Result: the number of fields;
    // read_blank; read_end when no whole record is left, with no record and no fields (a last line without LF
    // is not returned); StoppedBeforeEnd tells whether that is the end of the file.
    int ReadLine();
    // The text that the last read left out at the end of the file: a last line without LF, or the text from
    // the line on whose quotes stay open. Empty after any other read.
    std::string const& Rest() const { return rest_; }
    // Divides a text as a record, with the same results; -1 for a null text, with the record unchanged.
    int SetLine(char const* text);
    // The record as it was read, decoded, its line end included; or the text given to SetLine. Empty without
    // one.
    char const* GetLine() const { return line_.c_str(); }
    int GetElementsNumber() const;
    // Null when out of range. This pointer and the last one stay valid until the next read.
    char const* GetData(int i) const;

    // The bulk form of ReadLine: `row` gets exactly `columns` cells made by `pool`, missing ones empty and
    // further ones dropped. Result as ReadLine; `row` changes only with a positive one. GetLine and GetData
    // do not apply to it.
    int ReadRow(CStringPool& pool, int columns, XCStringArrayEx& row);
    // Bytes from the start of the reading to the end of the last record.
    std::int64_t BytesRead() const { return consumed_; }

  protected:
    RecordReader();
    // Null means plain text. The next read uses it.
    void SetTable(unsigned char const* decode_table);

  private:
    // Fields and bytes of a record, both 0 for none.
    struct OrdinaryRecord {
        int fields;
        std::size_t size;
    };

    bool Fill();
    bool AppendPhysicalLine();
    bool ReadRecordText();
    // The result for a record without fields.
    int Blank(bool has_text);
    // The record at the start of the unread bytes, if it has the form in which a table is written: every
    // field in quotes and with none inside, CR LF at the end. Any other record is left to ReadRecordText and
    // DivideRecord, which give the same for this form.
    OrdinaryRecord ScanOrdinaryRecord(std::size_t max_kept);
    void DropBuffer() noexcept;
    void DropRecord() noexcept;

    std::FILE* stream_ = nullptr;
    unsigned char const* table_ = nullptr;
    // The block: raw bytes are decoded as they come in; [position_, end_) is still unread.
    std::unique_ptr<char[]> block_;
    std::size_t capacity_ = 0;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
    std::size_t first_nul_ = 0;  // the first NUL behind the start of the block, end_ if there is none
    bool exhausted_ = false;     // the stream gives no more bytes
    bool at_end_ = false;        // a read has met that end
    bool failed_ = false;        // because of an error
    bool left_out_ = false;      // a NUL has hidden bytes, or the last bytes make no record
    bool stopped_ = false;       // the last record was malformed, or blank with more behind it
    std::int64_t consumed_ = 0;

    std::string line_;
    std::string rest_;
    std::string fields_text_;
    std::vector<Field> fields_;
    std::vector<Field> row_fields_;  // of ReadRow
};

}  // namespace storage
