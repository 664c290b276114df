#include <memory>
#include <string>

#include "cli/command.h"
#include "engine/customers/customer_backup.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::string file;
    bool force = false;
};

void Backup(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    BackUpCustomers(session, arguments.file, arguments.force);
}

void Restore(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RestoreCustomers(session, arguments.file);
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

}  // namespace cli
