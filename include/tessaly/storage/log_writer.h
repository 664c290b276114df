#pragma once

#include <cstdint>
#include <string>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/hidden.h"

namespace platform {
class AppendFile;
struct CalendarTime;
}  // namespace platform

// The transfer log: text files TessalyTransfer<d>.log beside the library, one for each last digit of the day
// of the month, each holding one day. The first line of a file is its date; a file of an earlier day is
// emptied by the first write of the new one. Entries are the caller's text in code page 932.
//
// After every call the file is there and complete, date line included, whatever other processes did to it:
// the file is kept open, and each call checks that it has not been deleted, replaced or cut. Only a file that
// was renamed may be noticed up to a millisecond late; the entries up to then stand in the renamed file.
//
// A text that could not be written is kept and written by the next call. Nothing is reported.
//
// One object belongs to one thread. Several objects, in several processes too, may write to one file: an
// entry is never torn, and a file that one of them has begun for the day is not emptied by another. A copy of
// an object carries the unwritten text and opens the file for itself.
class TESSALY_API LogWriter {
  public:
    LogWriter();
    LogWriter(LogWriter const& other);
    LogWriter& operator=(LogWriter const& other);
    ~LogWriter();

    // Resets the object to its initial state; unwritten text is dropped.
    void Init();
    // The file to write to for the rest of the day; a write on another day (and the first of an object) goes
    // to the day's own file.
    void SetLogFilePath(CString path);
    // A title block of rule, title and rule is written before the next entry.
    void SetLogTitle(CString title);
    // Drops text that is not yet written.
    void ClearLogBuffer();
    // Writes an entry: the local time "%02d:%02d:%02d" first if `with_time` is not 0, with nothing between it
    // and `text`; CR LF behind it unless it ends so; then a rule of 79 "-" if `with_rule` is not 0.
    void SetLogData(CString text, int with_time, int with_rule);
    // Writes the buffer; SetLogData does so too.
    void WriteToFile();

  private:
    static constexpr int no_cycle = -1;
    static constexpr int no_day = 0;

    // 0 unless `day` lies in 0 to 9, else 1 with that file's path set.
    int CreateCyclicLogFilePath(int day);
    void Write(platform::CalendarTime const& now);
    bool Ready(platform::CalendarTime const& now);
    bool StillOpen();
    // Makes the file begin with the date line. false when the file cannot be read or written.
    bool BeginsWith(platform::CalendarTime const& now);
    bool BeginAnew(std::string const& date);

    CString path_;
    int cycle_ = no_cycle;
    std::string buffer_;  // not yet written; keeps its room from entry to entry
    CString title_;

    platform::Hidden<platform::AppendFile> file_;
    CString file_path_;              // of the open file; Init keeps it open for the next conversation
    int file_day_ = no_day;          // the day, as a number, of the date line of the open file
    std::int64_t length_ = 0;        // of the open file behind this object's last write
    std::int64_t path_checked_ = 0;  // steady clock, in milliseconds
};
