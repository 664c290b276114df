#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

// Files as a whole, by host paths. The engine makes, changes and removes files through these functions alone.
namespace engine {

// The bytes of a file; for one that cannot be read throws Failure: `what` ("下書き" and the like) and its
// name.
std::string ReadWholeFile(std::string const& file, std::string const& what);

// The folder in which a file or folder lies.
std::string FolderOf(std::string const& path);

// What follows is on the disk when it returns: data, folder and name. What it makes is for its owner alone
// (0600, 0700), whatever the umask.

enum class Readers {
    as_before,  // a file that is replaced keeps its permissions
    owner,      // 0600, whatever the old file had
};
// Replaces a file in one step: `write` fills the file that it is given (host path, beside the target) and
// says whether that worked; then it is brought to the disk and takes the target's name. false when anything
// fails: the target is then as it was, unless only its new name did not reach the disk. A device is written
// where it is.
bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write,
                 Readers readers = Readers::as_before);
// The same with these bytes.
bool ReplaceFile(std::string const& target, std::string_view content, Readers readers = Readers::as_before);

// Brings a file, or the names in a folder, to the disk; false on failure.
bool Sync(std::string const& path);
// The same with all that lies in a folder; true also where nothing is.
bool SyncAll(std::string const& path);

// Each throws Failure (not_written) with the name and the system's reason.
//
// A folder with its parents that are missing; one that is there stays as it is.
void MakeFolder(std::string const& path);
// A file, or a folder with all that lies in it, at a place where nothing is. Links are followed; what is
// no regular file is left out.
void CopyTree(std::string const& from, std::string const& to);
// The same up to the name of `to`, which the caller brings to the disk with the others of its folder.
void CopyContent(std::string const& from, std::string const& to);
// Gives a file or folder another name on the same file system; a file there is replaced.
void MoveEntry(std::string const& from, std::string const& to);
// Removes a file, or a folder with all that lies in it; nothing where nothing is.
void RemoveTree(std::string const& path);
// Adds whole lines to a file, which is made if need be. The start of a line that an earlier writer left
// without its end is cut off first. After a failure none of the lines is in the file.
void AppendLines(std::string const& path, std::string_view lines);

// Removes a file or folder that nothing depends on. Neither brought to the disk nor reported.
void RemoveWork(std::string const& path) noexcept;

// A file that is written piece by piece. The operations throw Failure (not_written): `what` and the name.
class OutputFile {
  public:
    enum class Begin {
        anew,    // empty, or emptied
        at_end,  // behind what is there
    };
    OutputFile(std::string path, std::string what, Begin begin);
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    void Write(std::string_view bytes);
    // Cuts it; what is written next stands behind that.
    void Cut(std::uint64_t bytes);
    // Brings it to the disk, its name too. A pipe or terminal has nothing to be brought.
    void Sync();
    bool IsRegular() const;

  private:
    [[noreturn]] void NotWritten() const;

    std::string path_, what_;
    int descriptor_;
};

}  // namespace engine
