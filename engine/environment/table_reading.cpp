#include "engine/environment/table_reading.h"

#include <filesystem>
#include <utility>

#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/session.h"
#include "engine/environment/table_kind.h"
#include "engine/environment/table_rows.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// Below it a thread costs more than the digest.
constexpr std::uintmax_t large_table = std::uintmax_t{1} << 20;
// Comparisons of a table that other processes are replacing.
constexpr int most_comparisons = 20;

std::string NameOfTable(std::string const& path) { return TableKindOf(path)->name; }

ReadableRows RowsOf(Session& session, std::string const& file) {
    std::optional<CString> const key = session.TableKey();
    return ScanRows(ReadWholeFile(file, NameOfTable(file)), key ? static_cast<char const*>(*key) : nullptr,
                    *TableKindOf(file), [](std::string_view, std::string_view) {});
}

std::string SizeOf(TableContent const& content) {
    return Grouped(content.rows) + "行、" + Grouped(content.bytes) + "バイト";
}

}  // namespace

TableReading::TableReading(Session& session, std::string path)
    : session_(session),
      path_(std::move(path)),
      file_(session.DataDirectory() + "/" + path_),
      record_(file_) {
    if (record_.GetState() != FileRecord::good) return;
    std::error_code error;
    std::uintmax_t const size = fs::file_size(file_, error);
    if (error == std::errc::no_such_file_or_directory && !IsAsRecorded()) Refuse();
    if (!error && size >= large_table)
        digest_ =
            std::async(std::launch::async, [file = file_] { return ContentOf(file, Rows::not_counted); });
}

std::optional<TableContent> TableReading::Content() {
    return digest_.valid() ? digest_.get() : ContentOf(file_, Rows::not_counted);
}

// Another process may replace the table between the reading of its record and that of its content: then it
// has written the record too.
bool TableReading::IsAsRecorded() {
    for (int i = 0; i < most_comparisons; ++i) {
        content_ = Content();
        if (record_.Allows(content_)) return true;
        FileRecord present(file_);
        if (present == record_) break;
        record_ = std::move(present);
    }
    return false;
}

Wholeness TableReading::End(bool whole) {
    if (record_.GetState() == FileRecord::damaged)
        session_.NoticeOnce("記録のファイルが壊れているので、" + NameOfTable(path_) +
                            "が欠けていないかは確かめられません: " + FileRecord::PathFor(file_));
    bool const recorded = record_.GetState() == FileRecord::good;
    bool const same = recorded && IsAsRecorded();
    bool const emptied = recorded && !same && content_ && content_->bytes == 0;
    if (!whole || emptied) Refuse();
    if (recorded && !same) TellOther();
    result_ = !recorded ? Wholeness::without_record : same ? Wholeness::as_recorded : Wholeness::other;
    return result_;
}

void TableReading::TellOther() {
    content_ = ContentOf(file_);
    session_.NoticeOnce(NameOfTable(path_) + "が、書いたときと違います (書いたとき " +
                        (record_.Newest() ? SizeOf(*record_.Newest()) : "なし") + "、今 " +
                        (content_ ? SizeOf(*content_) : "なし") +
                        ")。終わりまで読めるので使います。「tessaly env check " + session_.EnvFile() +
                        "」で確かめてください: " + file_);
}

void TableReading::Refuse() const {
    std::string told = NameOfTable(path_) + "を読めません: " + file_ + "\n";
    std::error_code error;
    if (!fs::exists(file_, error)) {
        told += "ファイルがありません。";
    } else {
        ReadableRows const readable = RowsOf(session_, file_);
        told += "ファイルが欠けているか壊れています。";
        told += record_.Newest() ? Grouped(record_.Newest()->rows) + "行のうち、" : "";
        told += Grouped(readable.rows) + "行が読めます。";
    }
    throw Failure(Failure::damaged_file,
                  told + "\n「tessaly env check " + session_.EnvFile() + "」で調べ、「tessaly env repair " +
                      session_.EnvFile() + "」で直せます。それまで、このファイルには書き込みません。",
                  {.file = file_});
}

void RequireReadable(Session& session, std::string const& path) {
    std::string const file = session.DataDirectory() + "/" + path;
    TableReading reading(session, path);
    reading.End(!fs::exists(file) || RowsOf(session, file).Whole());
}

std::string KeepDamaged(std::string const& file) {
    int number = 0;
    auto const name = [&] { return file + ".damaged" + std::to_string(number); };
    while (fs::exists(name())) ++number;
    if (!ReplaceFile(name(), ReadWholeFile(file, "ファイル")))
        throw Failure(Failure::not_written,
                      "壊れたファイルを残せませんでした。何も変えていません: " + name());
    return name();
}

}  // namespace engine
