#include <iostream>
#include <memory>

#include "cli/command.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/receiving/mail_source.h"
#include "engine/sending/mail_channel.h"
#include "engine/sending/sending.h"
#include "tessaly/text.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::string smtp, pop;
};

char const* NameOf(Security security) {
    return security == Security::tls        ? "接続の初めから"
           : security == Security::starttls ? "STARTTLSで"
                                            : "なし";
}

constexpr int days_of_warning = 14;

void ShowCertificate(Handshake const& handshake) {
    if (!handshake.parameters.empty()) std::cout << "  暗号化: " << handshake.parameters << "\n";
    if (handshake.subject.empty()) return;
    std::cout << "  証明書: " << handshake.subject << "\n  サーバーの名前: " << handshake.host_names
              << "\n  発行者: " << handshake.issuer << "\n  有効期間: " << handshake.valid_from << " から "
              << handshake.valid_until << " まで (協定世界時)\n";
    COleDateTime end, soon = COleDateTime::GetCurrentTime() + COleDateTimeSpan(days_of_warning, 0, 0, 0);
    if (!handshake.parameters.empty() && end.ParseDateTime(handshake.valid_until.c_str()) && end < soon)
        std::cout << "  この証明書の期限は、" << days_of_warning << "日以内に切れます。\n";
}

void Announce(char const* what, CString const& host, int port, Security security) {
    std::cout << what << ": " << Out(host) << ":" << port << " (暗号化: " << NameOf(security) << ")"
              << std::endl;
}

// Connects as a mailing does, as far as the login, and leaves.
bool CheckSmtp(ServerSettings const& server) {
    Announce("送信サーバー", server.host, server.port, server.security);
    const ChannelCheck check = MakeMailChannel(server, {})->Check();
    ShowCertificate(check.handshake);
    if (check.works)
        std::cout << (server.auth == "none" ? "  接続できました。\n" : "  接続し、認証できました。\n");
    else
        std::cout << "  つながりません: " << check.reason << "\n";
    return check.works;
}

// Opens the mailbox as receiving does, and leaves.
bool CheckPop(MailboxSettings const& mailbox) {
    Announce("受信サーバー", mailbox.host, mailbox.port, mailbox.security);
    Handshake handshake;
    std::uint64_t mails = 0;
    std::string reason;
    try {
        const std::unique_ptr<MailSource> source = MakePopSource(mailbox, &handshake);
        mails = source->Total();
        source->End();
    } catch (Failure const& failure) {
        reason = OnOneLine(failure.what());
    }
    ShowCertificate(handshake);
    if (reason.empty())
        std::cout << "  ログインできました。メールは " << mails << "通あります。\n";
    else
        std::cout << "  つながりません: " << reason << "\n";
    return reason.empty();
}

void Run(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    KeepTransferLog(session);
    bool const has_pop = !arguments.pop.empty() || !session.Setting("pop.host").empty();
    bool const has_smtp = !arguments.smtp.empty() || !session.Setting("smtp.host").empty() || !has_pop;
    bool works = true;
    if (has_smtp) works = CheckSmtp(ServerOf(session, arguments.smtp));
    if (has_pop) works = CheckPop(MailboxOf(session, arguments.pop)) && works;
    if (!works)
        throw Failure(Failure::server_failed, "設定を見直してください。「tessaly settings " +
                                                  arguments.env_file + "」で一覧を見られます。");
}

}  // namespace

void AddCheckCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = AddOne(
        program, "check", "送信サーバーと受信サーバーにつながるかを、何も送らずに確かめます", arguments, Run);
    command->add_option("--smtp", arguments->smtp, "設定の代わりに確かめる送信サーバー")
        ->type_name("HOST[:PORT]");
    command->add_option("--pop", arguments->pop, "設定の代わりに確かめる受信サーバー")
        ->type_name("HOST[:PORT]");
}

}  // namespace cli
