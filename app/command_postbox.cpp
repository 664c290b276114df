#include <fstream>
#include <iostream>
#include <memory>
#include <thread>

#include "command.h"
#include "durable_file.h"
#include "failure.h"
#include "postbox_server.h"
#include "progress.h"
#include "terminal.h"

namespace app {
namespace {

constexpr int default_port = 2525;

struct Arguments {
    std::string folder;
    int port = default_port;
    std::string port_file;
    std::string user, password_file;
    PostboxRules rules;
};

void Run(Arguments& arguments) {
    if (arguments.user.empty() != arguments.password_file.empty())
        throw Failure("--user と --password-file は一緒に使います。", exit_usage);
    if (!arguments.user.empty()) {
        arguments.rules.user = arguments.user;
        arguments.rules.password = FirstLineOf(arguments.password_file, "パスワードファイル");
    }
    MailFolder folder(arguments.folder);
    PostboxServer server(folder, arguments.rules, arguments.port);
    if (!arguments.port_file.empty()) {
        bool const written = ReplaceFile(arguments.port_file, [&](std::string const& file) {
            std::ofstream out(file);
            out << server.Port() << "\n";
            out.close();
            return static_cast<bool>(out);
        });
        if (!written) throw Failure("ポート番号を書けません: " + arguments.port_file);
    }
    std::cout << "ポストボックス: 127.0.0.1:" << server.Port() << " で待っています。届いたメールは "
              << folder.Path() << " に入ります (Ctrl-Cで終わります)。" << std::endl;
    while (!Interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server.Stop();
    std::cout << "終わりました。" << Grouped(server.Stored()) << "通が届きました。\n";
}

}  // namespace

void AddPostboxCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command =
        program.add_subcommand("postbox", "試し送り用のSMTPサーバーを、このコンピューターの中で動かします");
    command->add_option("DIR", arguments->folder, "届いたメール (.eml) を入れるディレクトリ")
        ->required()
        ->type_name("");
    command->add_option("--smtp", arguments->port, "ポート番号 (0は空いているもの)")
        ->check(NumberFrom(0, 65535))
        ->type_name("PORT");
    command->add_option("--port-file", arguments->port_file, "使うポート番号を書くファイル")
        ->type_name("FILE");
    command->add_option("--refuse", arguments->rules.refuse, "受け付けない宛先 (* と ? が使えます)")
        ->type_name("PATTERN");
    command
        ->add_option("--user", arguments->user,
                     "SMTP認証のユーザーID (なければ認証なしで、また誰でも通します)")
        ->type_name("USER");
    command->add_option("--password-file", arguments->password_file, "SMTP認証のパスワード (1行目)")
        ->type_name("FILE");
    command->callback([arguments] { Run(*arguments); });
}

}  // namespace app
