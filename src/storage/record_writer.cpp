#include "tessaly/storage/record_writer.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/file.h"
#include "storage/record_format.h"
#include "tessaly/platform/path.h"
#include "tessaly/storage/new_table_file.h"
#include "tessaly/storage/substitution.h"

namespace storage {
namespace {

constexpr std::size_t block_bytes = std::size_t{256} << 10;

std::atomic<NewTableFileMaker> table_file_maker = nullptr;

// Copies `text` with its quotes doubled. Result: the place behind the last byte written.
char* CopyDoubled(char* out, std::string_view text) noexcept {
    for (char const c : text) {
        if (c == '"') *out++ = c;
        *out++ = c;
    }
    return out;
}

char* CopyField(char* out, std::string_view text) noexcept {
    *out++ = '"';
    if (!text.empty()) {
        if (std::memchr(text.data(), '"', text.size())) {
            out = CopyDoubled(out, text);
        } else {
            std::memcpy(out, text.data(), text.size());
            out += text.size();
        }
    }
    *out++ = '"';
    return out;
}

// Largest size of a cell in the file: each byte a quote, two quotes around it, and the bytes that follow it.
constexpr std::size_t FieldRoom(std::size_t size) noexcept { return 2 * size + 4; }

}  // namespace

NewTableFile::~NewTableFile() = default;

void SetNewTableFileMaker(NewTableFileMaker maker) { table_file_maker = maker; }

RecordWriter::RecordWriter() = default;

RecordWriter::~RecordWriter() { CloseFile(); }

int RecordWriter::OpenFile(char const* path) {
    CloseFile();
    if (!path) return write_failed;
    NewTableFileMaker const maker = table_file_maker;
    if (maker) new_file_ = maker(platform::HostPath(path));
    CString const file = new_file_ ? platform::LibraryPath(new_file_->File()) : CString(path);
    stream_ = file.IsEmpty() ? nullptr : platform::OpenStream(file, "wb");
    if (!stream_) new_file_.reset();
    return stream_ ? file_opened : write_failed;
}

bool RecordWriter::CloseChecked() {
    bool good = Flush() && !failed_;
    if (stream_ && !platform::CloseStream(stream_)) good = false;
    if (new_file_ && good) good = new_file_->Commit();
    new_file_.reset();
    stream_ = nullptr;
    used_ = 0;
    failed_ = false;
    return good;
}

std::FILE* RecordWriter::SetFp(std::FILE* fp) {
    if (fp && fp == stream_) return GetFd();
    CloseFile();
    stream_ = fp;
    return stream_;
}

std::FILE* RecordWriter::GetFd() {
    Flush();
    return stream_;
}

void RecordWriter::SetData(char const* text) {
    if (!text) return;
    if (!line_.empty()) line_ += ',';
    std::string_view const field(text);
    std::size_t const start = line_.size();
    line_.resize(start + FieldRoom(field.size()));
    line_.resize(static_cast<std::size_t>(CopyField(line_.data() + start, field) - line_.data()));
}

void RecordWriter::SetData(long value) {
    if (!line_.empty()) line_ += ',';
    line_ += std::to_string(value);
}

CString RecordWriter::SetLine(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    line_ = FormatQuoted(format, arguments);
    va_end(arguments);
    return CString(line_);
}

int RecordWriter::WriteLine(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    line_ = FormatQuoted(format, arguments);
    va_end(arguments);
    return WriteLine();
}

int RecordWriter::WriteLine() {
    if (!stream_) return write_failed;
    if (line_.empty()) return 0;
    if (line_.back() != '\r' && line_.back() != '\n') line_ += "\r\n";
    if (table_) Substitute(line_.data(), line_.size(), table_);
    if (!Flush() || !WriteBytes(line_.data(), line_.size())) return write_failed;
    return static_cast<int>(line_.size());
}

bool RecordWriter::WriteRow(XCStringArrayEx const& row, int columns) {
    if (!stream_ || columns < 1) return false;
    auto const& cells = row.Items();
    std::size_t const present = std::min(cells.size(), static_cast<std::size_t>(columns));
    std::size_t room = FieldRoom(0) * static_cast<std::size_t>(columns) + 2;
    for (std::size_t i = 0; i < present; ++i) room += 2 * cells[i].View().size();
    if (block_.size() < used_ + room) block_.resize(std::max(used_ + room, block_bytes));

    char* out = block_.data() + used_;
    for (std::size_t i = 0; i < static_cast<std::size_t>(columns); ++i) {
        out = CopyField(out, i < present ? cells[i].View() : std::string_view());
        *out++ = ',';
    }
    out[-1] = '\r';
    *out++ = '\n';
    used_ = static_cast<std::size_t>(out - block_.data());
    return used_ < block_bytes || Flush();
}

bool RecordWriter::Flush() {
    if (used_ == 0) return true;
    if (table_) Substitute(block_.data(), used_, table_);
    std::size_t const size = std::exchange(used_, 0);
    return WriteBytes(block_.data(), size);
}

bool RecordWriter::WriteBytes(char const* bytes, std::size_t size) {
    bool const written = std::fwrite(bytes, 1, size, stream_) == size;
    if (!written) failed_ = true;
    return written;
}

}  // namespace storage
