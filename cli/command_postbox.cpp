#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "cli/command.h"
#include "cli/progress.h"
#include "cli/terminal.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "postbox/error.h"
#include "postbox/postbox_server.h"

namespace cli {

using namespace postbox;

namespace {

constexpr int default_port = 2525;
constexpr int no_pop = -1;

struct Arguments {
    std::string folder;
    int port = default_port;
    int pop_port = no_pop;
    std::string port_file;
    std::string user, password_file;
    std::string certificate;
    PostboxRules rules;
};

void Run(Arguments& arguments) {
    if (arguments.user.empty() != arguments.password_file.empty())
        throw Failure(Failure::invalid_request, "--user と --password-file は一緒に使います。");
    if (!arguments.user.empty()) {
        arguments.rules.user = arguments.user;
        arguments.rules.password = FirstLineOf(arguments.password_file, "パスワードファイル");
    }
    MailFolder folder(arguments.folder);
    std::optional<TlsServer> tls;
    if (!arguments.certificate.empty()) {
        tls.emplace();
        if (!ReplaceFile(arguments.certificate, tls->Certificate()))
            throw Failure(Failure::not_written, "証明書を書けません: " + arguments.certificate);
    }
    TlsServer const* const secured = tls ? &*tls : nullptr;
    PostboxServer server(folder, arguments.rules, arguments.port, PostboxServer::Protocol::smtp, secured);
    std::optional<PostboxServer> pop;
    if (arguments.pop_port != no_pop)
        pop.emplace(folder, arguments.rules, arguments.pop_port, PostboxServer::Protocol::pop, secured);
    if (!arguments.port_file.empty()) {
        bool const written = ReplaceFile(arguments.port_file, [&](std::string const& file) {
            std::ofstream out(file);
            out << server.Port() << "\n";
            if (pop) out << pop->Port() << "\n";
            out.close();
            return static_cast<bool>(out);
        });
        if (!written) throw Failure(Failure::not_written, "ポート番号を書けません: " + arguments.port_file);
    }
    std::cout << "ポストボックス: 127.0.0.1:" << server.Port() << " で待っています。届いたメールは "
              << folder.Path() << " に入ります (Ctrl-Cで終わります)。" << std::endl;
    if (pop) std::cout << "POP3: 127.0.0.1:" << pop->Port() << " で、届いたメールを渡します。" << std::endl;
    if (tls) std::cout << "暗号化します。証明書: " << arguments.certificate << std::endl;
    while (!Interrupted()) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server.Stop();
    std::cout << "終わりました。" << Grouped(server.Stored()) << "通が届きました。\n";
}

}  // namespace

void AddPostboxCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = program.add_subcommand(
        "postbox",
        "試し送り用のSMTPサーバー (と、受け取り用のPOP3サーバー) を、このコンピューターの中で動かします");
    command->add_option("DIR", arguments->folder, "届いたメール (.eml) を入れるディレクトリ")
        ->required()
        ->type_name("");
    command->add_option("--smtp", arguments->port, "ポート番号 (0は空いているもの)")
        ->check(NumberFrom(0, 65535))
        ->type_name("PORT");
    command
        ->add_option("--pop", arguments->pop_port,
                     "届いたメールをPOP3でも渡します (ポート番号。0は空いているもの)")
        ->check(NumberFrom(0, 65535))
        ->type_name("PORT");
    command
        ->add_option("--port-file", arguments->port_file, "使うポート番号を書くファイル (POP3のものは2行目)")
        ->type_name("FILE");
    command->add_option("--refuse", arguments->rules.refuse, "受け付けない宛先 (* と ? が使えます)")
        ->type_name("PATTERN");
    command
        ->add_option("--tls", arguments->certificate,
                     "接続の初めから暗号化し、そのための証明書をこのファイルに書きます (smtp.ca-file と "
                     "pop.ca-file に指定します)")
        ->type_name("FILE");
    command
        ->add_option("--user", arguments->user,
                     "SMTP認証のユーザーID (なければ認証なしで、また誰でも通します)")
        ->type_name("USER");
    command->add_option("--password-file", arguments->password_file, "SMTP認証のパスワード (1行目)")
        ->type_name("FILE");
    command->callback([arguments] {
        try {
            Run(*arguments);
        } catch (Error const& error) {
            throw Failure(Failure::operation_failed, error.what());
        }
    });
}

}  // namespace cli
