#include <filesystem>
#include <iostream>
#include <memory>

#include "command.h"
#include "crossing.h"
#include "durable_file.h"
#include "failure.h"
#include "progress.h"

namespace fs = std::filesystem;

namespace app {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::string file;
    bool force = false;
};

void Backup(Arguments const& arguments) {
    const std::string file = fs::absolute(arguments.file).string();
    if (fs::exists(file) && !arguments.force)
        throw Failure("控えのファイルがもうあります: " + arguments.file +
                      "\n上書きするなら --force をつけてください。");
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    CDatabaseEdit& customers = session.Customers();
    bool const written = ReplaceFile(file, [&](std::string const& new_file) {
        CDBBackup backup;
        backup.SetDatabaseEditPtr(&customers);
        backup.SetBackupPathName(IntoPath(new_file));
        return backup.ActionBackup() == CDBBackup::ok;
    });
    if (!written) throw Failure("控えを書けませんでした: " + arguments.file);
    std::cout << Grouped(static_cast<std::uint64_t>(customers.GetLineNumber()))
              << "件の顧客 (削除済みを含む) を控えました: " << arguments.file << "\n";
}

// A table under another key reads as rows without sense.
void RequireCustomers(Session& session, std::string const& file) {
    CDatabaseEdit backup;
    const CString key = session.Environment().GetDBKey();
    bool const keyed = session.Environment().GetEnvType() == EnvManager::type_keyed;
    int const rows = backup.ReadFromFileToMemoryAppointFileName(
        IntoPath(file), keyed ? static_cast<char const*>(key) : nullptr);
    if (rows < 0 || (rows == 0 && fs::file_size(file) > 0))
        throw Failure("この環境の控えではないか、壊れています: " + file +
                      "\n控えは、同じ環境で「tessaly backup」で作ったものだけが使えます。");
}

void Restore(Arguments const& arguments) {
    const fs::path file = fs::absolute(arguments.file);
    if (!fs::is_regular_file(file)) throw Failure("控えのファイルがありません: " + arguments.file);
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireCustomers(session, file.string());
    const std::string report = file.stem().string() + "_復旧.txt";
    int const before = session.Customers().GetLineNumber();
    CDBRestore restore;
    restore.SetDatabaseEditPtr(&session.Customers());
    restore.SetBackupPathName(IntoPath(file.string()));
    restore.SetRepairFileName(Into(report, "復旧の記録の名前"));
    int const result = restore.ActionRestore();
    if (result < 0) throw Failure("控えから戻せませんでした: " + arguments.file);
    if (result == CDBRestore::nothing_to_do) {
        std::cout << "控えにある顧客はみな、今のデータにもあります。何も変えませんでした。\n";
        return;
    }
    int const taken_over = session.Customers().GetLineNumber() - before;
    if (taken_over > 0) session.SaveCustomers();
    std::cout << Grouped(static_cast<std::uint64_t>(taken_over)) << "人を控えから戻しました。\n";
    if (result != CDBRestore::restored)
        std::cout << "メールアドレスが今のほかの顧客と同じ人は戻していません。\n";
    std::cout << "戻した顧客と戻さなかった顧客の番号: " << (file.parent_path() / report).string() << "\n";
}

}  // namespace

void AddBackupCommands(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* backup = AddOne(program, "backup", "顧客の控えを作ります", arguments, Backup);
    backup->add_flag("--force", arguments->force, "控えのファイルがあれば上書きします");
    CLI::App* restore =
        AddOne(program, "restore", "控えにあって今のデータにない顧客を戻します", arguments, Restore);
    for (CLI::App* command : {backup, restore})
        command->add_option("FILE", arguments->file, "控えのファイル")->required()->type_name("");
}

}  // namespace app
