#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/file.h"
#include "platform/posix/descriptor.h"
#include "platform/view_of.h"

namespace {

struct Access {
    int flags;
    char const* mode;
};

Access AccessOf(unsigned flags) {
    if (flags & CFile::modeReadWrite) return {O_RDWR, "r+"};
    if (flags & CFile::modeWrite) return {O_WRONLY, "w"};
    return {O_RDONLY, "r"};
}

int CreationOf(unsigned flags) {
    if (!(flags & CFile::modeCreate)) return 0;
    return flags & CFile::modeNoTruncate ? O_CREAT : O_CREAT | O_TRUNC;
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

CFile::~CFile() { CFile::Close(); }

bool CFile::Open(char const* path, unsigned flags) {
    CFile::Close();
    Access const access = AccessOf(flags);
    platform::posix::Descriptor file = platform::posix::OpenPath(path, access.flags | CreationOf(flags));
    int const descriptor = file.Get();
    stream_ = platform::posix::MakeStream(std::move(file), access.mode);
    if (!stream_) return false;
    descriptor_ = descriptor;
    path_ = path;
    return true;
}

void CFile::Close() { CloseChecked(); }

bool CFile::CloseChecked() {
    bool const closed = stream_ && platform::CloseStream(std::exchange(stream_, nullptr));
    descriptor_ = -1;
    last_use_ = LastUse::none;
    path_.Empty();
    return closed;
}

bool CFile::TurnTo(LastUse use) {
    if (!stream_) return false;
    bool const turns = last_use_ != LastUse::none && last_use_ != use;
    last_use_ = use;
    return !turns || fseeko(stream_, 0, SEEK_CUR) == 0;
}

unsigned CFile::Read(void* buffer, unsigned count) {
    return TurnTo(LastUse::reading) ? static_cast<unsigned>(std::fread(buffer, 1, count, stream_)) : 0;
}

bool CFile::Write(void const* buffer, unsigned count) {
    return TurnTo(LastUse::writing) && std::fwrite(buffer, 1, count, stream_) == count;
}

bool CFile::Flush() { return stream_ && std::fflush(stream_) == 0 && !std::ferror(stream_); }

std::int64_t CFile::Seek(std::int64_t offset, SeekPosition from) {
    static constexpr int whence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (!stream_ || fseeko(stream_, offset, whence[from]) != 0) return -1;
    last_use_ = LastUse::none;
    return ftello(stream_);
}

std::int64_t CFile::GetLength() {
    std::int64_t const place = Seek(0, current);
    if (place < 0) return -1;
    std::int64_t const length = Seek(0, end);
    Seek(place, begin);
    return length;
}

bool CFile::SetLength(std::int64_t length) {
    return Flush() && length >= 0 && ftruncate(descriptor_, length) == 0 && Seek(length, begin) == length;
}

bool CStdioFile::ReadString(CString& line) {
    if (!TurnTo(LastUse::reading)) return false;
    char* text = nullptr;
    std::size_t room = 0;
    ssize_t const size = getline(&text, &room, stream_);
    std::unique_ptr<char, Free> const owner(text);
    if (size <= 0) return false;
    std::string_view const read(text, static_cast<std::size_t>(size));
    line = read.ends_with('\n') ? read.substr(0, read.size() - 1) : read;
    return true;
}

bool CStdioFile::WriteString(char const* text) {
    std::string_view const content = platform::ViewOf(text);
    return TurnTo(LastUse::writing) &&
           std::fwrite(content.data(), 1, content.size(), stream_) == content.size();
}
