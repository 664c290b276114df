#include "command_import.h"

#include <atomic>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "command.h"
#include "crossing.h"
#include "csv_source.h"
#include "elements.h"
#include "failure.h"
#include "listing.h"
#include "program_import.h"
#include "progress.h"
#include "terminal.h"
#include "whole_file.h"

namespace app {
namespace {

constexpr std::size_t reasons_shown = 50;
constexpr char const* keep_existing = "2";
constexpr char const* overwrite_existing = "1";

struct Arguments {
    Access access;
    std::string env_file;
    std::string file;
    std::string columns;
    std::string encoding = "auto";
    std::string delimiter = ",";
    std::string quote = "\"";
    bool keep = false;
    bool replace = false;
    bool no_header = false;
    ProgramImport program;
};

char SingleByte(std::string const& text, char const* option, bool may_be_empty) {
    if (text == "\\t") return '\t';
    if (text.empty() && may_be_empty) return 0;
    if (text.size() != 1 || static_cast<unsigned char>(text[0]) >= 0x80 || text[0] == '\r' || text[0] == '\n')
        throw Failure(std::string(option) + " は半角の1文字です: " + text, exit_usage);
    return text[0];
}

std::string ReadFile(std::string const& name) {
    std::string content = ReadWholeFile(name, "ファイル");
    if (content.empty()) throw Failure("ファイルが空です: " + name);
    return content;
}

// What is refused of one record, and why.
struct Refused {
    CsvSource::Record record;
    std::string reason;
};

class Import {
  public:
    Import(Arguments const& arguments, Session& session)
        : arguments_(arguments),
          session_(session),
          elements_(session),
          delimiter_(SingleByte(arguments.delimiter, "--delimiter", false)),
          quote_(SingleByte(arguments.quote, "--quote", true)),
          source_(ReadFile(arguments.file), EncodingOf(arguments.encoding), delimiter_, quote_),
          work_file_(session.WorkFile()) {}
    ~Import() {
        std::error_code ignored;
        std::filesystem::remove(work_file_, ignored);
    }
    Import(Import const&) = delete;
    Import& operator=(Import const&) = delete;

    void Run();

  private:
    CArray<CString, CString> Divide(std::string const& record) const {
        CArray<CString, CString> fields;
        SplitString(CString(std::string_view(record)), fields, CString(delimiter_), quote_);
        return fields;
    }
    void ReadTitles();
    void AssignByTitles();
    void AssignByOption();
    int ColumnNamed(std::string_view name) const;
    void Assign(int element, int column);
    void Prepare();
    int Call();
    std::string ReasonFor(std::string const& line) const;
    void WriteRefused() const;
    void Report(int imported) const;

    Arguments const& arguments_;
    Session& session_;
    const Elements elements_;
    char delimiter_, quote_;
    CsvSource source_;
    std::string work_file_;
    CsvSource::Record title_record_{};
    std::vector<std::string> titles_;
    CArray<int, int> assignment_;
    std::vector<CsvSource::Record> given_;    // what the library gets, a line each
    std::map<std::size_t, Refused> refused_;  // by line of the file
    int known_ = 0;                           // customers before the import
    int added_ = 0;
    std::size_t kept_ = 0;  // known ones that were left as they are
    bool stopped_ = false;
};

void Import::ReadTitles() {
    if (arguments_.no_header) return;
    if (!source_.Next(title_record_)) throw Failure("見出しの行がありません: " + arguments_.file);
    const Crossed crossed = source_.ForLibrary(title_record_);
    if (crossed.no_form)
        throw Failure("見出しの行に使えない文字があります: " + Describe(*crossed.no_form) +
                      "\nShift_JISかUTF-8のCSVファイルか確かめてください。");
    CArray<CString, CString> const fields = Divide(crossed.text);
    for (int i = 0; i < fields.GetSize(); ++i) titles_.push_back(Out(fields[i]));
}

void Import::Assign(int element, int column) { assignment_.SetAt(element, column); }

void Import::AssignByTitles() {
    for (std::size_t column = 0; column < titles_.size(); ++column) {
        int element = elements_.Find(titles_[column]);
        if (element < 0 || (element >= 0 && std::isdigit(static_cast<unsigned char>(titles_[column][0]))))
            continue;
        if (assignment_[element] < 0) Assign(element, static_cast<int>(column));
    }
}

int Import::ColumnNamed(std::string_view name) const {
    for (std::size_t column = 0; column < titles_.size(); ++column)
        if (titles_[column] == name) return static_cast<int>(column);
    int number = 0;
    auto const [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error == std::errc() && end == name.data() + name.size() && number >= 1) return number - 1;
    throw Failure("ファイルにそういう列はありません (見出し、または1からの番号): " + std::string(name));
}

void Import::AssignByOption() {
    std::string_view rest = arguments_.columns;
    while (!rest.empty()) {
        const std::size_t comma = std::min(rest.find(','), rest.size());
        const std::string_view item = rest.substr(0, comma);
        const std::size_t equals = item.find('=');
        if (equals == item.npos)
            throw Failure("--columns は「顧客の列=ファイルの列」の形です: " + std::string(item), exit_usage);
        Assign(elements_.Named(item.substr(0, equals)), ColumnNamed(item.substr(equals + 1)));
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
}

// Writes what the library is to read: one record a line, in code page 932.
void Import::Prepare() {
    std::ofstream work(work_file_, std::ios::binary | std::ios::trunc);
    std::string block;
    CsvSource::Record record;
    while (source_.Next(record)) {
        Crossed crossed = source_.ForLibrary(record);
        if (crossed.no_form) {
            refused_[record.line] = {record, "使えない文字: " + Describe(*crossed.no_form)};
            continue;
        }
        block += crossed.text;
        block += "\r\n";
        given_.push_back(record);
        if (block.size() > 1 << 20) {
            work << block;
            block.clear();
        }
    }
    work << block;
    work.close();
    if (!work) throw Failure("作業ファイルを書けません: " + work_file_);
}

// The library's import, with a watch on Ctrl-C beside it.
int Import::Call() {
    CArray<int, int> error_lines;
    CArray<CString, CString> error_texts;
    int imported = 0;
    CDatabaseEdit& customers = session_.Customers();
    const std::jthread watch([&](std::stop_token const& ended) {
        while (!ended.stop_requested()) {
            if (Interrupted()) customers.SetStopImportFlag(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    int result = 0;
    {
        const Progress progress("取り込み", "件", given_.size(), [&] {
            return static_cast<std::uint64_t>(std::atomic_ref<int>(imported).load(std::memory_order_relaxed));
        });
        result = customers.ImportDBfromFile(IntoPath(work_file_), CString(delimiter_), quote_, assignment_,
                                            arguments_.replace ? 0 : 1, &imported, error_lines, error_texts,
                                            arguments_.keep ? keep_existing : overwrite_existing);
    }
    auto const counted = static_cast<std::size_t>(imported + error_lines.GetSize());
    stopped_ = Interrupted() && counted < given_.size();
    if (arguments_.keep && !stopped_ && result >= 0) kept_ = given_.size() - counted;
    for (int i = 0; i < error_lines.GetSize(); ++i) {
        CsvSource::Record const& record = given_[static_cast<std::size_t>(error_lines[i] - 1)];
        refused_[record.line] = {record, ReasonFor(std::string(error_texts[i].View()))};
    }
    return result;
}

// The first value that the element's rule refuses, as the import went over them.
std::string Import::ReasonFor(std::string const& line) const {
    CArray<CString, CString> const fields = Divide(line);
    for (int element = 0; element < customers::element_count; ++element) {
        int const column = assignment_[element];
        if (column < 0) continue;
        const CString value = fields.GetAt(column);
        const std::string refusal = RefusalOf(elements_.At(element), value);
        if (!refusal.empty())
            return elements_.At(element).title + ": " + refusal +
                   (value.IsEmpty() ? "" : ": " + OnOneLine(Out(value)));
    }
    return "取り込めない行です";
}

void Import::WriteRefused() const {
    const std::string name = arguments_.file + ".refused.csv";
    std::error_code ignored;
    if (refused_.empty()) {
        std::filesystem::remove(name, ignored);
        return;
    }
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    if (source_.Kind() == Encoding::utf8) file << byte_order_mark;  // spreadsheets look for it
    if (!arguments_.no_header) file << title_record_.raw << "\r\n";
    for (auto const& [line, refused] : refused_) file << refused.record.raw << "\r\n";
    file.close();
    if (!file) throw Failure("取り込めなかった行を書き出せません: " + name);
    std::cerr << "取り込めなかった行はここにあります (直して、もう一度取り込めます): " << name << "\n";
}

void Import::Report(int imported) const {
    std::size_t shown = 0;
    for (auto const& [line, refused] : refused_) {
        if (shown++ == reasons_shown) {
            std::cerr << "… ほか " << Grouped(refused_.size() - reasons_shown) << "行\n";
            break;
        }
        std::cerr << line << "行: " << refused.reason << "\n";
    }
    WriteRefused();
    if (source_.Joined() > 0)
        std::cerr << Grouped(source_.Joined()) << "行で、引用符の中の改行を空白にしました。\n";
    if (stopped_) std::cerr << "途中で止めました。同じコマンドで続きを取り込めます。\n";
    std::cout << "新規 " << Grouped(static_cast<std::uint64_t>(added_)) << "件、更新 "
              << Grouped(static_cast<std::uint64_t>(imported - added_)) << "件、"
              << (arguments_.keep ? "そのまま " + Grouped(kept_) + "件、" : "") << "取り込めず "
              << Grouped(refused_.size()) << "件\n";
}

void Import::Run() {
    assignment_.SetSize(customers::element_count);
    for (int& column : assignment_) column = -1;
    ReadTitles();
    AssignByTitles();
    AssignByOption();
    if (assignment_[customers::element_address] < 0)
        throw Failure(
            "メールアドレスの列が分かりません。見出しに「メールアドレス」と書くか、--columns "
            "メールアドレス=列 で指定してください。");
    Prepare();
    CArray<int, int> before, after;
    known_ = arguments_.replace ? 0 : session_.Customers().GetDBIDALL(before);
    int const imported = Call();
    if (imported < 0) throw Failure("取り込めません: " + TextOf(session_.Customers().GetErrMsg()));
    added_ = session_.Customers().GetDBIDALL(after) - known_;
    if (arguments_.replace && (imported == 0 || stopped_)) {
        Report(imported);
        throw Failure(stopped_ ? "途中で止めたので、置き換えませんでした。前の顧客はそのままです。"
                               : "取り込める行がないので、置き換えませんでした。前の顧客はそのままです。");
    }
    if (imported > 0) session_.SaveCustomers();
    Report(imported);
    if (stopped_) throw Failure("");
    if (imported == 0 && kept_ == 0 && !refused_.empty()) throw Failure("取り込める行がありません。");
}

}  // namespace

void AddImportCommand(CLI::App& family) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = family.add_subcommand("import", "CSVファイルから顧客を取り込みます");
    AddEnvFile(*command, arguments->env_file);
    command->add_option("FILE", arguments->file, "CSVファイル。1行目の見出しで列を決めます")
        ->required()
        ->type_name("");
    command
        ->add_option("--columns", arguments->columns,
                     "列の対応。顧客の列 (名前か番号) = ファイルの列 (見出しか1からの番号)")
        ->type_name("1=2,2=3,...");
    command->add_option("--encoding", arguments->encoding, "auto、cp932、utf-8 のどれか")
        ->type_name("ENCODING");
    command->add_option("--delimiter", arguments->delimiter, "区切りの文字 (\\t はタブ)")->type_name("C");
    command->add_option("--quote", arguments->quote, "引用符 (空ならなし)")->type_name("C");
    CLI::Option* keep = command->add_flag("--keep-existing", arguments->keep, "もういる顧客は変えません");
    command->add_flag("--replace", arguments->replace, "今の顧客をすべて置き換えます")->excludes(keep);
    command->add_flag("--no-header", arguments->no_header, "1行目も顧客です (--columns が必要)");
    ProgramImport& program = arguments->program;
    CLI::Option* from =
        command
            ->add_option("--from", program.from,
                         "ほかのプログラムのファイルとして取り込みます: becky、outlook、fudemame "
                         "(筆まめ)、corvane、belmora")
            ->type_name("PROGRAM");
    for (char const* csv_only :
         {"--columns", "--encoding", "--delimiter", "--quote", "--keep-existing", "--replace", "--no-header"})
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
            arguments->program.file = arguments->file;
            arguments->program.Check();
            Session session(arguments->access, arguments->env_file, Session::For::changing);
            return arguments->program.Run(session);
        }
        Session session(arguments->access, arguments->env_file, Session::For::changing);
        Import(*arguments, session).Run();
    });
}

}  // namespace app
