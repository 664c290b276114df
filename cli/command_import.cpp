#include "cli/command_import.h"

#include <memory>

#include "cli/command.h"
#include "engine/customers/csv_import.h"
#include "engine/customers/program_import.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    CsvImport csv;
    ProgramImport program;
};

}  // namespace

void AddImportCommand(CLI::App& family) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = family.add_subcommand("import", "CSVファイルから顧客を取り込みます");
    AddEnvFile(*command, arguments->env_file);
    CsvImport& csv = arguments->csv;
    command->add_option("FILE", csv.file, "CSVファイル。1行目の見出しで列を決めます")
        ->required()
        ->type_name("");
    command
        ->add_option("--columns", csv.columns,
                     "列の対応。顧客の列 (名前か番号) = ファイルの列 (見出しか1からの番号)")
        ->type_name("1=2,2=3,...");
    command->add_option("--encoding", csv.encoding, "auto、cp932 (Shift_JIS)、utf-8、utf-16 のどれか")
        ->type_name("ENCODING");
    command->add_option("--delimiter", csv.delimiter, "区切り: auto、comma、tab、semicolon か、半角の1文字")
        ->type_name("C");
    command->add_option("--quote", csv.quote, "引用符 (空ならなし)")->type_name("C");
    CLI::Option* keep = command->add_flag("--keep-existing", csv.keep, "もういる顧客は変えません");
    command->add_flag("--replace", csv.replace, "今の顧客をすべて置き換えます")->excludes(keep);
    command->add_flag("--no-header", csv.no_header,
                      "1行目も顧客です (メールアドレスがあれば、指定しなくても分かります)");
    command->add_flag("--strict", csv.strict, "customers add と同じく確かめ、疑わしい行も断ります");
    command->add_flag("--restore-deleted", csv.restore_deleted,
                      "削除した顧客がファイルにいれば戻します (なければ、削除したままにします)");
    command
        ->add_option(
            "--consent", csv.consent,
            "配信停止を申し出た人のうち、ファイルの DM送付可否 が Y の人に再び送ります。本人の同意をどう"
            "得たかを書きます (記録します)")
        ->type_name("TEXT");
    ProgramImport& program = arguments->program;
    CLI::Option* from =
        command
            ->add_option("--from", program.from,
                         "ほかのプログラムのファイルとして取り込みます: becky、outlook、fudemame "
                         "(筆まめ)、corvane、belmora")
            ->type_name("PROGRAM");
    for (char const* csv_only : {"--columns", "--encoding", "--delimiter", "--quote", "--keep-existing",
                                 "--replace", "--no-header", "--strict"})
        from->excludes(command->get_option(csv_only));
    auto const add = [&](char const* name, auto& value, char const* text, char const* type) {
        command->add_option(name, value, text)->needs(from)->type_name(type);
    };
    add("--converter", program.converter, "筆まめの住所録をCSVにするプログラム", "FILE");
    add("--dm", program.direct_mail,
        "住所録の人のDM送付可否: yes、no、new-yes (新しい人だけY)、new-no (新しい人だけN)", "WHO");
    add("--existing", program.existing, "もういる顧客: newer (データが新しければ変える)、overwrite、keep",
        "HOW");
    add("--log", program.log, "記録のファイル (なければ FILE.log)", "FILE");
    command
        ->add_flag("--take-attributes", program.take_attributes,
                   "拡張属性の名前と種類をデータのものにします (belmora)")
        ->needs(from);
    command->add_flag("--yes", program.yes, "取り込みの途中の質問に「はい」と答えます")->needs(from);
    AddAccess(*command, arguments->access);
    command->callback([arguments] {
        if (!arguments->program.from.empty()) {
            arguments->program.file = arguments->csv.file;
            arguments->program.restore_deleted = arguments->csv.restore_deleted;
            arguments->program.consent = arguments->csv.consent;
            arguments->program.Check();
            Session session(arguments->access, arguments->env_file, Session::For::changing);
            return arguments->program.Run(session);
        }
        Session session(arguments->access, arguments->env_file, Session::For::changing);
        arguments->csv.Run(session);
    });
}

}  // namespace cli
