#pragma once

#include "platform/file.h"
#include "tessaly/platform/cstring.h"

namespace customers {

// The log that an import from another program writes for the user: text in code page 932, line ends LF.
class ImportLog {
  public:
    ~ImportLog() { Close(); }
    // Makes the file anew. false when that fails.
    bool Open(CString const& path);
    bool IsOpen() const noexcept { return file_.IsOpen(); }
    void Close();

    // "○TITLE", the present time, an empty line.
    void WriteMoment(char const* title);
    void Write(CString const& text);
    // The same, after "○データエラーお客様" for the first such line.
    void WriteRefused(CString const& line);
    bool HasRefused() const noexcept { return has_refused_; }

  private:
    CFile file_;
    bool has_refused_ = false;
};

}  // namespace customers
