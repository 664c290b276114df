#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/customers/testers.h"

namespace cli {
namespace {

constexpr char const* default_columns = "個人情報ID,メールアドレス,名前(姓),名前(名)";

struct Arguments {
    Access access;
    std::string env_file;
    std::vector<int> ids;
    std::vector<std::string> values;
    std::string columns = default_columns;
    std::string format = "table";
};

void Add(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    NewTester const added = AddTester(session, arguments.values);
    std::cout << "テスト送信の相手を登録しました。番号は " << added.key << " です: " << added.address << "\n";
}

void List(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    TesterTable const testers = ListTesters(session, arguments.columns);
    Listing listing(std::cout, format, testers.titles);
    for (std::vector<std::string> const& row : testers.rows) listing.Add(row);
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(testers.rows.size()) << "件\n";
}

void Delete(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    DeleteTesters(session, arguments.ids);
    std::cout << Grouped(arguments.ids.size()) << "件を削除しました。\n";
}

}  // namespace

void AddTestersCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("testers", "テスト送信の相手を登録し、表示します");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    AddOne(*family, "add", "テスト送信の相手を登録します", arguments, Add)
        ->add_option("列=値", arguments->values, "例: \"メールアドレス=me@example.jp\" \"名前(姓)=山田\"")
        ->required()
        ->type_name("");
    CLI::App* list = AddOne(*family, "list", "テスト送信の相手を表示します", arguments, List);
    list->add_option("--columns", arguments->columns, "表示する列の名前または番号 (カンマ区切り)")
        ->type_name("COL,...");
    AddFormat(*list, arguments->format);
    AddOne(*family, "delete", "テスト送信の相手を削除します", arguments, Delete)
        ->add_option("ID", arguments->ids, "番号")
        ->required()
        ->check(NumberFrom(0))
        ->type_name("");
}

}  // namespace cli
