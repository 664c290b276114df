#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "import/import_log.h"
#include "import/import_run.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/storage/csv_read.h"

namespace customers {

// What the caller of an import gives and watches.
struct ForeignCall {
    CString path, log_path;
    int *imported, *errors, *state;
    CString* message;
    CDatabaseEdit::ForeignImportOptions const& options;
};

// The imports from other programs: what they have in common is here, and each derived class tells how its
// file is opened, where its titles are, how a line is read and what its own fields mean. One object serves
// one run, under DATABASE_EDIT_MUTEX.
//
// A line goes: its fields are read, its customer is found by the address, every field is taken by its rule,
// and what was refused makes the line's reason, which the log shows; a line with a reason changes nothing.
class ForeignImport {
  public:
    virtual ~ForeignImport() = default;
    ForeignImport(ForeignImport const&) = delete;
    ForeignImport& operator=(ForeignImport const&) = delete;
    // Result: the number imported, or a negative code.
    int Run();

  protected:
    // How a field becomes the value of an element. `own`: the derived class knows.
    enum class Rule { text, postal_code, number, own };
    struct Field {
        char const* title;
        int element;
        Rule rule;
    };
    struct Program {
        char const* start_message;  // with "%s" for this program's name
        char const* input_line;     // of the log, with "%s" for the path
        int bad_argument, no_log, no_input, bad_titles;
    };
    enum class Got { end, nothing, line };

    ForeignImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                  Program const& program)
        : table_(table), env_(env), option_(option), call_(call), program_(program), run_(table) {}

    // Whether an argument of its own is missing.
    virtual bool LacksArgument() const { return false; }
    // An input that is opened ahead of the log; one that is opened behind it. ok, or what Stop gave.
    virtual int OpenAheadOfLog() { return CDatabaseEdit::ok; }
    virtual int OpenBehindLog() { return CDatabaseEdit::ok; }
    virtual int ReadTitles() { return CDatabaseEdit::ok; }
    virtual void Close() {}
    // The next line. nothing: passed over, though it counts.
    virtual Got NextLine() = 0;
    // The same out of a reader of records. With whole_file what it leaves out at the end of its file is a
    // line too; where no record can be made of that, the line is refused.
    Got NextRecord(CsvRead& reader);
    // NextLine of a line from which a quote is open to the end of the file: it is refused.
    Got RefuseOpenQuote();
    virtual bool HasAllFields() const = 0;
    // The field of a column of the present line, empty where the line lacks it.
    virtual std::string_view FieldAt(int column) const = 0;
    // The fields in the order in which they are looked at, without the address.
    virtual std::span<Field const> Fields() const = 0;
    virtual int ColumnOf(std::size_t field) const = 0;  // negative: the file has none
    virtual char const* TitleOf(std::size_t field) const { return Fields()[field].title; }
    virtual int AddressColumn() const = 0;
    virtual char const* AddressTitle() const = 0;
    virtual void TakeOwn(std::size_t field, std::string_view value) {
        static_cast<void>(field), static_cast<void>(value);
    }
    // Element 21 of the present customer, ahead of the fields.
    virtual void SetDirectMail() = 0;
    // A known customer whom the import leaves alone, though the line is good; the log says so.
    virtual bool LeavesAlone() { return false; }
    // The log's line for one that is refused.
    virtual CString RefusedLine() const = 0;

    static constexpr int no_number = 0;
    // Ends the run: a failure with its number, and the reason for the log.
    int Stop(int result, CString const& reason, int code = storage::customer_import_failed);
    bool IsStopped() const { return call_.options.stop && call_.options.stop(); }
    int StopByUser() { return Stop(CDatabaseEdit::import_stopped, "途中で中止されました。", no_number); }

    void Put(int element, CString const& value);
    // The same with a text that stays to the end of the line, as a field does.
    void PutField(int element, std::string_view value) { run_.Row().Assign(element, value); }
    std::string_view Taken(int element) { return run_.Row().Value(element); }
    bool IsKnown() const noexcept { return known_; }
    std::string_view StoredValue(int element) const { return run_.StoredValue(element); }
    std::string_view PresentTime() { return run_.Row().Value(element_renewal_date); }
    void TakeText(char const* title, int element, std::string_view value);
    // "[TITLE]REST" is a reason.
    void Refuse(char const* title, char const* rest);
    void RefuseValue(char const* title) { Refuse(title, "に不正な文字が設定されている、"); }
    CString const& Reason() const { return reason_; }
    int LineNumber() const noexcept { return line_number_; }
    ImportLog& Log() { return log_; }
    // Whether a cell of the settings, read as a number, is this.
    bool CellIs(int cell, int value) const;

    CDatabaseEdit& table_;
    EnvManager* const env_;
    SystemOption* const option_;
    ForeignCall const& call_;

  private:
    int Work();
    // The same for a failure whose reason the table holds.
    int StopByTable(int result);
    int TakeLines();
    int TakeLine();
    void TakeAddress();
    void TakeField(std::size_t field, std::string_view value);
    void RefuseLine();
    void WriteEnding();

    Program const& program_;
    ImportRun run_;
    ImportLog log_;
    std::array<CString, element_count> values_;  // that the row's views lie in
    CString reason_, run_reason_;
    char const* unreadable_ = nullptr;  // why the present line cannot be read, null where it can
    bool known_ = false, complete_ = false;
    int line_number_ = 0, imported_ = 0, errors_ = 0;
};

}  // namespace customers
