#include <atomic>
#include <new>
#include <string_view>
#include <vector>

#include "customers/database_edit.h"
#include "customers/database_lock.h"
#include "customers/import/field_rules.h"
#include "customers/import/import_run.h"
#include "customers/import/line_fields.h"
#include "customers/import/line_reader.h"

using namespace customers;

namespace {

constexpr char keep_known_customers[] = "2";
constexpr int all_lines = -1;

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

// The lines of a plain import, one after another.
class LineImport {
  public:
    enum class Outcome { imported, kept, refused, failed };

    LineImport(ImportRun& run, CArray<int, int> const& columns,
               CArray<DB_Element_Info, DB_Element_Info> const& info, bool keep_known)
        : run_(run), keep_known_(keep_known) {
        int const count = columns.GetSize() < element_count ? columns.GetSize() : element_count;
        for (int element = 0; element < count; ++element)
            if (columns[element] >= 0)
                assignments_.push_back({element, columns[element], RuleOf(element, info[element].Type)});
    }

    Outcome Take(LineFields& fields) {
        run_.StartLine();
        if (!TakeFields(fields) || run_.Row().Value(element_address).empty()) return Outcome::refused;
        if (run_.IsKnown()) {
            if (keep_known_) return Outcome::kept;
            if (!HasDirectMail()) run_.Row().Withdraw(element_direct_mail);
        } else if (run_.Row().Value(element_direct_mail) == bad_direct_mail) {
            return Outcome::refused;
        } else if (!HasDirectMail()) {
            run_.Row().Assign(element_direct_mail, yes_text);
        }
        return run_.Store() == CDatabaseEdit::ok ? Outcome::imported : Outcome::failed;
    }

  private:
    struct Assignment {
        int element;
        int column;
        FieldRule rule;
    };

    bool TakeFields(LineFields& fields) {
        bool accepted = true;
        for (Assignment const& assignment : assignments_) {
            if (assignment.column >= fields.Count()) continue;
            const std::string_view field = fields.At(assignment.column);
            bool const taken = run_.Row().Take(assignment.element, assignment.rule, field);
            if (taken && assignment.rule == FieldRule::address) run_.TakeAddress(field);
            accepted = accepted && taken;
        }
        return accepted;
    }
    bool HasDirectMail() const {
        const std::string_view value = run_.Row().Value(element_direct_mail);
        return value == yes_text || value == no_text;
    }

    ImportRun& run_;
    bool keep_known_;
    std::vector<Assignment> assignments_;  // by element, ascending: what comes later overrides
};

}  // namespace

int CDatabaseEdit::ImportDBfromFile(CString path, CString delimiter, char quote, CArray<int, int>& elements,
                                    int add, int* imported, CArray<int, int>& errorLines,
                                    CArray<CString, CString>& errorTexts, CString duplicate) try {
    stop_import_.Set(0);
    const DatabaseLock lock;
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

    SharedCount count(imported);
    errorLines.RemoveAll();
    errorTexts.RemoveAll();
    LineFields fields(delimiter, quote);
    LineImport lines(run, elements, info, duplicate == keep_known_customers);
    int result = ok;
    std::string_view line;
    for (int number = 1; result == ok && stop_import_.Get() != 1; ++number) {
        const LineReader::Status status = reader.Next(line);
        if (status == LineReader::Status::end) break;
        if (status == LineReader::Status::failed) {
            result = Fail(customer_import_failed, import_failed);
            break;
        }
        fields.Divide(line);
        switch (lines.Take(fields)) {
            case LineImport::Outcome::imported: count.Raise(); break;
            case LineImport::Outcome::kept: break;
            case LineImport::Outcome::failed: result = import_failed; break;
            case LineImport::Outcome::refused:
                errorLines.Add(number);
                errorTexts.Add(CString(line));
                break;
        }
    }
    run.End();
    return result == ok ? count.Get() : result;
} catch (std::bad_alloc const&) {
    return Fail(customer_import_failed, import_failed);
}

int CDatabaseEdit::LoadSampleLine(CString path, CArray<CString, CString>& lines, int maxLines) {
    const DatabaseLock lock;
    lines.RemoveAll();
    LineReader reader;
    if (!reader.Open(path)) return Fail(customer_import_open_failed, import_no_file);
    std::string_view line;
    for (int read = 0; maxLines == all_lines || read < maxLines; ++read) {
        const LineReader::Status status = reader.Next(line);
        if (status == LineReader::Status::failed) return sample_unreadable;
        if (status == LineReader::Status::end) break;
        if (!line.empty()) lines.Add(CString(line));
    }
    return lines.GetSize();
}

int CDatabaseEdit::GetRecordNumFromImportFile(CString path) {
    const DatabaseLock lock;
    int count = 0;
    return CountLineFeeds(path, count) ? count : Fail(customer_import_open_failed, import_no_file);
}
