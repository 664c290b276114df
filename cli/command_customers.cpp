#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/command_import.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/customers/checked_customer.h"
#include "engine/customers/elements.h"

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
    bool yes = false;
};

std::vector<int> IdsOf(Arguments const& arguments, CDatabaseEdit& customers) {
    CArray<int, int> ids;
    if (arguments.deleted)
        customers.GetDeleteCustomerList(ids);
    else if (arguments.all)
        customers.GetDBIDALL(ids);
    else
        customers.GetDBIDWithoutDelete(ids);
    return {ids.begin(), ids.end()};
}

void List(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    const Elements elements(session);
    const std::vector<int> columns = elements.NamedList(arguments.columns);
    std::vector<std::string> titles;
    for (int const column : columns) titles.push_back(elements.At(column).title);
    const std::vector<int> ids = IdsOf(arguments, session.Customers());
    const std::size_t shown =
        arguments.limit > 0 ? std::min(ids.size(), static_cast<std::size_t>(arguments.limit)) : ids.size();
    Listing listing(std::cout, format, titles);
    for (std::size_t i = 0; i < shown; ++i) {
        std::vector<CString> cells;
        for (int const column : columns)
            cells.push_back(session.Customers().GetCustomerDataPinPoint(ids[i], column));
        listing.Add(std::move(cells));
    }
    listing.End();
    if (format == ListFormat::table)
        std::cout << Grouped(ids.size()) << "件"
                  << (shown < ids.size() ? "のうち " + Grouped(shown) + "件" : "") << "\n";
}

[[noreturn]] void Unknown(int id) {
    throw Failure(Failure::customer_not_found, "その個人情報IDの顧客はいません: " + std::to_string(id));
}

OneCustomer Fetch(Session& session, int id) {
    OneCustomer customer;
    if (session.Customers().GetOneCustomerForEdit(customer, id) < 0) Unknown(id);
    return customer;
}

void ShowOne(Session& session, Elements const& elements, int id) {
    for (int number = 0; number < customers::element_count; ++number) {
        Element const& element = elements.At(number);
        const CString value = session.Customers().GetCustomerDataPinPoint(id, number);
        if (element.title.empty() || value.IsEmpty()) continue;
        std::cout << element.title << ": " << Out(OnOneLine(value.View())) << "\n";
    }
}

void Show(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    const Elements elements(session);
    Fetch(session, arguments.id);
    ShowOne(session, elements, arguments.id);
}

void RefuseKnownAddress(Session& session, CString const& address, int own_id) {
    int const id = session.Customers().SearchCustomerOneElement(customers::element_address, address, -1,
                                                                static_cast<Direction>(0));
    if (id >= 0 && id != own_id) {
        throw Failure(Failure::customer_exists, "このメールアドレスの顧客はもういます: 個人情報ID " +
                                                    std::to_string(id) +
                                                    (session.Customers().FindCustomerID(id, 0) == 1
                                                         ? ""
                                                         : " (削除済み。customers restore で戻せます)"));
    }
}

void Store(Session& session, Elements const& elements, OneCustomer& customer,
           std::vector<std::string> const& values) {
    TakeValues(elements, values, customer);
    if (customer.Email.IsEmpty())
        throw Failure(Failure::invalid_value,
                      "メールアドレスが必要です。「メールアドレス=...」を加えてください。");
    RefuseKnownAddress(session, customer.Email, customer.CustomerID);
    if (session.Customers().SetOneCustomerInfo(customer, 0) < 0)
        throw Failure(Failure::operation_failed,
                      "顧客を書き込めません: " + TextOf(session.Customers().GetErrMsg()));
    session.SaveCustomers();
    ShowOne(session, elements, customer.CustomerID);
}

void Add(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    const Elements elements(session);
    OneCustomer customer;
    session.Customers().GetOneCustomerForNew(customer, 1);
    Store(session, elements, customer, arguments.values);
}

void Set(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    const Elements elements(session);
    OneCustomer customer = Fetch(session, arguments.id);
    Store(session, elements, customer, arguments.values);
}

// The same for every ID, all or none.
template <class Change>
void ChangeEach(Arguments const& arguments, char const* done, Change change) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    for (int const id : arguments.ids)
        if (session.Customers().FindCustomerID(id, 1) != 1) Unknown(id);
    for (int const id : arguments.ids)
        if (change(session.Customers(), id) < 0)
            throw Failure(Failure::operation_failed, "変えられませんでした: " + std::to_string(id) + "\n" +
                                                         TextOf(session.Customers().GetErrMsg()));
    session.SaveCustomers();
    std::cout << Grouped(arguments.ids.size()) << "件を" << done << "\n";
}

void Delete(Arguments const& arguments) {
    ChangeEach(arguments, "削除しました (customers restore で戻せます)。",
               [](CDatabaseEdit& customers, int id) { return customers.DeleteCustomer(id); });
}

void Restore(Arguments const& arguments) {
    ChangeEach(arguments, "戻しました。", [](CDatabaseEdit& customers, int id) {
        if (customers.GetCustomerDataPinPoint(id, customers::element_address).IsEmpty())
            throw Failure(Failure::erased, "消去された顧客は戻せません: " + std::to_string(id));
        return customers.UnDeleteCustomer(id);
    });
}

void Erase(Arguments const& arguments) {
    if (!arguments.yes)
        throw Failure(Failure::not_confirmed,
                      "消去した個人情報は戻せません。消去してよければ --yes をつけてください。");
    ChangeEach(arguments, "消去しました (番号だけが残ります)。",
               [](CDatabaseEdit& customers, int id) { return customers.PhysicalDeletion(id); });
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
    CLI::App* erase = AddOne(*family, "erase", "顧客の個人情報を消去します (戻せません)", arguments, Erase);
    add_ids(erase);
    erase->add_flag("--yes", arguments->yes, "確かめずに消去します");
}

}  // namespace cli
