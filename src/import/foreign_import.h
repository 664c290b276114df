#pragma once

#include <array>
#include <span>
#include <string_view>

#include "import/field_source.h"
#include "import/import_log.h"
#include "import/import_run.h"
#include "tessaly/customers/database_edit.h"

namespace customers {

// The arguments of an import that all of them have; the caller may read the counts, state and message
// meanwhile.
struct ForeignCall {
    CString path, log_path;
    int *imported, *errors, *state;
    CString* message;
    CDatabaseEdit::ForeignImportOptions const& options;
};

// An import from another program. What all of them have in common is here; a derived class defines how its
// file is opened and its lines are read, where its titles are, and what the fields of its own mean. One
// object serves one run, under DATABASE_EDIT_MUTEX.
//
// For each line its fields are read, its customer is found by the address, and every field is taken by its
// rule. What a rule refuses becomes part of the line's reason, which the log shows; a line with a reason
// changes nothing.
class ForeignImport {
  public:
    virtual ~ForeignImport() = default;
    ForeignImport(ForeignImport const&) = delete;
    ForeignImport& operator=(ForeignImport const&) = delete;
    // Result: the number imported, or a negative code.
    int Run();

  protected:
    // How a field becomes the value of an element. own: by TakeOwn of the derived class.
    enum class Rule { text, postal_code, number, own };
    struct Field {
        char const* title;
        int element;
        Rule rule;
    };
    struct Program {
        char const* start_message;  // with "%s" for this program's name
        char const* input_line;     // of the log, with "%s" for the path
        int bad_argument, no_log;   // results
    };

    ForeignImport(CDatabaseEdit& table, EnvManager* env, SystemOption* option, ForeignCall const& call,
                  FieldSource& source, Program const& program)
        : table_(table),
          env_(env),
          option_(option),
          call_(call),
          source_(source),
          program_(program),
          run_(table) {}

    // Whether an argument that only this import has is missing.
    virtual bool LacksArgument() const { return false; }
    // Opens the input, ahead of the log or behind it. Result: ok, or that of Stop.
    virtual int OpenAheadOfLog() { return CDatabaseEdit::ok; }
    virtual int OpenBehindLog() { return CDatabaseEdit::ok; }
    virtual int ReadTitles() { return CDatabaseEdit::ok; }
    virtual void Close() {}
    virtual bool HasAllFields() const = 0;
    // The field of a column of the present line, empty where the line lacks it.
    std::string_view FieldAt(int column) const { return source_.At(column); }
    // The fields in the order in which they are taken, without the address.
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
    // Whether the import leaves a known customer unchanged, though the line is good. The log says so.
    virtual bool LeavesAlone() { return false; }
    // The text in the log for the present line, which is refused.
    virtual CString RefusedLine() const = 0;

    static constexpr int no_number = 0;
    // Ends the run with `result`: sets the error number `code`, and the reason for the log.
    int Stop(int result, CString const& reason, int code = storage::customer_import_failed);
    bool IsStopped() const { return call_.options.stop && call_.options.stop(); }
    int StopByUser() { return Stop(CDatabaseEdit::import_stopped, "途中で中止されました。", no_number); }

    void Put(int element, CString const& value);
    // The same for a text that is valid to the end of the line, as a field is.
    void PutField(int element, std::string_view value) { run_.Row().Assign(element, value); }
    std::string_view Taken(int element) { return run_.Row().Value(element); }
    bool IsKnown() const noexcept { return known_; }
    std::string_view StoredValue(int element) const { return run_.StoredValue(element); }
    std::string_view PresentTime() { return run_.Row().Value(element_renewal_date); }
    void TakeText(char const* title, int element, std::string_view value);
    // Adds "[TITLE]REST" to the reason of the line.
    void Refuse(char const* title, char const* rest);
    void RefuseValue(char const* title) { Refuse(title, "に不正な文字が設定されている、"); }
    CString const& Reason() const { return reason_; }
    int LineNumber() const noexcept { return line_number_; }
    ImportLog& Log() { return log_; }
    // Whether a cell of the settings, read as a number, has this value.
    bool CellIs(int cell, int value) const;

    CDatabaseEdit& table_;
    EnvManager* const env_;
    SystemOption* const option_;
    ForeignCall const& call_;

  private:
    int Work();
    // Ends the run with the last error of the table as the reason.
    int StopByTable(int result);
    int TakeLines();
    int TakeLine();
    void TakeAddress();
    void TakeField(std::size_t field, std::string_view value);
    void RefuseLine();
    void WriteEnding();

    FieldSource& source_;
    Program const program_;
    ImportRun run_;
    ImportLog log_;
    std::array<CString, element_count> values_;  // the texts that the row has views of
    CString reason_, run_reason_;
    bool known_ = false, complete_ = false;
    int line_number_ = 0, imported_ = 0, errors_ = 0;
};

}  // namespace customers
