#include <memory>

#include "cli/command.h"
#include "cli/terminal.h"
#include "engine/receiving/receive_request.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    ReceiveRequest request;
};

void Receive(Arguments const& arguments) {
    IgnoreClosedPipes();
    arguments.request.Run(arguments.access, arguments.env_file);
}

}  // namespace

void AddReceiveCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command =
        AddOne(program, "receive", "返ってきたメール (エラー、開封、配信停止、登録) を受け取り、反映します",
               arguments, Receive);
    CLI::Option* pop =
        command->add_option("--pop", arguments->request.pop, "受信サーバー (なければ設定のもの)")
            ->type_name("HOST:PORT");
    CLI::Option* folder = command
                              ->add_option("--from-dir", arguments->request.from_dir,
                                           "サーバーの代わりに、メールのファイルのディレクトリ")
                              ->type_name("DIR")
                              ->excludes(pop);
    command->add_option("--mbox", arguments->request.mbox, "サーバーの代わりに、mboxファイル")
        ->type_name("FILE")
        ->excludes(pop)
        ->excludes(folder);
    CLI::Option* keep =
        command->add_flag("--keep", arguments->request.keep, "受信したメールをサーバーに残します");
    command->add_flag("--delete", arguments->request.remove, "反映したメールをサーバーから消します")
        ->excludes(keep);
    command->add_flag("--dry-run", arguments->request.dry_run, "何も変えずに、することだけを表示します");
}

}  // namespace cli
