#include <iostream>
#include <memory>

#include "cli/command.h"
#include "engine/receiving/news.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
};

void Run(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    if (auto const changed = DateOfNews(session))
        std::cout << "お知らせの更新日時: " << *changed << "\n";
    else
        std::cout << "お知らせはありますが、更新日時は分かりません。\n";
}

}  // namespace

void AddNewsCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    AddOne(program, "news", "お知らせのページの更新日時を表示します", arguments, Run);
}

}  // namespace cli
