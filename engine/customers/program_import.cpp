#include "engine/customers/program_import.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <optional>
#include <string_view>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/log_file.h"
#include "engine/environment/safe_change.h"
#include "tessaly/storage.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// In the order of the library's numbers.
constexpr std::array<std::string_view, 4> direct_mail_names = {"new-no", "yes", "no", "new-yes"};
constexpr std::array<std::string_view, 3> existing_names = {"newer", "overwrite", "keep"};
constexpr std::array<std::string_view, 5> programs = {"becky", "outlook", "fudemame", "corvane", "belmora"};
constexpr char const *default_direct_mail = "new-yes", *default_existing = "newer";

template <std::size_t count>
int PlaceOf(std::array<std::string_view, count> const& names, std::string const& name, char const* option) {
    auto const found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) return static_cast<int>(found - names.begin());
    std::string all;
    for (std::string_view const known : names) (all += all.empty() ? "" : "、") += known;
    throw Failure(Failure::invalid_request, std::string(option) + " は " + all + " のどれかです: " + name);
}

// Passes the library's questions to the front end.
class Question {
  public:
    Question(FrontEnd& front, bool yes) : front_(front), yes_(yes) { SetMessageBoxHandler(Ask, this); }
    ~Question() { SetMessageBoxHandler(nullptr, nullptr); }
    Question(Question const&) = delete;
    Question& operator=(Question const&) = delete;

  private:
    static int Ask(void* self, char const* text, char const*, unsigned type) {
        FrontEnd& front = static_cast<Question*>(self)->front_;
        bool const yes = static_cast<Question*>(self)->yes_;
        std::string const question = OnOneLine(Out(CString(text).Trim().View()));
        bool const asks = (type & MB_YESNO) != 0;
        if (asks && !yes) return front.Confirm(question) ? IDYES : IDNO;
        front.Notice(question);
        return asks ? IDYES : IDOK;
    }

    FrontEnd& front_;
    bool const yes_;
};

class WorkFiles {
  public:
    explicit WorkFiles(Session const& session) : session_(session) {}
    ~WorkFiles() { session_.RemoveWorkFiles(); }
    WorkFiles(WorkFiles const&) = delete;
    WorkFiles& operator=(WorkFiles const&) = delete;

  private:
    Session const& session_;
};

}  // namespace

void ProgramImport::Check() const {
    PlaceOf(programs, from, "--from");
    bool const is_shop = from == "corvane" || from == "belmora";
    if (!direct_mail.empty()) PlaceOf(direct_mail_names, direct_mail, "--dm");
    if (!existing.empty()) PlaceOf(existing_names, existing, "--existing");
    if (is_shop && !direct_mail.empty())
        throw Failure(Failure::invalid_request,
                      "--dm は住所録のためのものです。店舗データでは、データの中の希望に従います。");
    if (!is_shop && !existing.empty())
        throw Failure(Failure::invalid_request, "--existing は corvane と belmora で使えます。");
    if (take_attributes && from != "belmora")
        throw Failure(Failure::invalid_request, "--take-attributes は belmora で使えます。");
    if ((from == "fudemame") == converter.empty())
        throw Failure(Failure::invalid_request, "--converter は fudemame で必要で、ほかでは使えません。");
}

int ProgramImport::Import(Session& session, std::string const& log_file, Counts& counts) const {
    CDatabaseEdit& customers = session.Customers();
    FrontEnd& front = session.Front();
    auto const path = [](std::string const& host) { return IntoPath(fs::absolute(host).string()); };
    CString const input = path(file), log_path = path(log_file);
    int const mode =
        PlaceOf(direct_mail_names, direct_mail.empty() ? default_direct_mail : direct_mail, "--dm");
    CString const duplicate =
        std::to_string(PlaceOf(existing_names, existing.empty() ? default_existing : existing, "--existing"))
            .c_str();
    int *const imported = &counts.imported, *const errors = &counts.errors;
    int state = 0;
    auto const count = [](int& number) {
        return static_cast<std::uint64_t>(std::max(std::atomic_ref<int>(number).load(), 0));
    };
    auto const progress = front.ShowProgress("取り込み", "件", 0,
                                             [&] { return count(counts.imported) + count(counts.errors); });
    Question const question(front, yes);
    customers.SetForeignImportOptions({.stop = [&front] { return front.Stopped(); }, .whole_file = true});
    if (from == "becky")
        return customers.ImportDBfromBeckyFile(input, log_path, imported, errors, &state, nullptr, mode);
    if (from == "outlook")
        return customers.ImportDBfromOutLookFile(input, log_path, imported, errors, &state, nullptr, mode);
    if (from == "fudemame")
        return customers.ImportDBfromFWAFile(input, path(converter), log_path, imported, errors, &state,
                                             nullptr, mode);
    if (from == "corvane")
        return customers.ImportDBfromCorvaneFile(input, log_path, imported, errors, &state, nullptr,
                                                 duplicate, nullptr);
    return customers.ImportDBfromBelmoraFile(input, log_path, imported, errors, &state, nullptr, duplicate,
                                             take_attributes ? 1 : 0);
}

void ProgramImport::Run(Session& session) const {
    if (!fs::is_regular_file(file)) throw Failure(Failure::file_not_found, "ファイルを開けません: " + file);
    if (from == "fudemame" && !fs::is_regular_file(converter))
        throw Failure(Failure::file_not_found, "変換するプログラムがありません: " + converter);
    std::string const log_name = log.empty() ? file + ".log" : log;
    if (session.Owns(log_name))
        throw Failure(Failure::protected_file,
                      "記録は、環境のファイルとディレクトリの外に作ってください: " + log_name);
    LogFile log_file(log_name, {file, converter});
    WorkFiles const work_files(session);
    CDatabaseEdit& customers = session.Customers();
    KeptRefusals refusals(session, customers, {RefusedBy::import, file, consent, restore_deleted});
    CArray<int, int> before, after;
    int const known = customers.GetDBIDALL(before);
    // The library writes the names of the attributes where the settings lie.
    std::optional<SafeChange> settings;
    if (take_attributes) settings.emplace(session.DataDirectory(), std::vector<std::string>{settings_file});
    Counts counts;
    int const result = Import(session, log_file.LibraryFile(), counts);
    // Saved before the log is written, whose failure must not lose customers.
    bool const changed = result >= 0 || counts.imported > 0;
    if (settings && changed) session.SaveSettings();
    if (counts.imported > 0) {
        refusals.Settle();
        session.SaveCustomers();
        refusals.Tell();
    }
    if (settings && changed) settings->Keep();
    bool const has_log = log_file.HasContent(), log_written = has_log && log_file.Write();
    int const added = customers.GetDBIDALL(after) - known;
    int const changed_customers = counts.imported - added - static_cast<int>(refusals.StillDeleted());
    if (result >= 0 || counts.imported > 0)
        session.Front().Result("新規 " + Grouped(static_cast<std::uint64_t>(added)) + "件、更新 " +
                               Grouped(static_cast<std::uint64_t>(changed_customers)) + "件、取り込めず " +
                               Grouped(static_cast<std::uint64_t>(counts.errors)) + "件");
    if (log_written) session.Front().Result("くわしい記録: " + log_name);
    if (has_log && !log_written) session.Front().Notice("記録を書けませんでした: " + log_name);
    if (result == CDatabaseEdit::import_declined) throw Failure(Failure::declined, "取り込みませんでした。");
    if (result == CDatabaseEdit::import_stopped)
        throw Failure(Failure::stopped, "途中で止めました。同じコマンドで続きを取り込めます。");
    if (result < 0)
        throw Failure(Failure::nothing_imported,
                      "取り込めません。" + std::string(log_written ? "理由は記録の終わりにあります。" : "") +
                          TextOf(customers.GetErrMsg()));
    if (counts.imported == 0 && counts.errors > 0)
        throw Failure(Failure::nothing_imported, "取り込める行がありません。");
    if (has_log && !log_written) throw Failure(Failure::not_written, "");
}

}  // namespace engine
