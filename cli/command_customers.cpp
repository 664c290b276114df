#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/command_import.h"
#include "cli/listing.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/customers/customer_table.h"

namespace cli {
namespace {

constexpr char const* default_columns = "個人情報ID,メールアドレス,名前(姓),名前(名),都道府県,DM送付可否";

struct Arguments {
    Access access;
    std::string env_file;
    bool all = false;
    bool deleted = false;
    std::string columns = default_columns;
    int limit = 0;
    std::string format = "table";
    int id = -1;
    std::vector<int> ids;
    std::vector<std::string> values;
    std::string consent;
    bool yes = false;
};

void List(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    CustomerList const customers(session,
                                 arguments.deleted ? CustomerView::deleted
                                 : arguments.all   ? CustomerView::all
                                                   : CustomerView::live,
                                 arguments.columns);
    std::size_t const total = customers.Size();
    std::size_t const shown =
        arguments.limit > 0 ? std::min(total, static_cast<std::size_t>(arguments.limit)) : total;
    Listing listing(std::cout, format, customers.Titles());
    for (std::size_t row = 0; row < shown; ++row) listing.Add(customers.Row(row));
    listing.End();
    if (format == ListFormat::table)
        std::cout << Grouped(total) << "件" << (shown < total ? "のうち " + Grouped(shown) + "件" : "")
                  << "\n";
}

void ShowOne(Session& session, int id) {
    for (CustomerField const& field : FieldsOf(session, id))
        std::cout << field.title << ": " << OnOneLine(field.value) << "\n";
}

void Show(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    ShowOne(session, arguments.id);
}

void Add(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    ShowOne(session, AddCustomer(session, arguments.values, arguments.consent));
}

void Set(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    ChangeCustomer(session, arguments.id, arguments.values, arguments.consent);
    ShowOne(session, arguments.id);
}

void ChangeEach(Arguments const& arguments, char const* done,
                void (*change)(Session&, std::vector<int> const&)) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    change(session, arguments.ids);
    std::cout << Grouped(arguments.ids.size()) << "件を" << done << "\n";
}

void Delete(Arguments const& arguments) {
    ChangeEach(arguments, "削除しました (customers restore で戻せます)。", DeleteCustomers);
}

void Restore(Arguments const& arguments) { ChangeEach(arguments, "戻しました。", RestoreCustomers); }

void Erase(Arguments const& arguments) {
    if (!arguments.yes)
        throw Failure(Failure::not_confirmed, "個人情報を消去します。よければ --yes をつけてください。");
    ChangeEach(arguments, "消去しました (番号だけが残ります)。", EraseCustomers);
}

}  // namespace

void AddCustomersCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("customers", "顧客を取り込み、表示し、変えます");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    AddImportCommand(*family);

    CLI::App* list = AddOne(*family, "list", "顧客の一覧を表示します", arguments, List);
    CLI::Option* all = list->add_flag("--all", arguments->all, "削除済みの顧客も含めます");
    list->add_flag("--deleted", arguments->deleted, "削除済みの顧客だけにします")->excludes(all);
    list->add_option("--columns", arguments->columns, "表示する列の名前または番号 (カンマ区切り)")
        ->type_name("COL,...");
    list->add_option("--limit", arguments->limit, "表示する件数の上限")->check(NumberFrom(1))->type_name("N");
    AddFormat(*list, arguments->format);

    auto const add_id = [&](CLI::App* command) {
        command->add_option("ID", arguments->id, "個人情報ID")
            ->required()
            ->check(NumberFrom(0))
            ->type_name("");
    };
    auto const add_values = [&](CLI::App* command) {
        command->add_option("列=値", arguments->values, "例: \"名前(姓)=山田\"")->required()->type_name("");
        command
            ->add_option("--consent", arguments->consent,
                         "配信停止を申し出た人を Y にするとき、本人の同意をどう得たかを書きます (記録します)")
            ->type_name("TEXT");
    };
    auto const add_ids = [&](CLI::App* command) {
        command->add_option("ID", arguments->ids, "個人情報ID")
            ->required()
            ->check(NumberFrom(0))
            ->type_name("");
    };
    add_id(AddOne(*family, "show", "1人の顧客を表示します", arguments, Show));
    add_values(AddOne(*family, "add", "顧客を1人加えます", arguments, Add));
    CLI::App* set = AddOne(*family, "set", "1人の顧客を変えます", arguments, Set);
    add_id(set);
    add_values(set);
    add_ids(AddOne(*family, "delete", "顧客を削除します (戻せます)", arguments, Delete));
    add_ids(AddOne(*family, "restore", "削除した顧客を戻します", arguments, Restore));
    CLI::App* erase = AddOne(*family, "erase", "顧客の個人情報を消去します", arguments, Erase);
    add_ids(erase);
    erase->add_flag("--yes", arguments->yes, "確かめずに消去します");
}

}  // namespace cli
