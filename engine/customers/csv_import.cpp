#include "engine/customers/csv_import.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/customers/csv_columns.h"
#include "engine/customers/csv_rows.h"
#include "engine/customers/csv_source.h"
#include "engine/customers/elements.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::size_t rows_shown = 50;  // of each kind of remark
constexpr std::size_t start_of_file = 64 * 1024;
constexpr char const* keep_existing = "2";
constexpr char const* overwrite_existing = "1";

struct Delimiter {
    char character;
    char const* word;  // by which it can be given
    char const* name;
};
constexpr Delimiter delimiters[] = {
    {',', "comma", "コンマ"}, {'\t', "tab", "タブ"}, {';', "semicolon", "セミコロン"}};

char SingleByte(std::string const& text, char const* option, bool may_be_empty) {
    if (text == "\\t") return '\t';
    if (text.empty() && may_be_empty) return 0;
    if (text.size() != 1 || static_cast<unsigned char>(text[0]) >= 0x80 || text[0] == '\r' || text[0] == '\n')
        throw Failure(Failure::invalid_request, std::string(option) + " は半角の1文字です: " + text);
    return text[0];
}

// 0: to be found.
char DelimiterOf(std::string const& text) {
    if (text == "auto") return 0;
    for (Delimiter const& delimiter : delimiters)
        if (text == delimiter.word) return delimiter.character;
    return SingleByte(text, "--delimiter", false);
}

FileText ReadFile(CsvImport const& options) {
    std::string content = ReadWholeFile(options.file, "ファイル");
    if (content.empty()) throw Failure(Failure::unsuitable_file, "ファイルが空です: " + options.file);
    return TextOfFile(std::move(content), EncodingOf(options.encoding), options.file);
}

std::vector<std::string> Cells(std::string const& line, char delimiter, char quote) {
    CArray<CString, CString> fields;
    SplitString(CString(std::string_view(line)), fields, CString(delimiter), quote);
    std::vector<std::string> cells;
    for (CString const& field : fields) cells.push_back(Out(field));
    return cells;
}

bool IsAddress(std::string const& cell) { return MailAddressChecker(cell.c_str()) == 1; }

// Lines of a file, for the sender: "3行、7〜9行".
class LineList {
  public:
    void Add(std::size_t first, std::size_t more) {
        if (++count_ > shown) return;
        text_ += (text_.empty() ? "" : "、") + std::to_string(first) +
                 (more > 0 ? "〜" + std::to_string(first + more) : "") + "行";
    }
    std::size_t Count() const { return count_; }
    std::string Text() const {
        return text_ + (count_ > shown ? " … ほか" + Grouped(count_ - shown) + "か所" : "");
    }

  private:
    static constexpr std::size_t shown = 20;
    std::size_t count_ = 0;
    std::string text_;
};

// Remarks about records, by line of the file.
struct Remarks {
    CsvSource::Record record;
    std::vector<std::string> texts;
};
using RemarksByLine = std::map<std::size_t, Remarks>;

void Show(FrontEnd& front, std::size_t line, std::vector<std::string> const& texts) {
    for (std::string const& text : texts) front.Notice(std::to_string(line) + "行: " + text);
}

void ShowMore(FrontEnd& front, std::size_t rows) {
    if (rows > rows_shown) front.Notice("… ほか " + Grouped(rows - rows_shown) + "行");
}

class Import {
  public:
    Import(CsvImport const& options, Session& session)
        : options_(options),
          session_(session),
          front_(session.Front()),
          elements_(session),
          titles_(elements_),
          quote_(SingleByte(options.quote, "--quote", true)),
          delimiter_(DelimiterOf(options.delimiter)),
          file_(ReadFile(options)),
          work_file_(session.WorkFile()) {
        if (delimiter_ == 0) delimiter_ = FoundDelimiter();
        source_.emplace(std::move(file_.text), file_.encoding, delimiter_, quote_);
    }
    ~Import() {
        std::error_code ignored;
        std::filesystem::remove(work_file_, ignored);
    }
    Import(Import const&) = delete;
    Import& operator=(Import const&) = delete;

    void Run();

  private:
    char FoundDelimiter() const;
    CsvColumns ReadColumns();
    void AssignWithoutTitles(CsvColumns& columns, std::vector<std::string> const& cells) const;
    void Announce(CsvColumns const& columns) const;
    void Prepare(CsvRows& rows);
    int Call(CsvColumns& columns);
    void TakeRefused(CsvRows& rows);
    void WriteRefused() const;
    void ShowRefused() const;
    void ShowDoubtful(CsvRows& rows);
    void Report(CsvRows& rows, CsvColumns const& columns, int imported);

    CsvImport const& options_;
    Session& session_;
    FrontEnd& front_;
    Elements const elements_;
    CsvTitles const titles_;
    char quote_, delimiter_;
    FileText file_;
    std::optional<CsvSource> source_;
    std::string work_file_;
    bool titled_ = true;
    CsvSource::Record title_record_{};
    std::vector<CsvSource::Record> given_;  // what the library gets, a line each
    RemarksByLine refused_;
    std::vector<std::size_t> doubtful_;  // of those given; also of those that the library refuses then
    LineList joined_;
    std::size_t tidied_ = 0;
    std::string first_tidied_;
    int added_ = 0;
    std::size_t kept_ = 0;  // known ones that were left as they are
    bool stopped_ = false;
};

// The one under which the first record holds the most titles or addresses, or else the most cells.
char Import::FoundDelimiter() const {
    char best = delimiters[0].character;
    std::pair<std::size_t, std::size_t> best_score{};
    for (Delimiter const& delimiter : delimiters) {
        CsvSource start(file_.text.substr(0, start_of_file), file_.encoding, delimiter.character, quote_);
        CsvSource::Record record;
        if (!start.Next(record)) continue;
        std::vector<std::string> const cells =
            Cells(start.ForLibrary(record).text, delimiter.character, quote_);
        std::size_t known = 0;
        for (int const element : titles_.Match(cells)) known += element >= 0;
        for (std::string const& cell : cells) known += IsAddress(cell);
        std::pair const score{known, cells.size()};
        if (score > best_score) best = delimiter.character;
        best_score = std::max(score, best_score);
    }
    return best;
}

CsvColumns Import::ReadColumns() {
    CsvSource::Record first;
    if (!source_->Next(first))
        throw Failure(Failure::unsuitable_file, "見出しの行がありません: " + options_.file);
    Crossed const crossed = source_->ForLibrary(first);
    std::vector<std::string> const cells = Cells(crossed.text, delimiter_, quote_);
    // No title is a mail address.
    titled_ = !options_.no_header && std::none_of(cells.begin(), cells.end(), IsAddress);
    if (titled_ && (crossed.no_form || first.unclosed))
        throw Failure(Failure::unsuitable_file,
                      crossed.no_form ? "見出しの行に使えない文字があります: " + Describe(*crossed.no_form) +
                                            "\nUTF-8かShift_JISのCSVファイルか確かめてください。"
                                      : "見出しの行の引用符が閉じていません: " + options_.file);
    CsvColumns columns(elements_, cells, titled_);
    if (titled_) {
        title_record_ = first;
        columns.AssignByTitles(titles_);
    } else {
        source_->Restart();
    }
    columns.AssignByOption(options_.columns);
    if (!titled_) AssignWithoutTitles(columns, cells);
    if (!columns.Has(customers::element_address))
        throw Failure(Failure::unknown_column,
                      "メールアドレスの列が分かりません。見出しに「メールアドレス」と書くか、--columns "
                      "メールアドレス=列 で指定してください。\nファイルの列: " +
                          columns.Listed());
    return columns;
}

void Import::AssignWithoutTitles(CsvColumns& columns, std::vector<std::string> const& cells) const {
    auto const address = std::find_if(cells.begin(), cells.end(), IsAddress);
    auto const place = static_cast<std::size_t>(address - cells.begin());
    if (options_.columns.empty() && cells.size() > 1)
        throw Failure(
            Failure::unknown_column,
            "1行目が見出しではないので、どの列が何か分かりません。--columns で指定してください。例: "
            "--columns "
            "\"" +
                elements_.At(customers::element_address).title + "=" +
                std::to_string(address == cells.end() ? 1 : place + 1) + "," + elements_.At(2).title +
                "=列の番号\"\nファイルの列: " + columns.Listed());
    if (address != cells.end() && !columns.Has(customers::element_address))
        columns.Assign(customers::element_address, place);
}

void Import::Announce(CsvColumns const& columns) const {
    std::string delimiter = "「" + std::string(1, delimiter_) + "」";
    for (Delimiter const& known : delimiters)
        if (known.character == delimiter_) delimiter = known.name;
    front_.Notice(options_.file + ": " + file_.name + "、" + delimiter + "区切り、" +
                  (titled_ ? "1行目は見出し" : "見出しなし") + "、" + std::to_string(columns.Count()) + "列");
    front_.Notice("使う列: " + columns.Used());
    if (std::string const unused = columns.Unused(); !unused.empty()) front_.Notice("使わない列: " + unused);
}

// Writes what the library is to read: one record a line, in code page 932.
void Import::Prepare(CsvRows& rows) {
    std::ofstream work(work_file_, std::ios::binary | std::ios::trunc);
    std::string block;
    CsvSource::Record record;
    CsvRow row;
    while (source_->Next(record)) {
        rows.Take(record, row);
        if (!row.refusals.empty()) {
            refused_[record.line] = {record, std::move(row.refusals)};
            continue;
        }
        ((block += row.line) += "\r\n");
        given_.push_back(record);
        if (record.more_lines > 0) joined_.Add(record.line, record.more_lines);
        if (row.tidied > 0 && tidied_ == 0)
            first_tidied_ = std::to_string(record.line) + "行 " + row.first_tidied;
        tidied_ += row.tidied;
        if (row.IsDoubtful()) doubtful_.push_back(given_.size() - 1);
        if (block.size() > 1 << 20) {
            work << block;
            block.clear();
        }
    }
    work << block;
    work.close();
    if (!work) throw Failure(Failure::not_written, "作業ファイルを書けません: " + work_file_);
}

// The library's import, with a watch on Ctrl-C beside it.
int Import::Call(CsvColumns& columns) {
    CArray<int, int> error_lines;
    CArray<CString, CString> error_texts;
    int imported = 0;
    CDatabaseEdit& customers = session_.Customers();
    std::jthread const watch([&](std::stop_token const& ended) {
        while (!ended.stop_requested()) {
            if (front_.Stopped()) customers.SetStopImportFlag(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    int result = 0;
    {
        auto const progress = front_.ShowProgress("取り込み", "件", given_.size(), [&] {
            return static_cast<std::uint64_t>(std::atomic_ref<int>(imported).load(std::memory_order_relaxed));
        });
        result = customers.ImportDBfromFile(
            IntoPath(work_file_), CString(delimiter_), quote_, columns.Assignment(),
            options_.replace ? CDatabaseEdit::import_replace : CDatabaseEdit::import_add, &imported,
            error_lines, error_texts, options_.keep ? keep_existing : overwrite_existing);
    }
    auto const counted = static_cast<std::size_t>(imported) + static_cast<std::size_t>(error_lines.GetSize());
    stopped_ = front_.Stopped() && counted < given_.size();
    if (options_.keep && !stopped_ && result >= 0) kept_ = given_.size() - counted;
    return result;
}

// What the library refused, with all its reasons.
void Import::TakeRefused(CsvRows& rows) {
    CsvRow row;
    for (customers::RefusedField const& field : session_.Customers().GetRefusedFields()) {
        CsvSource::Record const& record = given_[static_cast<std::size_t>(field.line - 1)];
        auto const [place, is_new] = refused_.try_emplace(record.line, Remarks{record, {}});
        std::vector<std::string>& texts = place->second.texts;
        if (is_new) {
            rows.Take(record, row);
            tidied_ -= row.tidied;
            texts = row.oddities;
        }
        texts.push_back(WithValue(elements_.At(field.element), RefusalText(field.rule, field.value.IsEmpty()),
                                  field.value));
    }
}

void Import::WriteRefused() const {
    std::string const name = options_.file + ".refused.csv";
    std::error_code ignored;
    if (refused_.empty()) {
        std::filesystem::remove(name, ignored);
        return;
    }
    std::ofstream file(name, std::ios::binary | std::ios::trunc);
    if (source_->Kind() == Encoding::utf8) file << byte_order_mark;  // spreadsheets look for it
    if (titled_) file << title_record_.raw << "\r\n";
    for (auto const& [line, refused] : refused_) file << refused.record.raw << "\r\n";
    file.close();
    if (!file) throw Failure(Failure::not_written, "取り込めなかった行を書き出せません: " + name);
    front_.Notice("取り込めなかった行はここにあります (直して、もう一度取り込めます): " + name);
}

void Import::ShowRefused() const {
    std::size_t shown = 0;
    for (auto const& [line, refused] : refused_) {
        if (shown++ == rows_shown) break;
        Show(front_, line, refused.texts);
    }
    ShowMore(front_, refused_.size());
    WriteRefused();
}

void Import::ShowDoubtful(CsvRows& rows) {
    std::erase_if(doubtful_, [&](std::size_t given) { return refused_.contains(given_[given].line); });
    if (doubtful_.empty()) return;
    front_.Notice(
        "注意: " + Grouped(doubtful_.size()) +
        "行は取り込みましたが、確かめてください (--strict を付けると、こういう行を取り込みません)。");
    CsvRow row;
    for (std::size_t i = 0; i < std::min(doubtful_.size(), rows_shown); ++i) {
        CsvSource::Record const& record = given_[doubtful_[i]];
        rows.Take(record, row);
        Show(front_, record.line, row.oddities);
        Show(front_, record.line, row.doubts);
    }
    ShowMore(front_, doubtful_.size());
}

void Import::Report(CsvRows& rows, CsvColumns const& columns, int imported) {
    ShowRefused();
    ShowDoubtful(rows);
    if (given_.empty() && refused_.empty()) front_.Notice("顧客の行がありません。");
    if (tidied_ > 0)
        front_.Notice(Grouped(tidied_) + "個の値の書き方をそろえました: " + first_tidied_ +
                      (tidied_ > 1 ? " など" : ""));
    if (joined_.Count() > 0)
        front_.Notice("引用符の中の改行を空白にして、1行として読みました: " + joined_.Text());
    front_.Notice("使った列: " + columns.Used());
    if (std::string const unused = columns.Unused(); !unused.empty())
        front_.Notice("使わなかった列: " + unused);
    if (stopped_) front_.Notice("途中で止めました。同じコマンドで続きを取り込めます。");
    front_.Result("新規 " + Grouped(static_cast<std::uint64_t>(added_)) + "件、更新 " +
                  Grouped(static_cast<std::uint64_t>(imported - added_)) + "件、" +
                  (options_.keep ? "そのまま " + Grouped(kept_) + "件、" : "") + "取り込めず " +
                  Grouped(refused_.size()) + "件");
}

void Import::Run() {
    CsvColumns columns = ReadColumns();
    Announce(columns);
    CsvRows rows(*source_, elements_, columns, delimiter_, quote_, options_.strict);
    Prepare(rows);
    CArray<int, int> before, after;
    int const known = options_.replace ? 0 : session_.Customers().GetDBIDALL(before);
    int const imported = Call(columns);
    if (imported < 0)
        throw Failure(Failure::operation_failed,
                      "取り込めません: " + TextOf(session_.Customers().GetErrMsg()));
    TakeRefused(rows);
    added_ = session_.Customers().GetDBIDALL(after) - known;
    if (options_.replace && (imported == 0 || stopped_)) {
        Report(rows, columns, imported);
        throw Failure(stopped_ ? Failure::stopped : Failure::nothing_imported,
                      stopped_ ? "途中で止めたので、置き換えませんでした。前の顧客はそのままです。"
                               : "取り込める行がないので、置き換えませんでした。前の顧客はそのままです。");
    }
    if (imported > 0) session_.SaveCustomers();
    Report(rows, columns, imported);
    if (stopped_) throw Failure(Failure::stopped, "");
    if (imported == 0 && kept_ == 0 && !refused_.empty())
        throw Failure(Failure::nothing_imported, "取り込める行がありません。");
}

}  // namespace

void CsvImport::Run(Session& session) const { Import(*this, session).Run(); }

}  // namespace engine
