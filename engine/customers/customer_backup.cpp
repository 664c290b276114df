#include "engine/customers/customer_backup.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/data_paths.h"
#include "engine/environment/kept_changes.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// A backup must not overwrite a file of the environment.
void RequireOutside(Session& session, fs::path const& file) {
    if (session.Owns(file))
        throw Failure(Failure::protected_file,
                      "控えは、環境のファイルとディレクトリの外に作ってください: " + file.string());
}

bool HoldsCustomer(CDatabaseEdit const& table, int row) {
    CString const id = table.GetAtElement(row, customers::element_id);
    CString const address = table.GetAtElement(row, customers::element_address);
    return !id.IsEmpty() && id.View().find_first_not_of("0123456789") == std::string_view::npos &&
           address.View().find('@') != std::string_view::npos;
}

bool HoldsCustomers(CDatabaseEdit const& table) {
    for (int row = 0; row < table.GetLineNumber(); ++row)
        if (HoldsCustomer(table, row)) return true;
    return false;
}

// A table under another key is refused by its form, or reads as rows without meaning.
void RequireCustomers(Session& session, std::string const& file) {
    CDatabaseEdit backup;
    CString const key = session.Environment().GetDBKey();
    bool const keyed = session.Environment().GetEnvType() == EnvManager::type_keyed;
    int const rows = backup.ReadFromFileToMemoryAppointFileName(
        IntoPath(file), keyed ? static_cast<char const*>(key) : nullptr);
    if (rows < 0 || backup.StoppedBeforeEnd() || (rows > 0 && !HoldsCustomers(backup)))
        throw Failure(Failure::unsuitable_file,
                      "この環境の控えではないか、壊れています: " + file +
                          "\n控えは、同じ環境で「tessaly backup」で作ったものだけが使えます。");
}

// The file beside the backup with the restored and the omitted IDs.
class RestoreReport {
  public:
    explicit RestoreReport(fs::path path) : path_(std::move(path)), earlier_time_(Time()) {
        if (fs::is_regular_file(path_)) earlier_ = ReadWholeFile(path_.string(), "復旧の記録");
    }
    std::string Name() const { return path_.filename().string(); }
    // Restores its earlier content, where saving the customers failed.
    void TakeBack() const {
        if (!IsNew()) return;
        RemoveWork(path_.string());
        if (earlier_) ReplaceFile(path_.string(), *earlier_);
    }
    void Tell(FrontEnd& front) const {
        if (!IsNew())
            return front.Result("戻した顧客と戻さなかった顧客の番号は、書けませんでした: " + path_.string());
        if (std::size_t const left_out = LeftOut())
            front.Result("メールアドレスが今のほかの顧客と同じ " + Grouped(left_out) +
                         "人は戻していません。");
        front.Result("戻した顧客と戻さなかった顧客の番号: " + path_.string());
    }

  private:
    fs::file_time_type Time() const {
        std::error_code missing;
        return fs::last_write_time(path_, missing);
    }
    bool IsNew() const { return Time() != earlier_time_; }
    // The number of omitted IDs, which stand in the last line, divided by commas.
    std::size_t LeftOut() const {
        std::string const text = ReadWholeFile(path_.string(), "復旧の記録");
        std::string const ids = text.substr(text.rfind('\n') + 1);
        return ids.empty() ? 0 : static_cast<std::size_t>(std::count(ids.begin(), ids.end(), ',')) + 1;
    }

    fs::path path_;
    fs::file_time_type earlier_time_;
    std::optional<std::string> earlier_;
};

constexpr int keep_changed_mark = 0;  // nothing has changed that would have to be saved

// Customers that cannot be read count as none, and their file is kept: the backup takes their place.
bool ReadPresentCustomers(Session& session) {
    try {
        session.Customers();
        return true;
    } catch (Failure const&) {
        session.CustomerTable().RemoveAll(keep_changed_mark);
        session.CustomerTable().MakeIndex();
        return false;
    }
}

void KeepUnreadable(Session const& session) {
    std::string const file = session.DataDirectory() + "/" + customers_file;
    if (!fs::exists(file)) return;
    int number = 0;
    auto const name = [&] { return file + ".damaged" + std::to_string(number); };
    while (fs::exists(name())) ++number;
    CopyTree(file, name());
    session.Front().Result("読めなかった顧客データを残しました: " + name());
}

void SaveRestored(Session& session, bool readable, RestoreReport const& report) {
    try {
        if (!readable) KeepUnreadable(session);
        MakeFolder(session.DataDirectory() + "/DB");
        SaveCustomersUndoably(session, "顧客の控えからの復旧");
    } catch (Failure const&) {
        report.TakeBack();
        throw;
    }
}

}  // namespace

void BackUpCustomers(Session& session, std::string const& file, bool overwrite) {
    std::string const target = fs::absolute(file).string();
    if (fs::exists(target) && !overwrite)
        throw Failure(Failure::file_exists, "控えのファイルがもうあります: " + file +
                                                "\n上書きするなら --force をつけてください。");
    RequireOutside(session, target);
    CDatabaseEdit& customers = session.Customers();
    bool const written = ReplaceFile(
        target,
        [&](std::string const& new_file) {
            CDBBackup backup;
            backup.SetDatabaseEditPtr(&customers);
            backup.SetBackupPathName(IntoPath(new_file));
            return backup.ActionBackup() == CDBBackup::ok;
        },
        Readers::owner);
    if (!written) throw Failure(Failure::not_written, "控えを書けませんでした: " + file);
    session.Front().Result(Grouped(static_cast<std::uint64_t>(customers.GetLineNumber())) +
                           "件の顧客 (削除済みを含む) を控えました: " + file);
}

void RestoreCustomers(Session& session, std::string const& given) {
    fs::path const file = fs::absolute(given);
    if (!fs::is_regular_file(file))
        throw Failure(Failure::file_not_found, "控えのファイルがありません: " + given);
    RequireCustomers(session, file.string());
    RestoreReport const report(file.parent_path() / (file.stem().string() + "_復旧.txt"));
    bool const readable = ReadPresentCustomers(session);
    CDatabaseEdit& customers = session.CustomerTable();
    std::optional<KeptRefusals> refusals;
    if (readable) refusals.emplace(session, customers, KeptRefusals::How{RefusedBy::import, given, {}});
    int const before = customers.GetLineNumber();
    CDBRestore restore;
    restore.SetDatabaseEditPtr(&customers);
    restore.SetBackupPathName(IntoPath(file.string()));
    restore.SetRepairFileName(Into(report.Name(), "復旧の記録の名前"));
    int const result = restore.ActionRestore();
    if (result < 0) throw Failure(Failure::operation_failed, "控えから戻せませんでした: " + given);
    int const taken_over = customers.GetLineNumber() - before;
    if (!refusals) refusals.emplace(session, customers, KeptRefusals::How{RefusedBy::import, given, {}});
    refusals->Settle();
    if (taken_over > 0 || !readable) SaveRestored(session, readable, report);
    refusals->Tell();
    FrontEnd& front = session.Front();
    if (result == CDBRestore::nothing_to_do && readable)
        return front.Result("控えにある顧客はみな、今のデータにもあります。何も変えませんでした。");
    front.Result(Grouped(static_cast<std::uint64_t>(taken_over)) + "人を控えから戻しました。");
    if (result != CDBRestore::nothing_to_do) report.Tell(front);
}

}  // namespace engine
