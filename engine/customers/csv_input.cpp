#include "engine/customers/csv_input.h"

#include <algorithm>
#include <utility>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "tessaly/text.h"

namespace engine {
namespace {

constexpr std::size_t start_of_file = 64 * 1024;

struct KnownDelimiter {
    char character;
    char const* word;  // by which it can be given
    char const* name;
};
constexpr KnownDelimiter delimiters[] = {
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
    for (KnownDelimiter const& delimiter : delimiters)
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

}  // namespace

CsvInput::CsvInput(CsvImport const& options, Elements const& elements)
    : options_(options),
      elements_(elements),
      titles_(elements),
      quote_(SingleByte(options.quote, "--quote", true)),
      delimiter_(DelimiterOf(options.delimiter)),
      file_(ReadFile(options)) {
    if (delimiter_ == 0) delimiter_ = FoundDelimiter();
    source_.emplace(std::move(file_.text), file_.encoding, delimiter_, quote_);
}

// The one under which the first record holds the most titles or addresses, or else the most cells.
char CsvInput::FoundDelimiter() const {
    char best = delimiters[0].character;
    std::pair<std::size_t, std::size_t> best_score{};
    for (KnownDelimiter const& delimiter : delimiters) {
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

CsvColumns CsvInput::ReadColumns() {
    CsvSource::Record first;
    if (!source_->Next(first))
        throw Failure(Failure::unsuitable_file, "見出しの行がありません: " + options_.file);
    Crossed const crossed = source_->ForLibrary(first);
    std::vector<std::string> const cells = Cells(crossed.text, delimiter_, quote_);
    // No title is a mail address.
    bool const titled = !options_.no_header && std::none_of(cells.begin(), cells.end(), IsAddress);
    if (titled && (crossed.no_form || first.unclosed))
        throw Failure(Failure::unsuitable_file,
                      crossed.no_form ? "見出しの行に使えない文字があります: " + Describe(*crossed.no_form) +
                                            "\nUTF-8かShift_JISのCSVファイルか確かめてください。"
                                      : "見出しの行の引用符が閉じていません: " + options_.file);
    CsvColumns columns(elements_, cells, titled);
    if (titled) {
        title_record_ = first;
        columns.AssignByTitles(titles_);
    } else {
        source_->Restart();
    }
    columns.AssignByOption(options_.columns);
    if (!titled) AssignWithoutTitles(columns, cells);
    if (!columns.Has(customers::element_address))
        throw Failure(Failure::unknown_column,
                      "メールアドレスの列が分かりません。見出しに「メールアドレス」と書くか、--columns "
                      "メールアドレス=列 で指定してください。\nファイルの列: " +
                          columns.Listed());
    return columns;
}

void CsvInput::AssignWithoutTitles(CsvColumns& columns, std::vector<std::string> const& cells) const {
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

void CsvInput::Announce(CsvColumns const& columns, FrontEnd& front) const {
    std::string delimiter = "「" + std::string(1, delimiter_) + "」";
    for (KnownDelimiter const& known : delimiters)
        if (known.character == delimiter_) delimiter = known.name;
    front.Notice(options_.file + ": " + file_.name + "、" + delimiter + "区切り、" +
                 (title_record_ ? "1行目は見出し" : "見出しなし") + "、" + std::to_string(columns.Count()) +
                 "列");
    front.Notice("使う列: " + columns.Used());
    if (std::string const unused = columns.Unused(); !unused.empty()) front.Notice("使わない列: " + unused);
}

}  // namespace engine
