#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/customers/checked_customer.h"
#include "engine/customers/elements.h"
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

void Save(Session& session, CTestMailingInfo& testers) {
    session.SaveTable(testers_file, "テスト送信の相手", [&](CString const& path, char const* key) {
        return testers.WriteFromMemoryToFileAppointFileName(path, key) == CTestMailingInfo::ok;
    });
}

int LineOf(CTestMailingInfo const& testers, int id) {
    for (int line = 0; line < testers.GetLineNumber(); ++line)
        if (std::atoi(testers.GetAtElement(line, customers::element_id)) == id) return line;
    throw Failure(Failure::tester_not_found, "その番号のテスト送信の相手はいません: " + std::to_string(id));
}

void Add(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    const Elements elements(session);
    CTestMailingInfo testers;
    LoadTesters(session, testers);
    int id = 0;
    for (OneCustomer const& known : Testers(session)) id = std::max(id, known.CustomerID + 1);
    OneCustomer tester;
    testers.InitOneCustomer(tester, id);
    TakeValues(elements, arguments.values, tester);
    if (tester.Email.IsEmpty())
        throw Failure(Failure::invalid_value,
                      "メールアドレスが必要です。「メールアドレス=...」を加えてください。");
    if (testers.SetTestMailingInfo(tester, id) < 0)
        throw Failure(Failure::operation_failed, "登録できません: " + TextOf(testers.GetErrMsg()));
    Save(session, testers);
    std::cout << "テスト送信の相手を登録しました。番号は " << id << " です: " << Out(tester.Email) << "\n";
}

void List(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    const Elements elements(session);
    const std::vector<int> columns = elements.NamedList(arguments.columns);
    std::vector<std::string> titles;
    for (int const column : columns) titles.push_back(elements.At(column).title);
    CTestMailingInfo testers;
    LoadTesters(session, testers);
    Listing listing(std::cout, format, titles);
    for (int line = 0; line < testers.GetLineNumber(); ++line) {
        std::vector<CString> cells;
        for (int const column : columns) cells.push_back(testers.GetAtElement(line, column));
        listing.Add(std::move(cells));
    }
    listing.End();
    if (format == ListFormat::table)
        std::cout << Grouped(static_cast<std::uint64_t>(testers.GetLineNumber())) << "件\n";
}

void Delete(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    CTestMailingInfo testers;
    LoadTesters(session, testers);
    for (int const id : arguments.ids) testers.RemoveLine(LineOf(testers, id));
    Save(session, testers);
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
