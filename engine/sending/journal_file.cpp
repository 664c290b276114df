#include "engine/sending/journal_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <random>

#include "engine/base/descriptor.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"

namespace engine {
namespace {

constexpr std::uint64_t chunk = 256 * 1024, page = 4096;

[[noreturn]] void NotWritten(std::string const& path) {
    throw Failure(Failure::not_written, "送信履歴を書けません: " + path);
}

[[noreturn]] void NotRead(std::string const& path) {
    throw Failure(Failure::damaged_file, "送信履歴を読めません: " + path, {.file = path});
}

std::string NewNumber() {
    std::random_device random;
    std::string number;
    while (number.size() < JournalForm::number_size) number += static_cast<char>(random() & 0xFF);
    return number;
}

std::string BytesOf(std::string const& number, std::vector<JournalRecord> const& records) {
    std::string bytes = std::string(JournalForm::mark) + number;
    JournalForm form(number);
    for (JournalRecord const& record : records) form.Append(record, bytes.size(), bytes);
    bytes.append(JournalForm::end_size, '\0');
    return bytes;
}

bool WriteAt(int descriptor, std::string_view bytes, std::uint64_t place) {
    while (!bytes.empty()) {
        ssize_t const written = pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(place));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
        place += static_cast<std::uint64_t>(written);
    }
    return true;
}

bool AreZeros(std::string_view bytes) { return bytes.find_first_not_of('\0') == bytes.npos; }

}  // namespace

void ReplaceJournal(std::string const& path, std::vector<JournalRecord> const& records) {
    bool done = false;
    if (records.empty())
        done = (unlink(path.c_str()) == 0 || errno == ENOENT) && Sync(FolderOf(path));
    else
        done = ReplaceFile(path, BytesOf(NewNumber(), records));
    if (!done) NotWritten(path);
}

JournalFile::JournalFile(std::string const& path, std::vector<JournalRecord> const& first)
    : path_(path), number_(NewNumber()), form_(number_) {
    std::string const bytes = BytesOf(number_, first);
    if (!ReplaceFile(path, bytes)) NotWritten(path);
    descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) NotWritten(path);
    size_ = bytes.size();
    durable_ = end_ = size_ - JournalForm::end_size;
}

JournalFile::~JournalFile() { close(descriptor_); }

void JournalFile::Fail() const { NotWritten(path_); }

// Where a write fails, the next one begins at the same place.
void JournalFile::Add(std::span<JournalRecord const> records) {
    std::lock_guard guard(lock_);
    std::string bytes;
    for (JournalRecord const& record : records) form_.Append(record, end_ + bytes.size(), bytes);
    if (end_ + bytes.size() + JournalForm::end_size > size_ || !WriteAt(descriptor_, bytes, end_)) Fail();
    end_ += bytes.size();
}

void JournalFile::Reserve(std::uint64_t bytes) {
    std::uint64_t needed = 0, size = 0;
    {
        std::lock_guard guard(lock_);
        needed = end_ + bytes + JournalForm::end_size;
        size = size_;
    }
    if (needed <= size) return;
    std::uint64_t const ahead = (std::max(needed, size + chunk) + page - 1) / page * page;
    if (!Extend(ahead) && !Extend(needed)) Fail();
}

// The new size is durable before anything is written there: the file ends with zeros at every moment.
bool JournalFile::Extend(std::uint64_t size) {
    auto const from = static_cast<off_t>(size_), length = static_cast<off_t>(size - size_);
    int error;
    do error = posix_fallocate(descriptor_, from, length);
    while (error == EINTR);
    bool const offered = error != EINVAL && error != EOPNOTSUPP;
    if (offered ? error != 0 : !WriteAt(descriptor_, std::string(size - size_, '\0'), size_)) return false;
    SyncFile();
    std::lock_guard guard(lock_);
    size_ = size;
    return true;
}

void JournalFile::Sync() {
    std::uint64_t added = 0;
    {
        std::lock_guard guard(lock_);
        added = end_;
    }
    SyncFile();
    durable_ = added;
}

void JournalFile::SyncFile() const {
    int failed;
    do failed = fdatasync(descriptor_);
    while (failed != 0 && errno == EINTR);
    if (failed != 0) Fail();
}

// Read from its end to its beginning: what a record says of those before it is true of the bytes that are
// read later, even if a run adds records meanwhile.
JournalContent::JournalContent(std::string const& path) {
    Descriptor const file(path);
    if (!file && errno == ENOENT) return;
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) NotRead(path);
    bytes_.resize(static_cast<std::size_t>(status.st_size));
    for (std::size_t end = bytes_.size(); end > 0;) {
        std::size_t const size = std::min<std::size_t>(end, chunk), at = end - size;
        ssize_t const got = pread(file.Get(), bytes_.data() + at, size, static_cast<off_t>(at));
        if (got < 0 && errno == EINTR) continue;
        if (got != static_cast<ssize_t>(size)) NotRead(path);
        end = at;
    }
    // The text of an earlier version holds no NUL.
    bool const is_ours = std::string_view(bytes_).substr(0, JournalForm::mark.size()) ==
                         JournalForm::mark.substr(0, bytes_.size());
    kind_ = is_ours ? Kind::records : Kind::lines;
    std::string_view const all = bytes_;
    constexpr std::size_t least = JournalForm::head_size + JournalForm::end_size;
    if (is_ours)
        damaged_ = all.size() < least || !AreZeros(all.substr(all.size() - JournalForm::end_size));
    else
        damaged_ = all.empty() || all.find('\0') != all.npos;
}

void JournalContent::ForEachRecord(std::function<void(JournalRecord const&)> const& take) {
    if (kind_ != Kind::records || bytes_.size() < JournalForm::head_size) return;
    std::string_view const all = bytes_;
    JournalForm form(all.substr(JournalForm::mark.size(), JournalForm::number_size));
    std::size_t const end = all.find_last_not_of('\0') + 1;
    bool in_run = false;  // else the records were made durable as a whole
    std::uint64_t hole = 0;
    std::size_t size = 0;
    for (std::size_t place = JournalForm::head_size; place < end; place += size) {
        auto const record = form.Read(all, place, size);
        if (!record) {
            size = JournalForm::alignment;
            if (hole == 0) hole = place;
            damaged_ = damaged_ || !in_run;
            continue;
        }
        if (record->kind == JournalRecord::Kind::run) in_run = !record->kept;
        if (record->kind == JournalRecord::Kind::group && hole != 0 && record->durable > hole)
            damaged_ = true;
        take(*record);
    }
    irregular_ = hole != 0;
}

}  // namespace engine
