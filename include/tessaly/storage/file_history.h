#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// Keeps numbered copies of one file in a directory: <name>.001 is the newest, <name>.002 the one before it,
// and so on up to the history number; the extension of the file is dropped. A name with a leading "_" is a
// copy in transit.
//
// The number has three digits: of a history number above 999, 999 copies are kept.
class TESSALY_API CFileHistory {
  public:
    // Longest path that is accepted, in bytes.
    static constexpr int longest_path = 260;
    static constexpr int most_copies = 999;
    enum Result : int {
        ok = 0,
        not_found = -1,  // also: a negative history number
        too_long = -2,
        cannot_make = -3,
    };

    CFileHistory() = default;
    CFileHistory(CFileHistory const&) = default;
    CFileHistory& operator=(CFileHistory const&) = default;
    virtual ~CFileHistory() = default;

    // How many copies to keep, 1 at the start. not_found for a negative number. A failed setter keeps the old
    // value.
    int SetHistoryNum(int number);
    // The file to copy. too_long, or not_found when there is no such file.
    int SetTargetFileName(CString path);
    // The directory of the copies. too_long; with `create` 0, not_found when the directory does not exist;
    // else it is made with its parents, and cannot_make when that fails. A path that is a file gives ok and
    // is ignored.
    int SetSaveDirPath(CString path, int create);
    int GetHistoryNum() const { return number_; }
    CString& GetTargetFileName() { return target_; }
    CString& GetSaveDirPath() { return directory_; }

    // Shifts the copies up by one, deletes the one beyond the history number and copies the target to 001.
    // Nothing is reported: a step that fails is skipped, so that a failed copy leaves the older ones shifted.
    // Does nothing without target or directory.
    void ExecuteCopy();

  private:
    CString CopyPath(char const* prefix, int number) const;
    void DeleteTransitFiles() const;

    int number_ = 1;
    CString target_;
    CString directory_;
};
