#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "import/line_fields.h"
#include "import/line_pieces.h"
#include "import/outlook_records.h"
#include "tessaly/storage/csv_read.h"

namespace customers {

// The lines of a file of another program, one after another, each divided into its fields.
class FieldSource {
  public:
    enum class Got { end, nothing, line };

    virtual ~FieldSource() = default;
    // false when the file cannot be opened.
    virtual bool Open(CString const& path) = 0;
    // Reads the next line. nothing: a line without fields, which counts all the same.
    virtual Got Next() = 0;
    // The fields of the present line.
    virtual int Count() const = 0;
    // A field of the present line, empty where the line lacks it. Valid until the next line is read.
    virtual std::string_view At(int column) = 0;
    // Why the present line cannot be divided; null where it can.
    char const* Unreadable() const noexcept { return unreadable_; }

  protected:
    // With `whole_file`, the text behind the last whole line at the end of the file is a line too.
    explicit FieldSource(bool whole_file) : whole_file_(whole_file) {}
    // For a line from which a quote is open to the end of the file.
    Got RefuseOpenQuote();

    bool const whole_file_;
    char const* unreadable_ = nullptr;
};

// Records of quoted fields, read by the rules of the table files.
class RecordSource : public FieldSource {
  public:
    explicit RecordSource(bool whole_file) : FieldSource(whole_file) {}
    bool Open(CString const& path) override { return reader_.OpenFile(path) == CsvRead::file_opened; }
    void Close() { reader_.CloseFile(); }
    Got Next() override;
    // Reads a line of titles; false when it has none.
    bool ReadTitles() { return reader_.ReadLine() > 0; }
    int Count() const override { return reader_.GetElementsNumber(); }
    std::string_view At(int column) override;

  private:
    CsvRead reader_;
};

// Lines that end in CR LF, divided at commas.
class LineSource : public FieldSource {
  public:
    LineSource() : FieldSource(false) {}
    bool Open(CString const& path) override { return pieces_.Open(path); }
    Got Next() override;
    int Count() const override { return fields_.Count(); }
    std::string_view At(int column) override;

  private:
    LinePieces pieces_;
    std::string line_;
    LineFields fields_{",", '"'};
};

// The records of OutLook, which may run over several lines.
class OutLookSource : public FieldSource {
  public:
    explicit OutLookSource(bool whole_file) : FieldSource(whole_file) {}
    bool Open(CString const& path) override { return pieces_.Open(path); }
    // Appends the first line, which is no record.
    void ReadTitles(std::string& line) { pieces_.AddPhysicalLine(line); }
    Got Next() override;
    int Count() const override { return static_cast<int>(record_.size()); }
    std::string_view At(int column) override;

  private:
    LinePieces pieces_;
    OutLookRecords records_{pieces_};
    std::vector<std::string> record_;
};

}  // namespace customers
