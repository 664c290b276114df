#include "tessaly/storage/log_writer.h"

#include <string_view>

#include "platform/clock.h"
#include "platform/file.h"
#include "tessaly/platform/process.h"
#include "tessaly/text/directories.h"

namespace {

constexpr char file_prefix[] = "TessalyTransfer";
constexpr char file_extension[] = ".log";
constexpr int cycle_days = 10;
constexpr std::size_t date_size = 10;
constexpr std::string_view line_end = "\r\n";
constexpr std::string_view title_rule =
    "===============================================================================\r\n";
constexpr std::string_view entry_rule =
    "-------------------------------------------------------------------------------\r\n";
constexpr std::size_t rule_size = 79 + line_end.size();
static_assert(title_rule.size() == rule_size && entry_rule.size() == rule_size);

// As "%0*d", without the cost of a format for every line.
void AppendNumber(std::string& out, int digits, int number) {
    out.append(static_cast<std::size_t>(digits), '0');
    for (std::size_t place = out.size(); digits > 0; --digits, number /= 10)
        out[--place] = static_cast<char>('0' + number % 10);
}

std::string DateText(platform::CalendarTime const& time) {
    std::string text;
    AppendNumber(text, 4, time.year);
    text += '/';
    AppendNumber(text, 2, time.month);
    text += '/';
    AppendNumber(text, 2, time.day);
    return text;
}

void AppendTime(std::string& out, platform::CalendarTime const& time) {
    AppendNumber(out, 2, time.hour);
    out += ':';
    AppendNumber(out, 2, time.minute);
    out += ':';
    AppendNumber(out, 2, time.second);
}

// Where files cannot be locked, writers go on without.
class FileLock {
  public:
    explicit FileLock(platform::AppendFile& file) : file_(file) { file_.Lock(); }
    ~FileLock() { file_.Unlock(); }
    FileLock(FileLock const&) = delete;
    FileLock& operator=(FileLock const&) = delete;

  private:
    platform::AppendFile& file_;
};

// One number for each day, never LogWriter's no_day.
int DayNumber(platform::CalendarTime const& time) { return (time.year * 12 + time.month) * 31 + time.day; }

}  // namespace

LogWriter::LogWriter() = default;
LogWriter::LogWriter(LogWriter const& other) = default;
LogWriter& LogWriter::operator=(LogWriter const& other) = default;
LogWriter::~LogWriter() = default;

void LogWriter::Init() {
    path_.Empty();
    buffer_.clear();
    title_.Empty();
    cycle_ = no_cycle;
}

void LogWriter::SetLogFilePath(CString path) { path_ = path; }

void LogWriter::SetLogTitle(CString title) { title_ = title; }

void LogWriter::ClearLogBuffer() { buffer_.clear(); }

void LogWriter::SetLogData(CString text, int with_time, int with_rule) {
    platform::CalendarTime const now = platform::LocalTimeNow();
    if (with_time) AppendTime(buffer_, now);
    buffer_ += text.View();
    if (!buffer_.ends_with(line_end)) buffer_ += line_end;
    if (with_rule) buffer_ += entry_rule;
    Write(now);
    title_.Empty();
}

void LogWriter::WriteToFile() { Write(platform::LocalTimeNow()); }

void LogWriter::Write(platform::CalendarTime const& now) {
    if (buffer_.empty() || !Ready(now)) return;
    if (!title_.IsEmpty()) {
        std::string block(title_rule);
        block.append(title_.View()).append(line_end).append(title_rule);
        buffer_.insert(0, block);
        title_.Empty();  // waits in the buffer if the write fails
    }
    if (!file_->Append(buffer_)) return;
    length_ += static_cast<std::int64_t>(buffer_.size());
    buffer_.clear();
}

// Opens the file of the day, unless it is open and unchanged, and makes it begin with its date line.
bool LogWriter::Ready(platform::CalendarTime const& now) {
    int const cycle = now.day % cycle_days;
    if (path_.IsEmpty() || cycle_ != cycle) CreateCyclicLogFilePath(cycle);
    if (!StillOpen()) {
        if (!file_->Open(path_)) return false;
        file_path_ = path_;
        length_ = file_->Length();
        file_day_ = no_day;
    }
    if (file_day_ == DayNumber(now)) return true;
    if (!BeginsWith(now)) return false;
    file_day_ = DayNumber(now);
    return true;
}

// The length shows at little cost whether the file was deleted or cut or others wrote to it, so it is read at
// each call. A look at the path, which alone shows that the file was renamed, costs as much as the write
// itself.
bool LogWriter::StillOpen() {
    if (!file_->IsOpen() || !(file_path_ == path_)) return false;
    std::int64_t const now = platform::MonotonicMilliseconds();
    if (now != path_checked_ && !file_->StillThere()) return false;
    path_checked_ = now;
    std::int64_t const length = file_->Length();
    if (length != length_) file_day_ = no_day;
    length_ = length;
    return length >= 0;
}

// The first check needs no lock: a file of today stays one.
bool LogWriter::BeginsWith(platform::CalendarTime const& now) {
    std::string const date = DateText(now);
    std::string head;
    if (!file_->Head(date_size, head)) return false;
    return head == date || BeginAnew(date);
}

// Empties a file of another day and writes its date line, unless another writer has done so meanwhile; that
// writer may already be in the next day.
bool LogWriter::BeginAnew(std::string const& date) {
    FileLock const lock(*file_);
    std::string head;
    if (!file_->Head(date_size, head)) return false;
    if (head == date || head == DateText(platform::LocalTimeNow())) return true;
    if (!file_->Truncate() || !file_->Append(date + std::string(line_end))) return false;
    length_ = static_cast<std::int64_t>(date.size() + line_end.size());
    return true;
}

int LogWriter::CreateCyclicLogFilePath(int day) {
    if (day < 0 || day >= cycle_days) return 0;
    cycle_ = day;
    path_.Format("%s%s%d%s", static_cast<char const*>(platform::ModuleDirectory()), file_prefix, day,
                 file_extension);
    PathFix(path_);
    return 1;
}
