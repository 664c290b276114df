#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "cli/command.h"
#include "engine/base/failure.h"
#include "engine/customers/customer_backup.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/environment_backup.h"
#include "engine/environment/kept_changes.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::string file;
    bool customers = false;
    bool force = false;
    bool yes = false;
    bool list = false;
    bool forget = false;
};

void Backup(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    auto const write = arguments.customers ? BackUpCustomers : BackUpEnvironment;
    write(session, arguments.file, arguments.force);
}

void Restore(Arguments const& arguments) {
    if (!IsBackupOfEnvironment(arguments.file)) {
        Session session(arguments.access, arguments.env_file, Session::For::changing);
        return RestoreCustomers(session, arguments.file);
    }
    if (!std::filesystem::exists(arguments.env_file))
        return RestoreIntoNew(arguments.access, arguments.env_file, arguments.file);
    Session session(arguments.access, arguments.env_file, Session::For::restoring);
    RestoreKeepingRefusals(session, arguments.access, arguments.file, arguments.yes);
}

void Undo(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::restoring);
    if (arguments.forget) {
        std::cout << "取り消すための写しを消しました: " << ForgetKeptChanges(session.DataDirectory())
                  << "件\n";
        return;
    }
    if (!arguments.list) return UndoKeepingRefusals(session, arguments.force);
    std::vector<KeptChange> const changes = KeptChanges(session.DataDirectory());
    for (auto change = changes.rbegin(); change != changes.rend(); ++change)
        std::cout << (change->when.empty() ? "(写しが壊れています) " + change->folder
                                           : change->when + "  " + change->what)
                  << "\n";
    if (changes.empty()) std::cout << "取り消せる変更はありません。\n";
}

}  // namespace

void AddBackupCommands(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* backup =
        AddOne(program, "backup", "顧客、メール、履歴、設定の控えを作ります", arguments, Backup);
    backup->add_flag("--customers", arguments->customers, "顧客だけを控えます");
    backup->add_flag("--force", arguments->force, "控えのファイルがあれば上書きします");
    CLI::App* restore =
        AddOne(program, "restore",
               "控えの状態に戻すか、新しい環境を作ります (顧客だけの控えなら、今いない顧客を戻します)",
               arguments, Restore);
    restore->add_flag("--yes", arguments->yes, "確かめずに戻します");
    for (CLI::App* command : {backup, restore})
        command->add_option("FILE", arguments->file, "控えのファイル")->required()->type_name("");
    CLI::App* undo = AddOne(program, "undo", "最後の置き換え、消去、復旧を取り消します", arguments, Undo);
    CLI::Option* list = undo->add_flag("--list", arguments->list, "取り消せる変更を新しい順に見ます");
    CLI::Option* force = undo->add_flag("--force", arguments->force, "あとから変わったファイルも戻します");
    undo->add_flag("--forget", arguments->forget, "取り消すための写しを消します (消去した顧客も入っています)")
        ->excludes(list)
        ->excludes(force);
    list->excludes(force);
}

}  // namespace cli
