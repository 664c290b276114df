#include "engine/consent/event_file.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "engine/base/failure.h"
#include "engine/base/file_sum.h"
#include "engine/base/sha256.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/environment/file_record.h"
#include "engine/environment/private_files.h"

namespace engine {
namespace {

constexpr std::string_view end_word = "end";
constexpr char divider = '\t';
// Readings of a file that other processes are replacing.
constexpr int most_readings = 20;

// FNV-1a: every change of one byte changes it. The whole file has a SHA-256 in its record.
std::string CheckOf(std::string_view text) {
    std::uint64_t hash = 14695981039346656037U;
    for (char const c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return digits;
}

void AddLine(std::string& lines, std::string const& line) {
    ((((lines += line) += divider) += CheckOf(line)) += '\n');
}

std::optional<std::string> CellFrom(std::string_view text) {
    if (text.find('%') == text.npos) return std::string(text);
    return NameFromLine(text);
}

struct Line {
    bool closes = false;
    std::size_t number = 0;  // of the line; of the closing one the number of those before it
    EventFile::Cells cells{};
};

// None for a line that is not as it was written.
std::optional<Line> LineFrom(std::string_view text) {
    std::size_t const last = text.rfind(divider);
    if (last == text.npos || CheckOf(text.substr(0, last)) != text.substr(last + 1)) return {};
    std::string_view rest = text.substr(0, last);
    Line line;
    if ((line.closes = rest.starts_with(end_word))) rest.remove_prefix(end_word.size() + 1);
    std::size_t end = rest.find(divider);
    std::optional<std::size_t> const number = WholeNumber<std::size_t>(rest.substr(0, end));
    if (!number) return {};
    line.number = *number;
    while (end != rest.npos) {
        rest.remove_prefix(end + 1);
        end = rest.find(divider);
        std::optional<std::string> cell = CellFrom(rest.substr(0, end));
        if (!cell) return {};
        line.cells.push_back(*std::move(cell));
    }
    return line;
}

}  // namespace

EventFile::EventFile(std::string file, std::string title, std::string name)
    : file_(std::move(file)), title_(std::move(title)), name_(std::move(name)) {}

// Another process may replace the file between the reading of its record and that of the file: then it has
// written the record too.
bool EventFile::IsAsRecorded(std::string& text) const {
    FileRecord record(file_);
    for (int i = 0; i < most_readings; ++i) {
        bool const there = std::filesystem::exists(file_);
        text = there ? ReadWholeFile(file_, name_) : std::string();
        if (record.GetState() != FileRecord::good) return there || record.GetState() == FileRecord::none;
        std::optional<TableContent> content;
        if (there) content = {0, text.size(), Sha256Of(text)};
        if (record.Allows(content)) return true;
        FileRecord present(file_);
        if (present == record) return false;
        record = std::move(present);
    }
    return false;
}

bool EventFile::Read(Take const& take) {
    std::string text;
    bool const recorded = IsAsRecorded(text);
    bool const nothing = text.empty() && !std::filesystem::exists(file_);
    RemoveAll();
    return (nothing || ReadText(text, take)) && recorded;
}

// A line whose number is not the next one shows that others are missing before it.
bool EventFile::ReadText(std::string_view text, Take const& take) {
    RemoveAll();
    std::string const first = title_ + "\n";
    bool whole = text.starts_with(first), closed = false;
    if (whole) text.remove_prefix(first.size());
    std::size_t damaged = 0, missing = 0, next = 1;
    while (!text.empty()) {
        std::size_t const end = text.find('\n');
        std::optional<Line> line;
        if (end != text.npos) line = LineFrom(text.substr(0, end));
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
        std::size_t const number = line ? line->number + (line->closes ? 1 : 0) : 0;
        if (!line || closed || number < next) {
            ++damaged;
            continue;
        }
        missing += number - next;
        next = number + 1;
        closed = line->closes;
        if (closed) continue;
        Add(line->cells);
        take(line->cells);
    }
    whole = whole && closed && damaged == 0 && missing == 0;
    lost_ = std::max(damaged, missing);
    return whole;
}

void EventFile::Add(Cells const& cells) {
    std::string line = std::to_string(++count_);
    for (std::string const& cell : cells) (line += divider) += NameInLine(cell);
    AddLine(lines_, line);
}

void EventFile::RemoveAll() {
    lines_.clear();
    count_ = lost_ = 0;
}

std::string EventFile::Text() const {
    std::string text = title_ + "\n" + lines_;
    AddLine(text, std::string(end_word) + divider + std::to_string(count_));
    return text;
}

void EventFile::Save() const {
    MakeFolder(FolderOf(file_));
    bool const saved = ReplaceTable(file_, [&](std::string const& new_file) {
        MakePrivate(new_file);
        OutputFile out(new_file, name_, OutputFile::Begin::anew);
        out.Write(Text());
        return true;
    });
    if (!saved)
        throw Failure(Failure::not_written, name_ + "を書き込めませんでした。前のまま残っています: " + file_);
}

void EventFile::Refuse(std::string const& env_file) const {
    throw Failure(Failure::damaged_file,
                  name_ + "が欠けているか壊れているので、だれにも送りません: " + file_ +
                      "\n「tessaly env check " + env_file + "」で調べ、「tessaly env repair " + env_file +
                      "」で直せます。それまで、このファイルには書き込みません。",
                  {.file = file_});
}

}  // namespace engine
