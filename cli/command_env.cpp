#include <iostream>
#include <memory>

#include "cli/command.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"

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
};

void New(Arguments const& arguments) {
    std::string password;
    if (!arguments.access.password_file.empty()) {
        password = FirstLineOf(arguments.access.password_file, "パスワードファイル");
        if (password.empty())
            throw Failure(Failure::unsuitable_file,
                          "パスワードファイルの1行目が空です: " + arguments.access.password_file);
    }
    CreateEnvironment(arguments.access, arguments.env_file, password);
    std::cout << "環境を作りました: " << arguments.env_file
              << (password.empty() ? "" : " (起動用パスワードつき)") << "\n"
              << "次は「tessaly settings " << arguments.env_file
              << " from.address=... smtp.host=...」で差出人と送信サーバーを決めてください。\n";
}

constexpr char const* not_set = "(未設定)";

std::string SenderOf(Session& session) {
    const std::string name = session.Setting("from.name"), address = session.Setting("from.address");
    if (address.empty()) return not_set;
    return name.empty() ? address : name + " <" + address + ">";
}

std::string ServerOf(Session& session) {
    const std::string host = session.Setting("smtp.host");
    return host.empty() ? not_set : host + ":" + session.Setting("smtp.port");
}

void Info(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    EnvManager& environment = session.Environment();
    CString entry, renewal, flag;
    environment.GetEntryDate(entry);
    environment.GetRenewalDate(renewal);
    environment.GetUseEnvPasswordFlag(flag);
    CDatabaseEdit& customers = session.Customers();
    CArray<int, int> deleted;
    auto const live = static_cast<std::uint64_t>(customers.GetDBCountWithoutDelete());
    auto const gone = static_cast<std::uint64_t>(customers.GetDeleteCustomerList(deleted));
    std::cout << "環境        " << arguments.env_file << "\n"
              << "データ      " << session.DataDirectory() << "\n"
              << "作成日時    " << Out(entry) << "\n"
              << "更新日時    " << Out(renewal) << "\n"
              << "パスワード  " << (flag == "Y" ? "あり" : "なし") << "\n"
              << "顧客        " << Grouped(live) << "件 (ほかに削除済み " << Grouped(gone) << "件)\n"
              << "差出人      " << SenderOf(session) << "\n"
              << "サーバー    " << ServerOf(session) << "\n";
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
}

}  // namespace cli
