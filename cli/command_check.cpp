#include <iostream>
#include <memory>

#include "cli/command.h"
#include "engine/receiving/server_check.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    CheckRequest request;
};

char const* WordOf(Security security) {
    return security == Security::tls        ? "接続の初めから"
           : security == Security::starttls ? "STARTTLSで"
                                            : "なし";
}

void ShowCertificate(ServerCheck const& check) {
    Handshake const& handshake = check.handshake;
    if (!handshake.parameters.empty()) std::cout << "  暗号化: " << handshake.parameters << "\n";
    if (handshake.subject.empty()) return;
    std::cout << "  証明書: " << handshake.subject << "\n  サーバーの名前: " << handshake.host_names
              << "\n  発行者: " << handshake.issuer << "\n  有効期間: " << handshake.valid_from << " から "
              << handshake.valid_until << " まで (協定世界時)\n";
    if (check.certificate_ends_soon)
        std::cout << "  この証明書の期限は、" << days_of_warning << "日以内に切れます。\n";
}

class TerminalView : public CheckRequest::View {
  public:
    void Begin(CheckedServer const& server) override {
        std::cout << (server.kind == CheckedServer::outgoing ? "送信サーバー" : "受信サーバー") << ": "
                  << server.host << ":" << server.port << " (暗号化: " << WordOf(server.security) << ")"
                  << std::endl;
    }
    void End(CheckedServer const& server, ServerCheck const& check) override {
        ShowCertificate(check);
        if (!check.works)
            std::cout << "  つながりません: " << check.reason << "\n";
        else if (server.kind == CheckedServer::mailbox)
            std::cout << "  ログインできました。メールは " << check.mails << "通あります。\n";
        else
            std::cout << (server.logs_in ? "  接続し、認証できました。\n" : "  接続できました。\n");
    }
};

void Run(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    TerminalView view;
    arguments.request.Run(session, view);
}

}  // namespace

void AddCheckCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddOne(
        program, "check", "送信サーバーと受信サーバーにつながるかを、何も送らずに確かめます", arguments, Run);
    command->add_option("--smtp", arguments->request.smtp, "設定の代わりに確かめる送信サーバー")
        ->type_name("HOST[:PORT]");
    command->add_option("--pop", arguments->request.pop, "設定の代わりに確かめる受信サーバー")
        ->type_name("HOST[:PORT]");
}

}  // namespace cli
