#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tessaly/platform/cstring.h"

// Files and directories by library paths (tessaly/platform/path.h).
namespace platform {

// As fopen, with the modes "r", "w", "a", "+", "b". Every stream is binary: line ends are not converted.
std::FILE* OpenStream(char const* path, char const* mode);
// Closes; false when that or an earlier write of the stream failed (a full disk is reported here).
bool CloseStream(std::FILE* stream);

struct StreamCloser {
    void operator()(std::FILE* stream) const { CloseStream(stream); }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

// The whole of a file; false when it cannot be opened or read or is 2 GiB or longer (an endless device).
// `content` is then as it was.
bool ReadWholeFile(char const* path, std::string& content);
// Replaces the file's content as Replacement (platform/replacement.h) does: when it returns the new content
// is on the disk. false on any failure, and the old content then stands where the file system allows it.
bool WriteWholeFile(char const* path, std::string_view content);

bool Exists(char const* path);
bool IsDirectory(char const* path);
bool IsFile(char const* path);
// Length in bytes, -1 when the file cannot be examined and for a directory.
std::int64_t FileSize(char const* path);
bool MakeDirectory(char const* path);    // one level
bool RemoveDirectory(char const* path);  // an empty one
bool RemoveFile(char const* path);
// Replaces an existing `to`; also from one drive to another.
bool RenameFile(char const* from, char const* to);
// Overwrites an existing `to` unless `fail_if_exists`, as WriteWholeFile does. The copy has the source's
// permissions, from the first moment on, and its time of the last change. After a failure `to` is as it was.
bool CopyFile(char const* from, char const* to, bool fail_if_exists);

// Seconds since 1970-01-01 UTC; false when the file cannot be examined. Where the file system keeps no
// creation time, the earliest time that it does keep stands for it.
bool FileTimes(char const* path, std::int64_t* created, std::int64_t* modified);

// A file that is kept open and appended to, whole entries at a time (logs). Every entry is in the file when
// Append returns; the file may be deleted, replaced or cut by others in between.
class AppendFile {
  public:
    AppendFile() = default;
    AppendFile(AppendFile const&) noexcept {}  // a copy opens for itself
    AppendFile& operator=(AppendFile const&) noexcept;
    ~AppendFile() { Close(); }
    bool IsOpen() const noexcept { return descriptor_ >= 0; }
    // Opens, making the file if need be. false on failure.
    bool Open(char const* path);
    // Whether the open file is still the one that the path leads to: not deleted, moved away or replaced. One
    // system call.
    bool StillThere() const noexcept;
    // Bytes in the open file; -1 when it is not open or was deleted. A move is not noticed. One system call,
    // at less than half the cost of StillThere.
    std::int64_t Length() const noexcept;
    // The first `count` bytes, fewer if the file is shorter. false when the file cannot be read.
    bool Head(std::size_t count, std::string& head) const;
    // Excludes every other process and object that locks the file, until Unlock or Close. Append and Truncate
    // do not check it. false where there are no such locks.
    bool Lock() noexcept;
    void Unlock() noexcept;
    bool Truncate();
    // One system call. After a failure nothing of the entry is in the file, unless another process wrote
    // behind it.
    bool Append(std::string_view text);
    void Close() noexcept;

  private:
    int descriptor_ = -1;
    std::string path_;              // host form
    std::uint32_t device_[2] = {};  // major and minor
    std::uint64_t inode_ = 0;
};

// Test seam: after `writes` further successful writes through this layer, every write fails as on a full
// disk; -1 ends this. A write is one flush of a stream, one Append, or one WriteWholeFile.
void FailWritesAfter(int writes) noexcept;
// Test seam: the same for reads, which fail as on a broken disk. A read is one block of a file.
void FailReadsAfter(int reads) noexcept;

}  // namespace platform

// A binary file with a position.
class CFile {
  public:
    enum OpenFlags : unsigned {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareDenyNone = 0x0040,
        shareDenyWrite = 0x0020,
        shareExclusive = 0x0010,
        modeCreate = 0x1000,
        modeNoTruncate = 0x2000,
        typeBinary = 0x8000,
        typeText = 0x4000,
    };
    enum SeekPosition { begin = 0, current = 1, end = 2 };

    CFile() = default;
    CFile(CFile const&) = delete;
    CFile& operator=(CFile const&) = delete;
    virtual ~CFile();

    // false when it cannot be opened. Share flags are accepted and have no effect.
    virtual bool Open(char const* path, unsigned flags);
    virtual void Close();
    // As Close; false when the file was not open, or when an earlier write of it or the closing failed.
    bool CloseChecked();
    // Bytes read, 0 at the end and on failure.
    unsigned Read(void* buffer, unsigned count);
    // false on failure.
    bool Write(void const* buffer, unsigned count);
    bool Flush();
    std::int64_t Seek(std::int64_t offset, SeekPosition from);
    void SeekToBegin() { Seek(0, begin); }
    std::int64_t SeekToEnd() { return Seek(0, end); }
    // -1 when it is not open.
    std::int64_t GetLength();
    // Cuts or lengthens the file; the position is then its end.
    bool SetLength(std::int64_t length);
    bool IsOpen() const noexcept { return stream_ != nullptr; }
    CString GetFilePath() const { return path_; }
    static bool Remove(char const* path) { return platform::RemoveFile(path); }
    static bool Rename(char const* from, char const* to) { return platform::RenameFile(from, to); }

  protected:
    enum class LastUse { none, reading, writing };
    // A stream must be positioned between reading and writing.
    bool TurnTo(LastUse use);

    std::FILE* stream_ = nullptr;
    int descriptor_ = -1;  // the stream's
    LastUse last_use_ = LastUse::none;
    CString path_;
};

// A CFile with operations for lines.
class CStdioFile : public CFile {
  public:
    // One line without its LF (a CR stays); false at the end of the file.
    bool ReadString(CString& line);
    bool WriteString(char const* text);
};

// Walks the entries of a directory that match a pattern such as C:\dir\*.dat ("*" and "?", without regard to
// ASCII case). The entries come in the order of their names' bytes.
class CFileFind {
  public:
    // true when there is an entry; the first FindNextFile makes it the current one.
    bool FindFile(char const* pattern);
    // Makes the next entry the current one; true when there is another one behind it.
    bool FindNextFile();
    CString GetFileName() const;
    CString GetFilePath() const;
    // The name without its extension.
    CString GetFileTitle() const;
    bool IsDirectory() const;
    // Whether the entry is "." or "..", which this layer never gives.
    bool IsDots() const { return false; }
    std::int64_t GetLength() const;
    void Close();

  private:
    CString directory_;
    std::vector<CString> names_;
    std::size_t next_ = 0;
};
