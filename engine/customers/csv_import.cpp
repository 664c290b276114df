#include "engine/customers/csv_import.h"

#include <atomic>
#include <chrono>
#include <map>
#include <thread>
#include <vector>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/customers/csv_input.h"
#include "engine/customers/csv_rows.h"
#include "engine/customers/elements.h"
#include "engine/customers/kept_refusals.h"
#include "engine/environment/kept_changes.h"

namespace engine {
namespace {

constexpr std::size_t rows_shown = 50;  // of each kind of remark
constexpr char const* keep_existing = "2";
constexpr char const* overwrite_existing = "1";

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
          input_(options, elements_),
          work_file_(session.WorkFile()) {}
    ~Import() { RemoveWork(work_file_); }
    Import(Import const&) = delete;
    Import& operator=(Import const&) = delete;

    void Run();

  private:
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
    CsvInput input_;
    std::string work_file_;
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

// Writes what the library is to read: one record a line, in code page 932.
void Import::Prepare(CsvRows& rows) {
    OutputFile work(work_file_, "作業ファイル", OutputFile::Begin::anew);
    std::string block;
    CsvSource::Record record;
    CsvRow row;
    while (input_.Source().Next(record)) {
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
            work.Write(block);
            block.clear();
        }
    }
    work.Write(block);
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
            IntoPath(work_file_), CString(input_.Delimiter()), input_.Quote(), columns.Assignment(),
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
    if (refused_.empty()) return RemoveWork(name);
    std::string text;
    if (input_.Source().Kind() == Encoding::utf8) text = byte_order_mark;  // spreadsheets look for it
    if (input_.TitleRecord()) (text += input_.TitleRecord()->raw) += "\r\n";
    for (auto const& [line, refused] : refused_) (text += refused.record.raw) += "\r\n";
    if (!ReplaceFile(name, text))
        throw Failure(Failure::not_written, "取り込めなかった行を書き出せません: " + name);
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
    CsvColumns columns = input_.ReadColumns();
    input_.Announce(columns, front_);
    CsvRows rows(input_.Source(), elements_, columns, input_.Delimiter(), input_.Quote(), options_.strict);
    Prepare(rows);
    CArray<int, int> before, after;
    KeptRefusals refusals(session_, session_.Customers(),
                          {RefusedBy::import, options_.file, options_.consent, options_.restore_deleted});
    int const known = options_.replace ? 0 : session_.Customers().GetDBIDALL(before);
    int imported = Call(columns);
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
    if (imported > 0) refusals.Settle();
    if (imported > 0 && options_.replace)
        SaveCustomersUndoably(session_, "顧客の置き換え: " + options_.file);
    else if (imported > 0)
        session_.SaveCustomers();
    auto const still_deleted = static_cast<int>(refusals.StillDeleted());
    imported -= still_deleted;
    if (options_.replace) added_ -= still_deleted;
    Report(rows, columns, imported);
    refusals.Tell();
    if (stopped_) throw Failure(Failure::stopped, "");
    if (imported == 0 && still_deleted == 0 && kept_ == 0 && !refused_.empty())
        throw Failure(Failure::nothing_imported, "取り込める行がありません。");
}

}  // namespace

void CsvImport::Run(Session& session) const { Import(*this, session).Run(); }

}  // namespace engine
