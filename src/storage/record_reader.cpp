#include "tessaly/storage/record_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/cstring_pool.h"
#include "platform/file.h"
#include "storage/quote_scanner.h"
#include "storage/record_parser.h"
#include "tessaly/storage/substitution.h"

namespace storage {
namespace {

constexpr std::size_t first_block = std::size_t{16} << 10;
constexpr std::size_t large_block = std::size_t{512} << 10;
// Readable bytes behind the block, for the scanner.
constexpr std::size_t padding = QuoteScanner::step;
// A physical line is read in pieces of this size. A piece ends at a NUL, and so does the line if the NUL
// comes first.
constexpr std::size_t line_piece = 1023;

bool HasText(std::string_view line) noexcept { return line.find_first_not_of("\r\n") != line.npos; }

}  // namespace

RecordReader::RecordReader() = default;

RecordReader::~RecordReader() { CloseFile(); }

int RecordReader::OpenFile(char const* path) {
    CloseFile();
    if (!path || platform::IsDirectory(path)) return read_failed;
    stream_ = platform::OpenStream(path, "rb");
    return stream_ ? file_opened : read_failed;
}

void RecordReader::CloseFile() {
    if (stream_) platform::CloseStream(stream_);
    stream_ = nullptr;
    DropBuffer();
    block_.reset();
    capacity_ = 0;
    consumed_ = 0;
    failed_ = left_out_ = stopped_ = false;
}

int RecordReader::MoveFirst() {
    if (!stream_ || std::fseek(stream_, 0, SEEK_SET) != 0) return read_failed;
    DropBuffer();
    consumed_ = 0;
    failed_ = left_out_ = stopped_ = false;
    return moved_first;
}

int RecordReader::IsEof() const { return !stream_ || at_end_ ? 1 : 0; }

std::FILE* RecordReader::SetFp(std::FILE* fp) {
    if (fp && fp == stream_) return GetFp();
    CloseFile();
    stream_ = fp;
    return stream_;
}

std::FILE* RecordReader::GetFp() {
    auto const unread = static_cast<long>(end_ - position_);
    if (stream_ && (unread == 0 || std::fseek(stream_, -unread, SEEK_CUR) == 0)) {
        bool const was_at_end = at_end_;
        DropBuffer();
        at_end_ = was_at_end;
    }
    return stream_;
}

void RecordReader::DropBuffer() noexcept {
    position_ = end_ = first_nul_ = 0;
    exhausted_ = at_end_ = false;
}

void RecordReader::DropRecord() noexcept {
    line_.clear();
    fields_.clear();
}

void RecordReader::SetTable(unsigned char const* decode_table) {
    if (decode_table == table_) return;
    // Bytes read ahead are decoded already: they are encoded with the old table first.
    unsigned char again[256];
    for (int plain = 0; plain < 256; ++plain) again[plain] = static_cast<unsigned char>(plain);
    if (table_)
        for (int coded = 0; coded < 256; ++coded) again[table_[coded]] = static_cast<unsigned char>(coded);
    if (decode_table)
        for (unsigned char& byte : again) byte = decode_table[byte];
    if (end_ > position_) Substitute(block_.get() + position_, end_ - position_, again);
    table_ = decode_table;
}

bool RecordReader::Fill() {
    if (!stream_ || exhausted_) return false;
    std::size_t const unread = end_ - position_;
    std::size_t const wanted = capacity_ == 0 ? first_block : large_block;
    if (capacity_ < wanted) {
        auto larger = std::make_unique<char[]>(wanted + padding);
        if (unread > 0) std::memcpy(larger.get(), block_.get() + position_, unread);
        block_ = std::move(larger);
        capacity_ = wanted;
    } else if (position_ > 0) {
        std::memmove(block_.get(), block_.get() + position_, unread);
    }
    position_ = 0;
    end_ = unread;
    std::size_t const room = capacity_ - end_;
    if (room == 0) return false;

    char* const added = block_.get() + end_;
    std::size_t const size = std::fread(added, 1, room, stream_);
    exhausted_ = size < room;
    if (exhausted_ && !std::feof(stream_)) failed_ = true;
    if (table_) Substitute(added, size, table_);
    end_ += size;
    void const* nul = std::memchr(block_.get(), 0, end_);
    first_nul_ = nul ? static_cast<std::size_t>(static_cast<char const*>(nul) - block_.get()) : end_;
    return size > 0;
}

bool RecordReader::AppendPhysicalLine() {
    for (;;) {
        while (end_ - position_ < line_piece && Fill()) continue;
        std::size_t const available = std::min(line_piece, end_ - position_);
        char const* const piece = block_.get() + position_;
        void const* lf = available > 0 ? std::memchr(piece, '\n', available) : nullptr;
        std::size_t const size =
            lf ? static_cast<std::size_t>(static_cast<char const*>(lf) - piece) + 1 : available;
        if (!lf && available < line_piece) at_end_ = true;
        if (size == 0) return false;
        position_ += size;
        consumed_ += static_cast<std::int64_t>(size);
        std::size_t const length = ::strnlen(piece, size);
        line_.append(piece, length);
        if (length < size) left_out_ = true;
        if (length == 0 || piece[length - 1] == '\n' || line_.size() > max_record_bytes) return true;
    }
}

bool RecordReader::ReadRecordText() {
    line_.clear();
    std::size_t tested = 0;
    bool quotes_open = false;
    do {
        if (!AppendPhysicalLine()) {
            if (!line_.empty()) left_out_ = true;
            return false;
        }
        // A doubled quote does not change the result, so every quote counts.
        auto const quotes = std::count(line_.begin() + static_cast<std::ptrdiff_t>(tested), line_.end(), '"');
        quotes_open ^= quotes % 2 != 0;
        tested = line_.size();
    } while (quotes_open && line_.size() <= max_record_bytes);
    return true;
}

int RecordReader::Blank(bool has_text) {
    stopped_ = has_text || position_ < end_ || Fill();
    return read_blank;
}

int RecordReader::ReadLine() {
    stopped_ = false;
    rest_.clear();
    if (!ReadRecordText()) {
        rest_.swap(line_);
        DropRecord();
        return read_end;
    }
    fields_text_ = line_;
    int const count = DivideRecord(fields_text_.data(), fields_text_.size(), fields_);
    return count > 0 ? count : Blank(HasText(line_));
}

int RecordReader::SetLine(char const* text) {
    if (!text) return read_failed;
    line_ = text;
    fields_text_ = line_;
    return DivideRecord(fields_text_.data(), fields_text_.size(), fields_);
}

int RecordReader::GetElementsNumber() const { return static_cast<int>(fields_.size()); }

char const* RecordReader::GetData(int i) const {
    if (i < 0 || i >= GetElementsNumber()) return nullptr;
    return fields_text_.data() + fields_[static_cast<std::size_t>(i)].start;
}

RecordReader::OrdinaryRecord RecordReader::ScanOrdinaryRecord(std::size_t max_kept) {
    char const* const start = block_.get() + position_;
    char const* const limit = block_.get() + std::max(first_nul_, position_);
    row_fields_.clear();
    QuoteScanner quotes(start, limit);
    int count = 0;
    for (char const* at = start; at < limit && quotes.Next() == at;) {
        char const* const field = at + 1;
        char const* const quote = quotes.Next();
        if (limit - quote < 3) break;
        if (row_fields_.size() < max_kept)
            row_fields_.push_back(
                {static_cast<std::uint32_t>(field - start), static_cast<std::uint32_t>(quote - field)});
        ++count;
        at = quote + 2;
        if (quote[1] == ',') continue;
        if (quote[1] != '\r' || quote[2] != '\n') break;
        return {count, static_cast<std::size_t>(at + 1 - start)};
    }
    return {0, 0};
}

int RecordReader::ReadRow(CStringPool& pool, int columns, XCStringArrayEx& row) {
    auto const cells = static_cast<std::size_t>(std::max(columns, 0));
    OrdinaryRecord record = ScanOrdinaryRecord(cells);
    // The record may only be cut by the end of the block.
    if (record.fields == 0 && end_ - position_ < large_block / 2 && Fill())
        record = ScanOrdinaryRecord(cells);
    char const* text = nullptr;
    int count = record.fields;
    DropRecord();
    stopped_ = false;
    if (count > 0) {
        text = block_.get() + position_;
        position_ += record.size;
        consumed_ += static_cast<std::int64_t>(record.size);
    } else {
        if (!ReadRecordText()) return read_end;
        bool const has_text = HasText(line_);
        count = DivideRecord(line_.data(), line_.size(), row_fields_, cells);
        if (count == 0) return Blank(has_text);
        text = line_.data();
    }
    auto& made = row.Items();
    made.clear();
    made.reserve(cells);
    for (Field const field : row_fields_) {
        if (field.length == 0)
            made.emplace_back();
        else
            made.push_back(pool.Make({text + field.start, field.length}));
    }
    made.resize(cells);
    DropRecord();
    return count;
}

}  // namespace storage
