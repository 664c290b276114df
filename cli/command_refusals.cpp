#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/customers/refusal_list.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::vector<std::string> addresses;
    std::string note, consent, file;
    bool history = false;
    bool force = false;
    std::string format = "table";
};

using Rows = std::vector<std::vector<std::string>>;
struct Table {
    std::vector<std::string> titles;
    Rows rows;
};

std::string MailText(int mail) { return mail < 0 ? std::string() : std::to_string(mail); }

Table RefusalsOf(Session& session, bool with_history) {
    Refusals const refusals(session);
    Table table{{"メールアドレス", "日時", "方法", "メール", "メモ"}, {}};
    auto const add = [&](Refusal const& one, char const* how) {
        table.rows.push_back({one.address, one.time, how, MailText(one.mail), one.note});
    };
    if (with_history)
        for (RefusalEvent const& event : refusals.History())
            add(event.refusal, event.lifted ? "同意により解除" : WordOf(event.refusal.how));
    else
        for (Refusal const& one : refusals.All()) add(one, WordOf(one.how));
    return table;
}

Table SuspensionsOf(Session& session) {
    Table table{{"メールアドレス", "日時", "理由", "メール", "メモ"}, {}};
    for (Suspension const& one : Suspensions(session).All())
        table.rows.push_back({one.address, one.time, WordOf(one.by), MailText(one.mail), one.note});
    return table;
}

void Show(std::ostream& out, ListFormat format, Table const& table) {
    Listing listing(out, format, table.titles);
    for (std::vector<std::string> const& row : table.rows) listing.Add(row);
    listing.End();
    if (format == ListFormat::table) out << Grouped(table.rows.size()) << "件\n";
}

void Export(Session& session, Arguments const& arguments, Table const& table) {
    std::string const file = std::filesystem::absolute(arguments.file).string();
    if (std::filesystem::exists(file) && !arguments.force)
        throw Failure(Failure::file_exists, "ファイルがもうあります: " + arguments.file +
                                                "\n上書きするなら --force をつけてください。");
    if (session.Owns(file))
        throw Failure(Failure::protected_file,
                      "環境のファイルとディレクトリの外に作ってください: " + arguments.file);
    std::ostringstream text;
    text << byte_order_mark;  // spreadsheets look for it
    Show(text, ListFormat::csv, table);
    if (!ReplaceFile(file, text.str(), Readers::owner))
        throw Failure(Failure::not_written, "書き出せませんでした: " + arguments.file);
    std::cout << Grouped(table.rows.size()) << "件を書き出しました: " << arguments.file << "\n";
}

void ListRefusals(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    Show(std::cout, format, RefusalsOf(session, arguments.history));
}

void ExportRefusals(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    Export(session, arguments, RefusalsOf(session, false));
}

void AddToRefusals(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    std::size_t const added = AddRefusals(session, arguments.addresses, RefusedBy::user, arguments.note);
    std::cout << Grouped(added) << "件を配信停止にしました。\n";
}

void RemoveRefusals(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    LiftRefusals(session, arguments.addresses, arguments.consent);
    std::cout << Grouped(arguments.addresses.size()) << "件の配信停止を解きました (同意は記録しました)。\n";
}

void ImportToRefusals(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    std::size_t const added = ImportRefusals(session, arguments.file);
    std::cout << Grouped(added) << "件を配信停止にしました。\n";
}

void ListSuspensions(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    Show(std::cout, format, SuspensionsOf(session));
}

void ExportSuspensions(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    Export(session, arguments, SuspensionsOf(session));
}

void AddToSuspensions(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    std::size_t const added = AddSuspensions(session, arguments.addresses, arguments.note);
    std::cout << Grouped(added) << "件に送るのを止めました。\n";
}

void RemoveSuspensions(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    LiftSuspensions(session, arguments.addresses);
    std::cout << Grouped(arguments.addresses.size()) << "件に、また送るようにしました。\n";
}

using Run = void (*)(Arguments const&);

void AddAddresses(CLI::App& command, Arguments& arguments) {
    command.add_option("ADDRESS", arguments.addresses, "メールアドレス")->required()->type_name("");
}

void AddAdd(CLI::App& family, std::shared_ptr<Arguments> const& arguments, char const* text, Run run) {
    CLI::App* add = AddOne(family, "add", text, arguments, run);
    AddAddresses(*add, *arguments);
    add->add_option("--note", arguments->note, "メモ")->type_name("TEXT");
}

void AddExport(CLI::App& family, std::shared_ptr<Arguments> const& arguments, char const* text, Run run) {
    CLI::App* command = AddOne(family, "export", text, arguments, run);
    command->add_option("FILE", arguments->file, "CSVファイル")->required()->type_name("");
    command->add_flag("--force", arguments->force, "ファイルがあれば上書きします");
}

void AddRefusalsFamily(CLI::App& program) {
    CLI::App* family = program.add_subcommand("refusals", "配信停止を申し出た宛先の一覧を、表示し、変えます");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    CLI::App* list = AddOne(*family, "list", "配信停止の宛先を表示します", arguments, ListRefusals);
    list->add_flag("--history", arguments->history, "解除したものも含め、記録をすべて表示します");
    AddFormat(*list, arguments->format);
    AddAdd(*family, arguments, "配信停止にします (顧客なら DM送付可否 も N になります)", AddToRefusals);
    CLI::App* remove =
        AddOne(*family, "remove", "本人の同意を得て、配信停止を解きます (顧客なら Y になります)", arguments,
               RemoveRefusals);
    AddAddresses(*remove, *arguments);
    remove->add_option("--consent", arguments->consent, "本人の同意をいつどう得たか (記録します)")
        ->type_name("TEXT");
    AddExport(*family, arguments, "配信停止の宛先をCSVファイルに書き出します", ExportRefusals);
    AddOne(*family, "import", "CSVファイルのメールアドレスを、すべて配信停止にします", arguments,
           ImportToRefusals)
        ->add_option("FILE", arguments->file, "CSVファイル (メールアドレスの列があるもの)")
        ->required()
        ->type_name("");
}

void AddSuppressedFamily(CLI::App& program) {
    CLI::App* family =
        program.add_subcommand("suppressed", "届かないので送るのを止めている宛先を、表示し、変えます");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    AddFormat(*AddOne(*family, "list", "止めている宛先を表示します", arguments, ListSuspensions),
              arguments->format);
    AddAdd(*family, arguments, "宛先に送るのを止めます", AddToSuspensions);
    AddAddresses(*AddOne(*family, "remove", "宛先にまた送るようにします", arguments, RemoveSuspensions),
                 *arguments);
    AddExport(*family, arguments, "止めている宛先をCSVファイルに書き出します", ExportSuspensions);
}

}  // namespace

void AddRefusalsCommands(CLI::App& program) {
    AddRefusalsFamily(program);
    AddSuppressedFamily(program);
}

}  // namespace cli
