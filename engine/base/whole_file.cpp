#include "engine/base/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

#include "engine/base/descriptor.h"
#include "engine/base/failure.h"
#include "tessaly/storage.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr int owner_file = 0600, owner_folder = 0700;
constexpr std::size_t block_size = 256 * 1024;

[[noreturn]] void Throw(std::string const& sentence, std::string const& path, int reason) {
    throw Failure(Failure::not_written,
                  sentence + ": " + path + " (" + std::generic_category().message(reason) + ")",
                  {.file = path});
}
[[noreturn]] void NotWritten(std::string const& path, int reason = errno) {
    Throw("書き込めません", path, reason);
}

bool WriteAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const count = write(descriptor, bytes.data(), bytes.size());
        if (count > 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return false;
    }
    return true;
}

// What lies on no disk, such as a pipe, has nothing to be brought there.
bool Flush(int descriptor) {
    int failed;
    do failed = fsync(descriptor);
    while (failed && errno == EINTR);
    return !failed || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

void SyncFolderOf(std::string const& path) {
    if (!Sync(FolderOf(path))) NotWritten(path);
}

int ModeFor(std::string const& target, Readers readers) {
    struct stat status {};
    bool const exists = lstat(target.c_str(), &status) == 0;
    bool const keeps = exists && (readers == Readers::as_before || !S_ISREG(status.st_mode));
    return keeps ? platform::Replacement::mode_of_old_file : owner_file;
}

// -1 at a failed read, 0 at the end.
ssize_t ReadBlock(int descriptor, std::vector<char>& block) {
    ssize_t count;
    do count = read(descriptor, block.data(), block.size());
    while (count < 0 && errno == EINTR);
    return count;
}

void CopyFile(std::string const& from, std::string const& to) {
    Descriptor const source(from), target(to, O_WRONLY | O_CREAT | O_EXCL, owner_file);
    if (!source) Throw("読めません", from, errno);
    if (!target) NotWritten(to);
    std::vector<char> block(block_size);
    for (ssize_t count = 0; (count = ReadBlock(source.Get(), block)) != 0;) {
        if (count < 0) Throw("読めません", from, errno);
        if (!WriteAll(target.Get(), {block.data(), static_cast<std::size_t>(count)})) NotWritten(to);
    }
    if (fchmod(target.Get(), owner_file) != 0 || !Flush(target.Get())) NotWritten(to);
}

void MakeOneFolder(std::string const& path) {
    if (mkdir(path.c_str(), owner_folder) != 0) Throw("ディレクトリを作れません", path, errno);
}

bool IsFolder(std::string const& path) {
    std::error_code unknown;
    return fs::is_directory(path, unknown);
}

// The offset behind the last line end in the first `size` bytes.
off_t WholeLines(int file, off_t size) {
    std::vector<char> block(block_size);
    while (size > 0) {
        off_t const begin = std::max<off_t>(size - static_cast<off_t>(block.size()), 0);
        ssize_t const count = pread(file, block.data(), static_cast<std::size_t>(size - begin), begin);
        if (count <= 0) return -1;
        std::string_view const text(block.data(), static_cast<std::size_t>(count));
        if (std::size_t const end = text.rfind('\n'); end != text.npos)
            return begin + static_cast<off_t>(end) + 1;
        size = begin;
    }
    return 0;
}

}  // namespace

std::string FolderOf(std::string const& path) {
    std::string folder = fs::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

std::string ReadWholeFile(std::string const& file, std::string const& what) {
    std::ifstream in(file, std::ios::binary);
    if (!in || fs::is_directory(file))
        throw Failure(Failure::unreadable_file, what + "を開けません: " + file, {.file = file});
    std::string content{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) throw Failure(Failure::unreadable_file, what + "を読めません: " + file, {.file = file});
    return content;
}

bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write,
                 Readers readers) {
    platform::Replacement file(target, platform::Replacement::always_beside, ModeFor(target, readers));
    return file.Get() >= 0 && write(file.NewFile()) && file.Commit();
}

bool ReplaceFile(std::string const& target, std::string_view content, Readers readers) {
    platform::Replacement file(target, platform::Replacement::always_beside, ModeFor(target, readers));
    return file.Get() >= 0 && WriteAll(file.Get(), content) && file.Commit();
}

bool Sync(std::string const& path) {
    Descriptor const file(path);
    return file && Flush(file.Get());
}

bool SyncAll(std::string const& path) {
    std::error_code error;
    fs::file_status const status = fs::symlink_status(path, error);
    if (!fs::exists(status)) return !error || error == std::errc::no_such_file_or_directory;
    if (fs::is_regular_file(status)) return Sync(path);
    if (!fs::is_directory(status)) return true;
    for (fs::recursive_directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error)) {
        bool const has_content = entry->is_directory() || entry->is_regular_file();
        if (!entry->is_symlink() && has_content && !Sync(entry->path().string())) return false;
    }
    return !error && Sync(path);
}

void MakeFolder(std::string const& path) {
    if (IsFolder(path)) return;
    if (std::string const parent = FolderOf(path); parent != path) MakeFolder(parent);
    try {
        MakeOneFolder(path);
    } catch (Failure const&) {
        if (!IsFolder(path)) throw;  // made by another process
    }
    SyncFolderOf(path);
}

void CopyTree(std::string const& from, std::string const& to) {
    CopyContent(from, to);
    SyncFolderOf(to);
}

void CopyContent(std::string const& from, std::string const& to) {
    if (!IsFolder(from)) return CopyFile(from, to);
    std::error_code error;
    MakeOneFolder(to);
    for (fs::directory_iterator entry(from, error), end; !error && entry != end; entry.increment(error)) {
        std::string const name = "/" + entry->path().filename().string();
        if (entry->is_directory() || entry->is_regular_file()) CopyContent(from + name, to + name);
    }
    if (error) Throw("読めません", from, error.value());
    if (!Sync(to)) NotWritten(to);
}

void MoveEntry(std::string const& from, std::string const& to) {
    if (rename(from.c_str(), to.c_str()) != 0) NotWritten(to);
    SyncFolderOf(to);
    if (FolderOf(from) != FolderOf(to)) SyncFolderOf(from);
}

void RemoveTree(std::string const& path) {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) return;
    fs::remove_all(path, error);
    if (error) Throw("消せません", path, error.value());
    SyncFolderOf(path);
}

void AppendLines(std::string const& path, std::string_view lines) {
    Descriptor const file(path, O_RDWR | O_CREAT | O_APPEND, owner_file);
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0) NotWritten(path);
    off_t const whole = WholeLines(file.Get(), status.st_size);
    if (whole < 0 || (whole < status.st_size && ftruncate(file.Get(), whole) != 0)) NotWritten(path);
    if (!WriteAll(file.Get(), lines) || !Flush(file.Get())) {
        int const reason = errno;
        static_cast<void>(ftruncate(file.Get(), whole) == 0);
        NotWritten(path, reason);
    }
    if (whole == 0) SyncFolderOf(path);
}

void RemoveWork(std::string const& path) noexcept {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

OutputFile::OutputFile(std::string path, std::string what, Begin begin)
    : path_(std::move(path)),
      what_(std::move(what)),
      descriptor_(
          open(path_.c_str(),
               O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_APPEND | (begin == Begin::anew ? O_TRUNC : 0),
               owner_file)) {
    if (descriptor_ < 0) NotWritten();
}

OutputFile::~OutputFile() { close(descriptor_); }

void OutputFile::NotWritten() const { Throw(what_ + "を書けません", path_, errno); }

void OutputFile::Write(std::string_view bytes) {
    if (!WriteAll(descriptor_, bytes)) NotWritten();
}

void OutputFile::Cut(std::uint64_t bytes) {
    if (ftruncate(descriptor_, static_cast<off_t>(bytes)) != 0) NotWritten();
}

void OutputFile::Sync() {
    if (!Flush(descriptor_)) NotWritten();
    if (IsRegular() && !engine::Sync(FolderOf(path_))) NotWritten();
}

bool OutputFile::IsRegular() const {
    struct stat status {};
    return fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace engine
