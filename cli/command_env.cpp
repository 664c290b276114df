#include <iostream>
#include <memory>

#include "cli/command.h"
#include "engine/base/failure.h"
#include "engine/environment/environment_summary.h"
#include "engine/environment/new_environment.h"
#include "engine/upkeep/environment_check.h"
#include "engine/upkeep/environment_repair.h"

namespace cli {

void AddAccess(CLI::App& command, Access& access) {
    access.front = &Terminal();
    command
        .add_option("--key-file", access.key_file,
                    "アプリケーション鍵のファイル (1行目)。なければ組み込みの鍵を使います")
        ->type_name("FILE");
    command.add_option("--password-file", access.password_file, "起動用パスワードのファイル (1行目)")
        ->type_name("FILE");
}

void AddEnvFile(CLI::App& command, std::string& env_file) {
    command.add_option("ENV", env_file, "環境ファイル (例: shop.tsl)")->required()->type_name("");
}

CLI::Validator NumberFrom(int low, int high) { return CLI::Range(low, high).description(""); }

template <class Number>
static CLI::Option* AddMailNumber(CLI::App& command, Number& mail) {
    return command.add_option("MAIL", mail, "メールの番号 (mail list で見られます)")
        ->check(NumberFrom(0))
        ->type_name("");
}
CLI::Option* AddMail(CLI::App& command, int& mail) { return AddMailNumber(command, mail); }
CLI::Option* AddMail(CLI::App& command, std::optional<int>& mail) { return AddMailNumber(command, mail); }

CLI::Option* AddFormat(CLI::App& command, std::string& format) {
    return command.add_option("--format", format, "table、csv、json のどれか")->type_name("FORMAT");
}

namespace {

struct Arguments {
    Access access;
    std::string env_file;
    RepairRequest repair;
};

void New(Arguments const& arguments) {
    std::string const password = NewPassword(arguments.access);
    CreateEnvironment(arguments.access, arguments.env_file, password);
    std::cout << "環境を作りました: " << arguments.env_file
              << (password.empty() ? "" : " (起動用パスワードつき)") << "\n"
              << "次は「tessaly settings " << arguments.env_file
              << " from.address=... smtp.host=...」で差出人と送信サーバーを決めてください。\n";
}

void Info(Arguments const& arguments) {
    constexpr char const* not_set = "(未設定)";
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    EnvironmentSummary const summary = SummaryOf(session);
    std::string const address = summary.sender_address, name = summary.sender_name,
                      sender = name.empty() ? address : name + " <" + address + ">";
    std::cout << "環境        " << arguments.env_file << "\n"
              << "データ      " << summary.data_directory << "\n"
              << "作成日時    " << summary.made << "\n"
              << "更新日時    " << summary.changed << "\n"
              << "パスワード  " << (summary.has_password ? "あり" : "なし") << "\n"
              << "顧客        " << Grouped(summary.customers) << "件 (ほかに削除済み "
              << Grouped(summary.deleted_customers) << "件)\n"
              << "差出人      " << (address.empty() ? not_set : sender) << "\n"
              << "サーバー    " << (summary.server.empty() ? not_set : summary.server + ":" + summary.port)
              << "\n";
}

void Check(Arguments const& arguments) {
    if (!CheckEnvironment(arguments.access, arguments.env_file)) throw Failure(Failure::damaged_file, "");
}

void Repair(Arguments const& arguments) {
    RepairEnvironment(arguments.access, arguments.env_file, arguments.repair);
}

}  // namespace

void AddEnvCommands(CLI::App& program) {
    CLI::App* env = program.add_subcommand("env", "環境 (顧客と設定のまとまり) を作り、様子を見ます");
    env->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    CLI::App* make = env->add_subcommand("new", "新しい環境を作ります");
    CLI::App* info = env->add_subcommand("info", "環境の様子を表示します");
    for (CLI::App* command : {make, info}) {
        AddEnvFile(*command, arguments->env_file);
        AddAccess(*command, arguments->access);
    }
    make->callback([arguments] { New(*arguments); });
    info->callback([arguments] { Info(*arguments); });
    AddOne(*env, "check", "すべてのファイルを読み、完全かどうかを調べます", arguments, Check);
    CLI::App* repair =
        AddOne(*env, "repair", "壊れたファイルから読める行を救い出し、使えるようにします", arguments, Repair);
    repair
        ->add_option("--backup", arguments->repair.backup,
                     "控え (全体か顧客だけ)。失われた行をここから戻します")
        ->type_name("FILE");
    repair->add_flag("--yes", arguments->repair.yes, "確かめずに直します");
}

}  // namespace cli
