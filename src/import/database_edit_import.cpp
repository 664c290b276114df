#include <atomic>
#include <string_view>

#include "customers/database_lock.h"
#include "import/import_run.h"
#include "import/line_fields.h"
#include "import/line_import.h"
#include "import/line_reader.h"
#include "tessaly/customers/database_edit.h"

using enum storage::ErrorCode;

using namespace customers;

namespace {

constexpr char keep_known_customers[] = "2";
constexpr int all_lines = -1;
constexpr int stop_requested = 1;

// A count that another thread may read while it goes up.
class SharedCount {
  public:
    explicit SharedCount(int* shown) : shown_(shown) { Show(); }
    void Raise() {
        ++count_;
        Show();
    }
    int Get() const noexcept { return count_; }

  private:
    void Show() {
        if (shown_) std::atomic_ref<int>(*shown_).store(count_, std::memory_order_relaxed);
    }
    int* shown_;
    int count_ = 0;
};

// The outputs of an import about its lines.
struct Report {
    Report(int* imported, CArray<int, int>& error_lines, CArray<CString, CString>& error_texts,
           CArray<RefusedField>& refused_fields)
        : count(imported), lines(error_lines), texts(error_texts), fields(refused_fields) {
        lines.RemoveAll();
        texts.RemoveAll();
        fields.RemoveAll();
    }
    void Refuse(int number, std::string_view line) {
        lines.Add(number);
        texts.Add(CString(line));
    }
    SharedCount count;
    CArray<int, int>& lines;
    CArray<CString, CString>& texts;
    CArray<RefusedField>& fields;
};

enum class Ending { complete, failed, unreadable };

// Until the file ends, `stopped` gives true, or the table refuses a row.
template <class Stopped>
Ending TakeLines(LineReader& reader, LineFields& fields, LineImport& import, Report& report,
                 Stopped const& stopped) {
    std::string_view line;
    for (int number = 1; !stopped(); ++number) {
        LineReader::Status const status = reader.Next(line);
        if (status == LineReader::Status::failed) return Ending::unreadable;
        if (status == LineReader::Status::end) break;
        fields.Divide(line);
        LineImport::Outcome const outcome = import.Take(fields);
        if (outcome == LineImport::Outcome::failed) return Ending::failed;
        if (outcome == LineImport::Outcome::imported) report.count.Raise();
        if (outcome == LineImport::Outcome::refused) {
            report.Refuse(number, line);
            import.FindRefused(fields, number, report.fields);
        }
    }
    return Ending::complete;
}

}  // namespace

int CDatabaseEdit::ImportDBfromFile(CString path, CString delimiter, char quote, CArray<int, int>& elements,
                                    int add, int* imported, CArray<int, int>& errorLines,
                                    CArray<CString, CString>& errorTexts, CString duplicate) {
    stop_import_.Set(0);
    DatabaseLock const lock;
    if (!env_) return Fail(customer_environment_not_set, no_environment);
    if (!option_) return Fail(customer_system_option_not_set, no_system_option);
    CArray<DB_Element_Info, DB_Element_Info> info;
    if (Get_DBElementInfo(info, CString('1', element_count)) != ok)
        return Fail(customer_system_option_failed, no_element_info);
    LineReader reader;
    if (!reader.Open(path)) return Fail(customer_import_open_failed, import_no_file);
    ImportRun run(*this);
    if (int const problem = run.Prepare()) return problem;
    run.Begin(add != 0);

    Report report(imported, errorLines, errorTexts, refused_fields_);
    LineFields fields(delimiter, quote);
    LineImport lines(run, elements, info, duplicate == keep_known_customers);
    Ending const ending =
        TakeLines(reader, fields, lines, report, [this] { return stop_import_.Get() == stop_requested; });
    run.End();
    if (ending == Ending::unreadable) return Fail(customer_import_failed, import_failed);
    return ending == Ending::failed ? static_cast<int>(import_failed) : report.count.Get();
}

CArray<customers::RefusedField> const& CDatabaseEdit::GetRefusedFields() {
    DatabaseLock const lock;
    return refused_fields_;
}

int CDatabaseEdit::LoadSampleLine(CString path, CArray<CString, CString>& lines, int maxLines) {
    DatabaseLock const lock;
    lines.RemoveAll();
    LineReader reader;
    if (!reader.Open(path)) return Fail(customer_import_open_failed, import_no_file);
    std::string_view line;
    for (int read = 0; maxLines == all_lines || read < maxLines; ++read) {
        LineReader::Status const status = reader.Next(line);
        if (status == LineReader::Status::failed) return sample_unreadable;
        if (status == LineReader::Status::end) break;
        if (!line.empty()) lines.Add(CString(line));
    }
    return lines.GetSize();
}

int CDatabaseEdit::GetRecordNumFromImportFile(CString path) {
    DatabaseLock const lock;
    int count = 0;
    return CountLineFeeds(path, count) ? count : Fail(customer_import_open_failed, import_no_file);
}
