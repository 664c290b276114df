#include "engine/environment/file_record.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <future>
#include <set>
#include <string_view>
#include <utility>

#include "engine/base/date_text.h"
#include "engine/base/descriptor.h"
#include "engine/base/failure.h"
#include "engine/base/sha256.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/table_kind.h"
#include "tessaly/storage.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char counts = '=', superseded = '-';
constexpr std::string_view no_file = "none", record_extension = ".record";
constexpr std::size_t check_digits = 16;
constexpr std::size_t block_bytes = std::size_t{128} << 10;
constexpr std::uintmax_t large_file = std::uintmax_t{4} << 20;

// Counts the records of a table whatever its key: a table begins with a quote, line ends are what they are
// in every key, and a quote inside a field is doubled.
class RecordCount {
  public:
    void Add(std::string_view block) {
        if (block.empty()) return;
        if (!started_) quote_ = block.front();
        started_ = true;
        while (!block.empty()) {
            std::size_t const line_end = block.find('\n');
            std::string_view const line = block.substr(0, line_end);
            quotes_ += std::count(line.begin(), line.end(), quote_);
            if (line_end == block.npos) return;
            if (quotes_ % 2 == 0) ++count_;
            block.remove_prefix(line_end + 1);
        }
    }
    std::uint64_t Count() const { return count_; }

  private:
    char quote_ = 0;
    bool started_ = false;
    std::ptrdiff_t quotes_ = 0;
    std::uint64_t count_ = 0;
};

struct Line {
    char mark = counts;
    std::optional<TableContent> content;
    std::string rest;  // all behind the mark
};

Line LineFor(std::optional<TableContent> const& content) {
    std::string text;
    for (std::string const& part : {content ? std::to_string(content->rows) : std::string(no_file),
                                    content ? std::to_string(content->bytes) : std::string(no_file),
                                    content ? content->sha256 : std::string(no_file),
                                    std::string(NowText().View()), std::string(TESSALY_VERSION)})
        text += "\t" + part;
    return {counts, content, text + "\t" + Sha256Of(text).substr(0, check_digits)};
}

// Nothing for a line that is not as it was written.
std::optional<Line> Parsed(std::string_view text) {
    constexpr std::size_t parts_of_a_line = 7;
    if (text.empty() || (text.front() != counts && text.front() != superseded)) return {};
    Line line{text.front(), {}, std::string(text.substr(1))};
    std::vector<std::string_view> parts;
    for (std::string_view rest = text; parts.size() <= parts_of_a_line;) {
        std::size_t const tab = rest.find('\t');
        parts.push_back(rest.substr(0, tab));
        if (tab == rest.npos) break;
        rest.remove_prefix(tab + 1);
    }
    if (parts.size() != parts_of_a_line) return {};
    std::string_view const checked =
        std::string_view(line.rest).substr(0, line.rest.size() - parts.back().size() - 1);
    if (Sha256Of(checked).substr(0, check_digits) != parts.back()) return {};
    if (parts[1] == no_file) return line;
    std::optional<std::uint64_t> const rows = WholeNumber<std::uint64_t>(parts[1]),
                                       bytes = WholeNumber<std::uint64_t>(parts[2]);
    if (!rows || !bytes) return {};
    line.content = {*rows, *bytes, std::string(parts[3])};
    return line;
}

// Nothing for a record that is damaged.
std::optional<std::vector<Line>> LinesIn(std::string_view record) {
    std::vector<Line> lines;
    while (!record.empty()) {
        std::size_t const end = record.find('\n');
        std::optional<Line> line = end == record.npos ? std::nullopt : Parsed(record.substr(0, end));
        if (!line) return {};
        lines.push_back(std::move(*line));
        record.remove_prefix(end + 1);
    }
    if (lines.empty()) return {};
    return lines;
}

struct Stored {
    FileRecord::State state;
    std::vector<Line> lines;
};

Stored StoredRecord(std::string const& table) {
    std::string const path = FileRecord::PathFor(table);
    std::error_code error;
    if (fs::symlink_status(path, error).type() == fs::file_type::not_found) return {FileRecord::none, {}};
    try {
        if (auto lines = LinesIn(ReadWholeFile(path, "記録"))) return {FileRecord::good, std::move(*lines)};
    } catch (Failure const&) {
    }
    return {FileRecord::damaged, {}};
}

bool Write(std::string const& table, std::vector<Line> const& lines) {
    std::string text;
    for (Line const& line : lines) text += line.mark + line.rest + "\n";
    return ReplaceFile(FileRecord::PathFor(table), text);
}

// What may lie in the table's place before it is replaced. A replacement that was cut off has left two lines,
// one of which the file is.
std::vector<Line> PresentLines(std::string const& table) {
    Stored stored = StoredRecord(table);
    std::erase_if(stored.lines, [](Line const& line) { return line.mark != counts; });
    if (stored.lines.size() == 1) return stored.lines;
    std::optional<TableContent> const present = ContentOf(table);
    for (Line const& line : stored.lines)
        if (line.content == present) return {line};
    if (!stored.lines.empty()) return {stored.lines.back()};
    return {LineFor(present)};
}

// A new table beside its place.
class NewTable : public storage::NewTableFile {
  public:
    explicit NewTable(std::string const& table)
        : table_(table), file_(table, platform::Replacement::always_beside) {}
    std::string const& File() const override {
        static std::string const none;
        return file_.Get() < 0 ? none : file_.NewFile();
    }
    bool Commit() override {
        try {
            if (!FileRecord::Announce(table_, file_.NewFile()) || !file_.Commit()) return false;
        } catch (Failure const&) {
            return false;
        }
        FileRecord::Settle(table_);
        return true;
    }

  private:
    std::string const table_;
    platform::Replacement file_;
};

std::unique_ptr<storage::NewTableFile> NewTableFor(std::string const& path) {
    if (!TableKindOf(path)) return nullptr;
    return std::make_unique<NewTable>(path);
}

}  // namespace

std::optional<TableContent> ContentOf(std::string const& table, Rows rows) {
    Descriptor const file(table);
    if (!file && errno == ENOENT) return {};
    Sha256 sha;
    RecordCount records;
    TableContent content;
    auto const block = std::make_unique_for_overwrite<char[]>(block_bytes);
    for (;;) {
        ssize_t const size = !file ? -1 : read(file.Get(), block.get(), block_bytes);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0)
            throw Failure(Failure::damaged_file,
                          "ファイルを読めません: " + table + "\n" + std::strerror(errno), {.file = table});
        if (size == 0) break;
        std::string_view const bytes(block.get(), static_cast<std::size_t>(size));
        sha.Add(bytes);
        if (rows == Rows::counted) records.Add(bytes);
        content.bytes += bytes.size();
    }
    content.rows = records.Count();
    content.sha256 = sha.Digits();
    return content;
}

FileRecord::FileRecord(std::string const& table) {
    Stored const stored = StoredRecord(table);
    state_ = stored.state;
    for (Line const& line : stored.lines)
        if (line.mark == counts) allowed_.push_back(line.content);
    if (!allowed_.empty()) newest_ = allowed_.back();
}

bool FileRecord::Allows(std::optional<TableContent> const& content) const {
    return std::find(allowed_.begin(), allowed_.end(), content) != allowed_.end();
}

bool FileRecord::AllowsOnly(std::optional<TableContent> const& content) const {
    return allowed_.size() == 1 && Allows(content);
}

std::string FileRecord::PathFor(std::string const& table) { return table + std::string(record_extension); }

// The system brings a large file to the disk while its digest is made.
bool FileRecord::Announce(std::string const& table, std::string const& new_file) {
    std::error_code error;
    std::future<bool> synced;
    if (fs::file_size(new_file, error) >= large_file)
        synced = std::async(std::launch::async, [&] { return Sync(new_file); });
    std::vector<Line> lines = PresentLines(table);
    lines.push_back(LineFor(ContentOf(new_file)));
    if (synced.valid() && !synced.get()) return false;
    return Write(table, lines);
}

// A single byte, so that no cut can leave a half-written record.
void FileRecord::Settle(std::string const& table) {
    Stored const stored = StoredRecord(table);
    Descriptor const record(PathFor(table), O_WRONLY);
    off_t at = 0;
    for (std::size_t i = 0; i + 1 < stored.lines.size(); ++i) {
        if (record) static_cast<void>(pwrite(record.Get(), &superseded, 1, at) == 1);
        at += static_cast<off_t>(1 + stored.lines[i].rest.size() + 1);
    }
}

std::set<std::string> TablesIn(std::string const& folder) {
    std::set<std::string> tables;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string path = entry->path().string();
        if (path.ends_with(record_extension)) path.resize(path.size() - record_extension.size());
        if (TableKindOf(path) && !entry->is_directory()) tables.insert(path);
    }
    return tables;
}

bool WriteRecords(std::string const& data_directory, std::vector<std::string> const& paths) {
    std::set<std::string> tables;
    for (std::string const& path : paths) {
        std::string const whole = data_directory + "/" + path;
        if (fs::is_directory(whole))
            tables.merge(TablesIn(whole));
        else if (TableKindOf(whole))
            tables.insert(whole);
    }
    bool written = true;
    for (std::string const& table : tables) {
        std::optional<TableContent> const content = ContentOf(table);
        std::error_code error;
        if (!content)
            written = (fs::remove(FileRecord::PathFor(table), error) || !error) && written;
        else if (!FileRecord(table).AllowsOnly(content))
            written = Write(table, {LineFor(content)}) && written;
    }
    return written;
}

bool ReplaceTable(std::string const& table, std::function<bool(std::string const& new_file)> const& write) {
    NewTable file(table);
    return !file.File().empty() && write(file.File()) && file.Commit();
}

void HaveTablesReplaced() { storage::SetNewTableFileMaker(NewTableFor); }

}  // namespace engine
