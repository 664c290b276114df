#include <memory>

#include "cli/command.h"
#include "cli/terminal.h"
#include "engine/sending/send_request.h"

namespace cli {
namespace {

constexpr int most_threads = 64;

struct Arguments {
    Access access;
    std::string env_file;
    SendRequest request;
};

}  // namespace

void AddSendCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = program.add_subcommand("send", "宛先の一人ひとりにメールを送ります");
    AddEnvFile(*command, arguments->env_file);
    AddMail(*command, arguments->request.mail);
    command
        ->add_option("--draft", arguments->request.draft,
                     "保存したメールの代わりに送る下書き (Subject などの見出し、空の行、本文。UTF-8)")
        ->type_name("FILE");
    command
        ->add_option("--to", arguments->request.to,
                     "--draft の宛先: all (DMを受け取る顧客の全員)、または個人情報ID (カンマ区切り)")
        ->type_name("TO");
    CLI::Option* retry = command->add_flag("--retry", arguments->request.retry,
                                           "前に送れず、再送信が許される宛先だけに送ります");
    command
        ->add_flag("--test", arguments->request.test,
                   "テスト送信の相手 (testers) に送ります。履歴に残りません")
        ->excludes(retry);
    command->add_option("--smtp", arguments->request.smtp, "送信サーバー (なければ設定のもの)")
        ->type_name("HOST:PORT");
    command->add_option("--threads", arguments->request.threads, "同時に使う接続の数")
        ->check(NumberFrom(1, most_threads))
        ->type_name("N");
    command->add_option("--report", arguments->request.report, "宛先ごとの結果を書くCSVファイル")
        ->type_name("FILE");
    command->add_flag("--resume", arguments->request.resume,
                      "--report のファイルに書き足します。--draft では、そこにある前回の続きを送ります");
    command->add_flag("--ask-receipt", arguments->request.ask_receipt,
                      "開封の通知を求めます (保存したメールだけ)");
    command->add_flag("--dry-run", arguments->request.dry_run, "送らずに、宛先だけを表示します");
    command->add_flag("--force", arguments->request.force, "下書きに指摘があっても送ります");
    AddAccess(*command, arguments->access);
    command->callback([arguments] {
        IgnoreClosedPipes();
        arguments->request.Run(arguments->access, arguments->env_file);
    });
}

}  // namespace cli
